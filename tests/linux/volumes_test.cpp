// Letters of mounted file systems in captured trees, and the parts of disks that they lie on.

#include "linux/CapturedTree.h"
#include "platform/linux/Volumes.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

namespace orv::test {
namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its services

/// Folder and number of a block device, the sector where a partition starts, what a device is built of.
constexpr char kDevices[] = "sda 8:0;sda/sda1 8:1 2;sda/sda2 8:2 10;sdb 8:16;sdb/sdb1 8:17 4;sdc 8:32;"
                            "nvme0n1 259:0;nvme0n1/nvme0n1p3 259:3 6;nvme0n2 259:4;nvme1n1 259:5;dm-0 252:0 "
                            "- nvme0n1p3;dm-1 252:1 - dm-0;"
                            "md0 9:0 - sda2 sdb1;md0/md0p1 259:9 8;dm-2 252:2 - dm-3;dm-3 252:3 - dm-2 sda1;"
                            "loop0 7:0";

void addDevices(const Tree& tree) {
    std::istringstream rows(kDevices);
    for (std::string row; std::getline(rows, row, ';');) {
        std::istringstream words(row);
        std::string path, number, start;
        words >> path >> number >> start;
        const std::string folder = "sys/devices/" + path, name = path.substr(path.rfind('/') + 1);
        for (const std::string& place : {"block/" + name, "class/block/" + name, "dev/block/" + number})
            tree.link("sys/" + place, tree.root() + "/" + folder);
        if (name != path) tree.file(folder + "/partition", "1\n");
        if (name != path) tree.file(folder + "/start", start + "\n");
        tree.file(folder + "/size", "7\n");
        for (std::string below; words >> below;)
            tree.file(folder + "/slaves/" + below, "");
    }
    tree.file("sys/devices/sdc/removable", "1\n");
    tree.file("sys/devices/dm-0/dm/name", "se cret\n");
    tree.link("dev/mapper/se\\x20cret", "../dm-0");
    for (const char* name : {"dev/dm-0", "sys/fs/btrfs/1/devices/sdb1", "sys/fs/btrfs/2/devices/dm-0",
                             "sys/fs/btrfs/2/devices/sda2"})
        tree.file(name, "");
}

/// "C3 0:1024+3584;" for the fixed volume C at byte 1024 of drive 0, and so on for each volume.
std::string letters(const RootedFiles& files) {
    DiskInventory disks(files);
    std::ostringstream text;
    for (const auto& [letter, extents] : volumes(disks)) {
        text << static_cast<char>(letter) << volumeType(disks, std::wstring(1, letter) + L":\\");
        for (const DISK_EXTENT& part : extents)
            text << " " << part.DiskNumber << ":" << part.StartingOffset << "+" << part.ExtentLength;
        text << ";";
    }
    return text.str();
}

TEST(LinuxVolumes, LettersFollowTheMountTable) {
    const std::string longWord(200000, '7');
    // clang-format off
    const std::pair<std::string, std::string> tables[] = {
        {"24 1 0:6 / /dev rw - devtmpfs udev rw\n25 1 8:32 / /boot rw - vfat /dev/sdc rw\n26 1 8:1 / / rw shared:1 - ext4 /dev/root rw\n27 1 8:1 /home /srv rw - ext4 /dev/sda1 rw\n"
         "28 1 7:0 / /snap ro - squashfs /dev/loop0 ro\n29 1 252:1 / /var rw - xfs /dev/dm-1 rw\n", "C3 0:1024+3584;D2 2:0+3584;E3 3:3072+3584;"},
        // The root is none of a disk's. A partition of an array, and a circle that has a way out.
        {"26 1 0:40 / / rw - overlay overlay rw\n27 1 259:9 / /a rw - ext4 /dev/md0p1 rw\n28 1 252:2 / /b rw - ext4 /dev/dm-2 rw\n", "D3 0:5120+3584 1:2048+3584;E3 0:1024+3584;"},
        // btrfs by a device's node, which is a link or not. The later root hides the first.
        {"26 1 8:17 / / rw - ext4 x rw\n27 1 0:30 /@ / rw shared:1 master:2 - btrfs /dev/mapper/se\\134x20cret rw\n", "C3 0:5120+3584 3:3072+3584;D3 1:2048+3584;"},
        {"27 1 0:31 / / rw - btrfs /dev/mapper/se\\040cret rw\n28 1 0:32 / /a rw - btrfs /dev/sda1 rw\n29 1 0:33 / /b rw - btrfs  rw\n", "C3 0:5120+3584 3:3072+3584;D3 0:1024+3584;"},
        // All namespaces of a controller are its first one's drive.
        {"26 1 259:4 / / rw - ext4 x rw\n27 1 259:5 / /a rw - ext4 x rw\n", "C3 3:0+3584;D3 5:0+3584;"},
        // Of lines that end early, or hardly ever, the one counts that tells all.
        {"\n26\n26 1 8:1 / / rw\n26 1 8:1 / / rw -\n26 1 8:1 / / rw " + longWord + "\n - - -\n27 1 8:17 / /" + longWord + " rw - ext4 \\04", "D3 1:2048+3584;"},
    };
    // clang-format on
    const Tree tree;
    addDevices(tree);
    const RootedFiles files(tree.root());
    EXPECT_EQ("", letters(files));
    for (const auto& [table, expected] : tables) {
        tree.file("proc/self/mountinfo", table);
        EXPECT_EQ(expected, letters(files));
    }
}

TEST(LinuxVolumes, ExtentsAreCutToTheRoomAndLettersEndAtZ) {
    const Tree tree;
    addDevices(tree);
    std::string table = "1 1 9:0 / / rw - ext4 /dev/md0 rw\n";
    for (int at = 0; at < 30; ++at) {
        table += "1 1 300:" + std::to_string(at) + " / /a rw - ext4 x rw\n";
        tree.link("sys/dev/block/300:" + std::to_string(at), tree.root() + "/sys/devices/sdb");
    }
    tree.file("proc/self/mountinfo", table);
    const RootedFiles files(tree.root());
    DiskInventory disks(files);
    EXPECT_EQ(L'Z', volumes(disks).back().letter);

    LinuxPlatform system(tree.root());
    const auto file = system.deviceFiles().open(LR"(\\.\c:)").value;
    ASSERT_TRUE(file);
    std::array<std::byte, 56> room{};
    const auto into = [&](std::size_t bytes) {
        return file->control(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {}, std::span(room).first(bytes)).error;
    };
    EXPECT_EQ(kMoreData, into(55));
    EXPECT_EQ(std::byte{2}, room[0]);
    EXPECT_EQ(std::byte{0x14}, room[17]); // the first one's 5120; the second one has no room
    EXPECT_EQ(std::byte{0}, room[49]);
    EXPECT_EQ(kInsufficientBuffer, into(31));
}

} // namespace
} // namespace orv::test
