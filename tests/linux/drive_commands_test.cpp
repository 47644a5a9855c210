// The commands that a Linux kernel gets for a drive's requests, how it tells their end, and the letters of
// mounted file systems in captured trees.

#include "linux/CapturedTree.h"
#include "linux/RequestBlocks.h"
#include "platform/linux/drives/MegaRaid.h"
#include "platform/linux/drives/NvmeAdmin.h"
#include "platform/linux/drives/ScsiGeneric.h"
#include "platform/linux/drives/Volumes.h"
#include "platform/records/AtaSense.h"
#include "platform/records/CsmiRecords.h"
#include "platform/records/NvmeRecords.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <numeric>
#include <sstream>

namespace orv::test {
namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its services
using ::testing::ElementsAre;

DriveRequest ataRequest(const IDEREGS& registers, std::size_t bytes, std::uint32_t seconds = 0) {
    DriveRequest request;
    request.path = DrivePath::ataPassThrough;
    request.ata = registers;
    request.dataBytes = bytes;
    request.timeOutSeconds = seconds;
    return request;
}

TEST(LinuxDrives, CommandBlocksThatTheKernelGets) {
    const auto identify = scsiCommandOf(ataRequest({0, 0, 0, 0, 0, 0xA0, 0xEC, 0}, 512));
    EXPECT_THAT(identify.cdb, ElementsAre(0x85, 8, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xA0, 0xEC, 0));
    EXPECT_EQ(60'000U, identify.milliseconds); // outlasts a spin-up
    const auto smart = scsiCommandOf(ataRequest({0xD0, 1, 2, 0x4F, 0xC2, 0xB0, 0xB0, 0}, 513, 7));
    EXPECT_THAT(smart.cdb, ElementsAre(0x85, 8, 0x0E, 0, 0xD0, 0, 2, 0, 2, 0, 0x4F, 0, 0xC2, 0xB0, 0xB0, 0));
    EXPECT_EQ(1024U, smart.dataBytes); // whole sectors
    EXPECT_EQ(7000U, smart.milliseconds);
    const auto enable = scsiCommandOf(ataRequest({0xD8, 1, 1, 0x4F, 0xC2, 0xA0, 0xB0, 0}, 0));
    EXPECT_THAT(enable.cdb, ElementsAre(0x85, 6, 0, 0, 0xD8, 0, 1, 0, 1, 0, 0x4F, 0, 0xC2, 0xA0, 0xB0, 0));
    EXPECT_EQ(DataWay::none, enable.way);
    const auto status = scsiCommandOf(ataRequest({0xDA, 1, 1, 0x4F, 0xC2, 0xA0, 0xB0, 0}, 0));
    EXPECT_EQ(0x20, status.cdb[2]) << "the registers shall come back";

    constexpr std::uint16_t flags = ATA_FLAGS_DATA_IN | ATA_FLAGS_48BIT_COMMAND;
    const IDEREGS high{1, 2, 3, 4, 5, 0, 0, 0}, low{6, 1, 8, 9, 10, 0xA0, 0x2F, 0};
    ATA_PASS_THROUGH_EX head{sizeof head, flags, 0, 0, 0, 0, 512, 10, 0, 40, high, low};
    const auto log = readDriveRequest(IOCTL_ATA_PASS_THROUGH, std::as_bytes(std::span(&head, 1)), 552);
    ASSERT_TRUE(log);
    EXPECT_THAT(scsiCommandOf(*log).cdb,
                ElementsAre(0x85, 9, 0x0E, 1, 6, 2, 1, 3, 8, 4, 9, 5, 10, 0xA0, 0x2F, 0));

    DriveRequest bridge;
    bridge.path = DrivePath::scsiPassThrough;
    std::iota(bridge.cdb.begin(), bridge.cdb.end(), std::uint8_t{0xA1});
    bridge.cdbLength = 12;
    bridge.timeOutSeconds = 0xFFFFFFFF;
    bridge.dataBytes = 4096;
    bridge.toDevice = true;
    const auto asGiven = scsiCommandOf(bridge);
    EXPECT_EQ(bridge.cdb, asGiven.cdb);
    EXPECT_EQ(DataWay::toDevice, asGiven.way);
    EXPECT_EQ(600'000U, asGiven.milliseconds);
}

TEST(LinuxDrives, HowACommandEnded) {
    const auto registers = [](std::uint8_t key, std::uint8_t status) {
        return blockOf(
            26, {{0, 0x72}, {1, key}, {7, 18}, {8, 2}, {9, 2}, {12, 9}, {13, 12}, {15, 4}, {25, status}});
    };
    const Bytes whole = registers(1, 0x51);
    Bytes second = blockOf(12, {{0, 0x72}, {1, 1}, {9, 2}}); // after a descriptor of another kind
    second.insert(second.end(), whole.begin() + 8, whole.end());
    const Bytes cut(whole.begin(), whole.begin() + 13);
    const Bytes fixed = blockOf(18, {{0, 0x70}, {2, 1}, {4, 0x51}, {13, 0x1D}});
    const std::tuple<const char*, ScsiOutcome, ErrorCode, ErrorCode> cases[] = {
        {"illegal request", {2, 0, 8, 0, {0x70, 0, 5}}, kIoDevice, kSuccess},
        {"registers that tell success", {2, 0, 8, 0, registers(1, 0x50)}, kSuccess, kSuccess},
        {"a descriptor that is cut", {2, 0, 8, 0, cut}, kSuccess, kSuccess},
        {"registers in the fixed format", {2, 0, 8, 0, fixed}, kIoDevice, kIoDevice},
        {"registers in the second descriptor", {2, 0, 8, 0, second}, kIoDevice, kIoDevice},
        {"no answer in time", {0, 3, 0, 0, {}}, kTimedOut, kTimedOut},
        {"no answer in time, by an older kernel", {0, 0, 6, 0, {}}, kTimedOut, kTimedOut},
        {"no connection", {0, 1, 0, 0, {}}, kIoDevice, kIoDevice},
        {"aborted", {2, 0, 8, 0, registers(0x0B, 0x50)}, kIoDevice, kSuccess},
    };
    EXPECT_FALSE(tellsAtaError(std::span(whole).first(25))); // nothing past the end
    // The registers of SMART RETURN STATUS, in either format; they stand in the answer in place of the
    // question's.
    // clang-format off
    const Bytes described{0x72, 1, 0, 0x1D, 0, 0, 0, 14, 9, 12, 0, 0, 0, 1, 0, 2, 0, 0xF4, 0, 0x2C, 0xA0, 0x50};
    const Bytes inPlace = blockOf(18, {{0, 0x70}, {2, 1}, {4, 0x50}, {5, 0xA0}, {6, 1}, {9, 2}, {10, 0xF4}, {11, 0x2C}, {13, 0x1D}});
    // clang-format on
    for (const Bytes& sense : {described, inPlace}) {
        std::array<std::byte, 40> answer{};
        writeAtaRegisters(ataRequest({}, 0), ataRegistersOf(sense).value(), answer);
        std::array<std::uint8_t, 8> told{};
        std::memcpy(told.data(), answer.data() + 32, told.size());
        EXPECT_THAT(told, ElementsAre(0, 1, 2, 0xF4, 0x2C, 0xA0, 0x50, 0));
    }
    for (const Bytes& none : {Bytes{}, Bytes{0x70, 0, 5}, Bytes(described.begin(), described.end() - 1),
                              blockOf(18, {{0, 0x70}})})
        EXPECT_FALSE(ataRegistersOf(none));
    EXPECT_EQ(0U, dataOf({2, 0, 8, 512, {0x70, 0, 5}})); // whatever the host says
    EXPECT_EQ(512U, dataOf({2, 0, 8, 512, registers(1, 0x50)}));
    EXPECT_EQ(300U, dataOf({0, 0, 0, 300, {}}));
    DriveRequest bridge;
    bridge.path = DrivePath::scsiPassThrough;
    for (const auto& [what, outcome, ata, scsi] : cases) {
        EXPECT_EQ(ata, errorOf(ataRequest({}, 512), outcome)) << what;
        EXPECT_EQ(scsi, errorOf(bridge, outcome)) << what;
    }

    // A command block's answer tells the end of its command, a task file's has no place for it.
    bridge.dataAt = 60;
    bridge.dataBytes = 8;
    bridge.senseAt = 44;
    bridge.senseBytes = 3;
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8};
    Bytes in(68), out(68);
    const auto written = [&](const DriveRequest& request, const ScsiOutcome& outcome) {
        const auto answer = writeScsiAnswer(request, outcome, std::as_bytes(std::span(in)), data,
                                            std::as_writable_bytes(std::span(out)));
        return std::pair(answer.error, answer.value);
    };
    EXPECT_THAT(written(bridge, {2, 0, 8, 8, {0x70, 0, 5, 9}}), testing::Pair(kSuccess, 60U));
    const Bytes refused = blockOf(68, {{2, 2}, {7, 3}, {44, 0x70}, {46, 5}});
    EXPECT_EQ(refused, out);
    EXPECT_THAT(written(bridge, {0, 0, 0, 5, {}}), testing::Pair(kSuccess, 65U));
    EXPECT_EQ(blockOf(68, {{12, 5}, {60, 1}, {61, 2}, {62, 3}, {63, 4}, {64, 5}}), out);
    EXPECT_EQ(kTimedOut, written(bridge, {0, 3, 0, 0, {}}).first);
}

TEST(LinuxDrives, NvmeCommandsThatTheKernelGets) {
    using Sent = std::vector<std::uint32_t>; // opcode, namespace, word 10, bytes, milliseconds
    const auto sentFor = [](DrivePath path, std::uint8_t opcode, std::uint32_t space, std::uint32_t word10,
                            std::size_t room) {
        DriveRequest request;
        request.path = path;
        request.nvmeOpcode = opcode;
        request.namespaceId = space;
        request.commandDword10 = word10;
        request.commandDword11 = 0;
        request.dataBytes = room;
        request.timeOutSeconds = 40;
        const auto command = nvmeCommandOf(request);
        const auto& sent = command.value;
        return command.ok() ? Sent{sent.opcode, sent.nsid, sent.cdw10, sent.data_len, sent.timeout_ms}
                            : Sent{command.error};
    };
    constexpr std::uint32_t all = kNvmeAllNamespaces;
    EXPECT_EQ((Sent{6, 1, 0, 4096, 40'000}), sentFor(DrivePath::storageQuery, 6, 1, 0, 4096));
    EXPECT_EQ((Sent{2, all, 0x007F0002, 512, 40'000}), sentFor(DrivePath::storageQuery, 2, all, 2, 4096));
    EXPECT_EQ((Sent{2, all, 2, 4, 40'000}), sentFor(DrivePath::nvmeMini, 2, all, 2, 4096))
        << "as the block says";
    EXPECT_EQ(Sent{kInvalidParameter}, sentFor(DrivePath::intelNvm, 6, 0, 1, 512)) << "past the room";
    EXPECT_EQ(Sent{kInvalidParameter}, sentFor(DrivePath::nvmeRaid, 2, 0, 0x04000002, 4096));
    EXPECT_EQ(Sent{kInvalidFunction}, sentFor(DrivePath::nvmeMini, 0x80, 1, 0, 4096)) << "Format NVM";
    DriveRequest without;
    without.nvmeOpcode = kNvmeIdentify;
    without.dataBytes = 4096;
    EXPECT_EQ(0U, nvmeCommandOf(without).value.timeout_ms); // the kernel's own

    // Of a log page the sub-value is no namespace, and no drive has a health page of namespace 0.
    const auto spaceOf = [](int type, int value, int subValue, int upper = 0) {
        // clang-format off
        const Bytes block = blockOf(4144, {{0, 49}, {8, 3}, {12, type}, {16, value}, {20, subValue}, {21, upper}, {22, upper}, {23, upper}, {24, 40}, {29, 0x10}});
        // clang-format on
        const auto request =
            readDriveRequest(IOCTL_STORAGE_QUERY_PROPERTY, std::as_bytes(std::span(block)), 4144);
        return request ? nvmeCommandOf(*request).value.nsid : 77;
    };
    EXPECT_THAT((std::array{spaceOf(2, 2, 0), spaceOf(2, 2, 255, 255), spaceOf(2, 2, 8), spaceOf(1, 0, 1),
                            spaceOf(1, 1, 0)}),
                ElementsAre(all, all, 77, 1, 0));

    EXPECT_THAT((std::vector{nvmeErrorOf(0, EIO), nvmeErrorOf(0x400B, 0), nvmeErrorOf(-1, EACCES),
                             nvmeErrorOf(-1, EINTR), nvmeErrorOf(0x4371, 0)}),
                ElementsAre(kSuccess, kIoDevice, kAccessDenied, kTimedOut, kTimedOut));
}

// ---- MegaRAID

MegaRaidHead headOf(std::uint8_t command, std::uint32_t dataBytes) {
    MegaRaidHead head{};
    kMegaRaidSignature.copy(head.header.Signature, sizeof head.header.Signature);
    head.frame.command = command;
    head.frame.status = 0xFF;
    head.frame.deviceId = 9;
    head.frame.cdbLength = 12;
    head.frame.dataBytes = dataBytes;
    if (command == kMegaRaidFirmware) head.frame.firmwareCommand = kMegaRaidDriveList;
    head.frame.cdb[9] = 0xEC;
    return head;
}

TEST(LinuxMegaRaid, PacketsThatTheDriverGets) {
    std::vector<std::byte> data(512);
    const auto packet = megaRaidPacketOf(headOf(kMegaRaidPassThrough, 512), 7, data).value;
    std::uint8_t bytes[sizeof packet];
    std::memcpy(bytes, &packet, sizeof packet);
    std::vector<std::uint8_t> wanted(sizeof packet);
    // Host, place of the scatter list, its entries, then the frame.
    const std::map<std::size_t, std::uint8_t> fields = {{0, 7},     {4, 48}, {8, 1},    {20, 4},
                                                        {22, 0xFF}, {24, 9}, {26, 12},  {27, 1},
                                                        {36, 16},   {41, 2}, {61, 0xEC}};
    for (const auto& [at, value] : fields)
        wanted[at] = value;
    const iovec scatter{data.data(), data.size()};
    std::memcpy(wanted.data() + 148, &scatter, sizeof scatter);
    EXPECT_THAT(bytes, testing::ElementsAreArray(wanted));

    const auto none = megaRaidPacketOf(headOf(kMegaRaidPassThrough, 0), 7, {}).value;
    EXPECT_EQ(0U, none.scatterEntries + none.frame.scatterEntries + none.frame.flags);
    const auto list = megaRaidPacketOf(headOf(kMegaRaidFirmware, 512), 0xFFFF, data).value;
    EXPECT_EQ(40U, list.scatterAt);
    EXPECT_EQ(16, list.frame.flags);
    MegaRaidHead other = headOf(kMegaRaidFirmware, 512);
    other.frame.firmwareCommand = 0x01010000; // would change something
    EXPECT_EQ(kInvalidFunction, megaRaidPacketOf(other, 7, data).error);
    EXPECT_EQ(kInvalidFunction, megaRaidPacketOf(headOf(3, 512), 7, data).error);
    EXPECT_EQ(kInvalidParameter, megaRaidPacketOf(headOf(kMegaRaidFirmware, 512), 0x10000, data).error);
}

TEST(LinuxMegaRaid, WhichHostsTakeARequest) {
    const Tree tree;
    tree.file("sys/class/scsi_host/host0/proc_name", "megaraid_sas\n");
    tree.file("sys/class/scsi_host/host1/proc_name", "ahci\n");
    LinuxPlatform system(tree.root());
    const auto ask = [&](const wchar_t* path, const MegaRaidHead& head, std::size_t room) {
        std::vector<std::byte> block(room);
        std::memcpy(block.data(), &head, std::min(room, sizeof head));
        return system.deviceFiles().open(path, {}).value->control(IOCTL_SCSI_MINIPORT, block, block).error;
    };
    const MegaRaidHead list = headOf(kMegaRaidFirmware, 1024);
    EXPECT_EQ(kFileNotFound, ask(LR"(\\.\Scsi0:)", list, 4284)); // the driver made no node
    tree.file("proc/devices", "Character devices:\n  1 mem\n238 megaraid_sas_ioctl2\n239 megaraid_sas_ioctl\n"
                              "240 megaraid\n\nBlock devices:\n  8 sd\n241 megaraid_sas_ioctl\n");
    EXPECT_EQ("239:0", megaRaidNode(RootedFiles(tree.root())).number);
    tree.file("dev/megaraid_sas_ioctl_node", "a trap");
    EXPECT_EQ(kFileNotFound, ask(LR"(\\.\Scsi0:)", list, 4284));
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi0:)", list, 1211)); // no room
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi1:)", list, 4284));
    MegaRaidHead csmi = list;
    std::memcpy(csmi.header.Signature, CSMI_ALL_SIGNATURE, sizeof csmi.header.Signature);
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi0:)", csmi, 4284));
}

// ---- Volumes

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
