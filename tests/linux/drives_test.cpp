// Disks of captured trees: their order, what sysfs answers for them, the commands that a device would get,
// and the management data and device tree that tell of them.

#include "linux/CapturedTree.h"
#include "linux/RequestBlocks.h"
#include "platform/linux/drives/DriveNode.h"
#include "platform/linux/drives/NvmeAdmin.h"
#include "platform/linux/drives/ScsiGeneric.h"
#include "platform/linux/files/PciFunctions.h"
#include "platform/records/NvmeRecords.h"
#include "platform/text.h"
#include "support/DriveBlocks.h"
#include "support/ManagementRows.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cstring>
#include <fcntl.h>
#include <map>
#include <sstream>

namespace orv::test {
namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its services
using ::testing::ElementsAre;

const std::string kPci = "sys/devices/pci0000:00/";

/// A machine with a disk of each kind. A controller's folder stands below kPci.
class DriveTree : public Tree {
  public:
    static inline const std::string kAhci = "0000:00:1f.2", kIde = "0000:00:01.1", kAtaDma = "0000:00:04.0",
                                    kUsb = "0000:00:14.0", kSas = "0000:00:02.0/0000:03:00.0",
                                    kNvme = "0000:00:1d.0/0000:01:00.0";

    DriveTree() {
        pci(kAhci, "0x010601", "0x2922");
        pci(kIde, "0x01018a", "0x7010");
        pci(kAtaDma, "0x010520", "0x0001");
        pci(kUsb, "0x0c0330", "0xa36d");
        pci(kSas, "0x010700", "0x0097");
        pci(kNvme, "0x010802", "0xa808");

        scsi("sda", kAhci + "/ata1", "0:0:0:0", "ATA     ", "ST1000DM003-1CH1");
        binary("sda", "vpd_pg89", std::string(60, '\0') + identify());
        scsi("sdb", kUsb + "/usb2/2-1/2-1:1.0", "6:0:0:1", "JMicron ", "Generic         ");
        usb("2-1", "usb-storage", "152d", "0578", "12/34");
        scsi("sdz", kUsb + "/usb2/2-2/2-2:1.0", "7:0:2:0", "ASMT    ", "2115            ");
        usb("2-2", "uas", "174c", "55aa", "");
        scsi("sdaa", kSas + "/host8/port-8:0/end_device-8:0", "8:0:11:0", "HGST    ", "HUS726T4TALA6L4 ");
        binary("sdaa", "vpd_pg80", std::string("\0\x80\0\x08VDHR1234", 12));
        scsi("sdab", kIde + "/ata3", "9:0:1:0", "ATA     ", "QEMU HARDDISK   ");

        nvmeController(0, "Samsung SSD 970 EVO 1TB                 ", "live");
        block("nvme0n2", kPci + kNvme + "/nvme/nvme0");
        file("sys/block/nvme0n2/wwid", "eui.1\n");
        for (const char* controller : {"nvme10", "nvme9", "nvme2"}) // the paths of one subsystem
            file(std::string("sys/devices/virtual/nvme-subsystem/nvme-subsys1/") + controller, "");
        nvmeController(2, "dead path", "connecting");
        nvmeController(9, "MZ  PATH", "live");
        nvmeController(10, "another", "live");
        block("nvme1n1", "sys/devices/virtual/nvme-subsystem/nvme-subsys1");
        block("vda", "sys/devices/virtual/virtio1");
        file("sys/block/vda/diskseq", "5\n");
        block("mmcblk0", "sys/devices/platform/mmc0");
        file("sys/devices/platform/mmc0/type", "SD\n");
        for (const char* other : {"loop0", "sda1", "nvme0c0n2", "nvme1c2n1", "nvme1c9n1", "nvme1c2n10",
                                  "mmcblk0boot0", "sd", "sdA", "nvmen1"})
            block(other, std::string("sys/devices/virtual/") + other);
        link("sys/block/sdc", "../devices/gone/block/sdc");
    }

    /// /sys/block/NAME as a link into the device's folder, and back by `device`.
    void block(const std::string& name, const std::string& device) const {
        const std::string folder = device + "/block/" + name;
        files(folder, "size 2000000;removable 0;dev 8:0");
        link(folder + "/device", root() + "/" + device);
        link("sys/block/" + name, root() + "/" + folder);
    }
    void scsi(const std::string& name, const std::string& way, const std::string& place, const char* vendor,
              const char* model) const {
        const std::string device =
            kPci + way + "/host" + place.substr(0, place.find(':')) + "/target/" + place;
        block(name, device);
        files(device, fmt::format("vendor {};model {};rev 2.5+", vendor, model));
    }
    /// A line in each, "NAME LINE;NAME LINE".
    void files(const std::string& folder, const std::string& lines) const {
        std::istringstream all(lines);
        for (std::string line; std::getline(all, line, ';');)
            file(folder + "/" + line.substr(0, line.find(' ')), line.substr(line.find(' ') + 1) + "\n");
    }
    void binary(const std::string& name, const std::string& page, const std::string& content) const {
        file("sys/block/" + name + "/device/" + page, content);
    }

  private:
    void pci(const std::string& folder, const char* code, const char* device) const {
        files(kPci + folder, fmt::format("class {};vendor 0x8086;device {};subsystem_vendor 0x1af4;"
                                         "subsystem_device 0x1100;revision 0x02",
                                         code, device));
        link("sys/bus/pci/devices/" + folder.substr(folder.rfind('/') + 1), root() + "/" + kPci + folder);
    }
    void usb(const std::string& port, const char* driver, const char* vendor, const char* product,
             const char* serial) const {
        const std::string path = kPci + kUsb + "/usb2/" + port;
        link(path + "/" + port + ":1.0/driver", std::string("../../drivers/") + driver);
        files(path, fmt::format("idVendor {};idProduct {};{} {}", vendor, product,
                                *serial ? "serial" : "none", serial));
    }
    void nvmeController(int number, const char* model, const char* state) const {
        const std::string name = "nvme" + std::to_string(number);
        const std::string path = kPci + kNvme + "/nvme/" + name;
        files(path, fmt::format("model {};serial S4EVNF0M;firmware_rev 2B2QEXE7;state {};dev 241:{}", model,
                                state, number));
        link("sys/class/nvme/" + name, root() + "/" + path);
    }
    static std::string identify() {
        const AtaBlock block = identifyOf({}, "ST1000DM003-1CH162", "CC49", "        Z1D5ABCD");
        return {block.begin(), block.end()};
    }
};

std::wstring drive(std::uint32_t number) {
    return LR"(\\.\PhysicalDrive)" + std::to_wstring(number);
}

struct LinuxDriveTree : testing::Test {
    struct Answered {
        ErrorCode error;
        Bytes bytes;
        template <class T>
        T as() const {
            T record{};
            EXPECT_GE(bytes.size(), sizeof record);
            std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
            return record;
        }
        std::string textAt(std::uint32_t offset) const {
            return offset == 0 ? "-" : reinterpret_cast<const char*>(bytes.data()) + offset;
        }
    };
    Answered ask(const std::wstring& path, std::uint32_t code, const Bytes& in = {},
                 std::size_t room = 4096) {
        const auto file = system.deviceFiles().open(path, {});
        if (!file.ok()) return {file.error, {}};
        Bytes out(room, 0xEE);
        const auto answer =
            file.value->control(code, std::as_bytes(std::span(in)), std::as_writable_bytes(std::span(out)));
        out.resize(answer.value);
        return {answer.error, out};
    }
    DISK_PERFORMANCE counters(std::uint32_t number) {
        return ask(drive(number), IOCTL_DISK_PERFORMANCE, {}, 88).as<DISK_PERFORMANCE>();
    }

    DriveTree tree;
    LinuxPlatform system{tree.root()};
};

TEST_F(LinuxDriveTree, StandInOrderAndKeepTheirNumbers) {
    const RootedFiles files(tree.root());
    DiskInventory inventory(files);
    std::string names;
    for (const NumberedDisk& disk : inventory.disks())
        names += std::to_string(disk.number) + " " + disk.name + ", ";
    EXPECT_EQ("0 sda, 1 sdb, 2 sdz, 3 sdaa, 4 sdab, 5 nvme0n2, 6 nvme1n1, 7 vda, 8 mmcblk0, ", names);
    // Another disk by the name of one that went, and that one again elsewhere.
    tree.remove("sys/block/sdz");
    tree.block("sdd", "sys/devices/virtual/late");
    tree.scsi("sdz", DriveTree::kUsb + "/usb2/2-3/2-3:1.0", "7:0:2:0", "ASMT    ", "2115            ");
    EXPECT_EQ("", inventory.nameOf(2));
    EXPECT_EQ("sdaa", inventory.nameOf(3));
    EXPECT_EQ("sdd sdz ", inventory.nameOf(9) + " " + inventory.nameOf(10) + " " + inventory.nameOf(11));
    tree.scsi("sde", DriveTree::kUsb + "/usb2/2-2/2-2:1.0", "17:0:2:0", "ASMT    ", "2115            ");
    EXPECT_EQ("sde", inventory.nameOf(2));

    // A folder that the kernel saw anew is the same disk's, and nothing is read while it did not.
    tree.file("sys/block/sdaa/seen", "");
    EXPECT_EQ("sdaa", inventory.nameOf(3));
    tree.file("sys/block/sdaa/device/model", "OTHER\n");
    EXPECT_EQ("sdaa", inventory.nameOf(3));
    tree.file("sys/block/sdaa/again", "");
    EXPECT_EQ("", inventory.nameOf(3));
    // Two ways to one disk are two disks; one of which nothing is known comes back as another.
    for (const char* name : {"sdx", "sdy"}) {
        tree.scsi(name, DriveTree::kSas + "/host8/" + name, "8:0:1:0", "HGST    ", "TWO WAYS");
        tree.file(std::string("sys/block/") + name + "/device/wwid", "naa.5\n");
    }
    tree.file("sys/block/vda/seen", "");
    EXPECT_THAT(
        (std::array{inventory.nameOf(11), inventory.nameOf(12), inventory.nameOf(13), inventory.nameOf(7)}),
        ElementsAre("sdaa", "sdx", "sdy", "vda"));
    tree.file("sys/block/vda/diskseq", "6\n");
    tree.file("sys/block/vda/anew", "");
    EXPECT_EQ("", inventory.nameOf(7));
}

TEST_F(LinuxDriveTree, AnOpenDriveNeverAnswersForAnother) {
    const std::string counts = " 1 0 5000 0 1 0 100 0 0\n", anew = " 1 0 7 0 1 0 300 0 0\n";
    tree.file("sys/block/nvme0n2/stat", counts);
    const auto file = system.deviceFiles().open(drive(5), {}).value;
    const Bytes descriptor(12);
    const auto errors = [&] {
        std::vector<ErrorCode> told;
        std::array<std::byte, 4300> out{};
        for (const std::uint32_t code : {IOCTL_DISK_PERFORMANCE, IOCTL_DISK_GET_DRIVE_GEOMETRY,
                                         IOCTL_STORAGE_QUERY_PROPERTY, IOCTL_SCSI_MINIPORT})
            told.push_back(file->control(code, std::as_bytes(std::span(descriptor)), out).error);
        return told;
    };
    const std::vector<ErrorCode> gone(4, kFileNotFound);
    const auto read = [&] { return counters(5).BytesRead / 512; };
    EXPECT_THAT(errors(), ElementsAre(kSuccess, kSuccess, kSuccess, kInvalidFunction));
    EXPECT_EQ(5000, read());
    tree.remove("sys/block/nvme0n2");
    tree.block("nvme0n2", "sys/devices/other/nvme/nvme0");
    tree.file("sys/block/nvme0n2/stat", counts);
    EXPECT_EQ(gone, errors());
    EXPECT_EQ(kFileNotFound, system.deviceFiles().open(drive(5), {}).error);
    // The drive is back under another name, its counters from their beginning: they go on.
    tree.block("nvme7n1", kPci + "0000:00:1c.0/nvme/nvme0");
    tree.file("sys/block/nvme7n1/wwid", "eui.1\n");
    tree.file("sys/block/nvme7n1/stat", anew);
    EXPECT_EQ(5000, read());
    tree.file("sys/block/nvme7n1/stat", " 1 0 10 0 1 0 100 0 0\n");
    EXPECT_EQ(5003, read());
    EXPECT_EQ(gone, errors()) << "another name";
}

TEST_F(LinuxDriveTree, WhatCouldNotBeReadIsAskedForAgain) {
    const RootedFiles files(tree.root());
    DiskInventory inventory(files);
    const NumberedDisk disk = inventory.disks().at(5);
    const std::string controller = "sys/class/nvme/nvme0/", function = kPci + DriveTree::kNvme;
    const auto told = [&] {
        return inventory.facts(disk, true)->serial + " " + inventory.commandWay(disk)->node.number + " " +
               std::to_string(inventory.pciFunctions().of("/" + function).code);
    };
    for (const std::string& lost : {controller + "serial", controller + "dev", function + "/class"})
        tree.file(lost, "");
    EXPECT_EQ("  0", told());
    tree.file(controller + "dev", "241:0\n");
    EXPECT_EQ(" 241:0 0", told());
    tree.file(controller + "serial", "S4EVNF0M\n");
    tree.file(function + "/class", "0x010802\n");
    EXPECT_EQ("S4EVNF0M 241:0 67586", told());
    // What was read whole stays, but for the firmware, which a drive may take while it runs.
    tree.files(controller, "serial OTHER;firmware_rev NEW");
    EXPECT_EQ("S4EVNF0M NEW",
              inventory.facts(disk, true)->serial + " " + inventory.facts(disk, true)->firmware);
}

TEST_F(LinuxDriveTree, DescriptorAndAddressOfEachKind) {
    // Bus, vendor, product, revision, serial number; port, path, target, unit.
    const char* const drives[] = {
        "11 -|ST1000DM003-1CH162|CC49|Z1D5ABCD 0.0.0.0",
        "7 JMicron|Generic|2.5+|12/34 6.0.0.1",
        "7 ASMT|2115|2.5+|- 7.0.2.0",
        "10 HGST|HUS726T4TALA6L4|2.5+|VDHR1234 8.0.11.0",
        "3 -|QEMU HARDDISK|2.5+|- 9.0.1.0",
        "17 NVMe|Samsung SSD 970 EVO 1TB|2B2QEXE7|S4EVNF0M 128.0.0.1",
        "17 NVMe|MZ  PATH|2B2QEXE7|S4EVNF0M 137.0.0.0", // the first live path
        "1 -|-|-|- none",
        "12 -|-|-|- none",
    };
    const Bytes query(12, 0);
    for (std::uint32_t number = 0; number < std::size(drives); ++number) {
        const auto answer = ask(drive(number), IOCTL_STORAGE_QUERY_PROPERTY, query);
        ASSERT_EQ(kSuccess, answer.error);
        const auto head = answer.as<STORAGE_DEVICE_DESCRIPTOR>();
        EXPECT_EQ(answer.bytes.size(), head.Size);
        const auto place = ask(drive(number), IOCTL_SCSI_GET_ADDRESS, {}, 8);
        const auto at = place.error == kSuccess ? place.as<SCSI_ADDRESS>() : SCSI_ADDRESS{};
        const std::string where = fmt::format("{}.{}.{}.{}", at.PortNumber, at.PathId, at.TargetId, at.Lun);
        EXPECT_EQ(drives[number],
                  fmt::format("{} {}|{}|{}|{} {}", head.BusType, answer.textAt(head.VendorIdOffset),
                              answer.textAt(head.ProductIdOffset), answer.textAt(head.ProductRevisionOffset),
                              answer.textAt(head.SerialNumberOffset),
                              place.error == kInvalidFunction ? "none" : where));
    }
    EXPECT_EQ(kInsufficientBuffer, ask(drive(0), IOCTL_STORAGE_QUERY_PROPERTY, query, 7).error);
    // A host's number that is an NVMe controller's port has no address.
    tree.scsi("sdq", "0000:00:1f.2/ata9", "128:0:0:0", "ATA", "LATE");
    EXPECT_EQ(kNotSupported, ask(drive(9), IOCTL_SCSI_GET_ADDRESS).error);
    tree.scsi("sdr", "platform/host10/session1/target10:0:0", "10:0:0:1", "LIO-ORG", "LUN"); // iSCSI
    EXPECT_EQ(9u,
              ask(drive(10), IOCTL_STORAGE_QUERY_PROPERTY, query).as<STORAGE_DEVICE_DESCRIPTOR>().BusType);
    for (const std::string media : {"disk", "cdrom"}) { // of the old IDE driver
        tree.block("hd" + media.substr(0, 1), kPci + DriveTree::kIde + "/ide0/" + media);
        tree.files(kPci + DriveTree::kIde + "/ide0/" + media, "model MAXTOR 6E040L0;media " + media);
    }
    const auto ide = ask(drive(11), IOCTL_STORAGE_QUERY_PROPERTY, query);
    EXPECT_EQ("MAXTOR 6E040L0", ide.textAt(ide.as<STORAGE_DEVICE_DESCRIPTOR>().ProductIdOffset));
    EXPECT_EQ(kFileNotFound, system.deviceFiles().open(drive(12), {}).error);
}

TEST_F(LinuxDriveTree, GeometryAndCounters) {
    const auto fixed = ask(drive(0), IOCTL_DISK_GET_DRIVE_GEOMETRY, {}, 24).as<DISK_GEOMETRY>();
    EXPECT_EQ(12U, fixed.MediaType);
    EXPECT_EQ(124, fixed.Cylinders); // 2000000 / (255 * 63), the rest left out

    tree.file("sys/block/nvme0n2/stat",
              "  621882 55459 32697082 594077 426264 202451 8589934592 699337 3 158348 1365142\n");
    const DISK_PERFORMANCE told = counters(5);
    EXPECT_EQ("32697082 8589934592 5940770000 6993370000 621882 426264 3",
              fmt::format("{} {} {} {} {} {} {}", told.BytesRead / 512, told.BytesWritten / 512,
                          told.ReadTime, told.WriteTime, told.ReadCount, told.WriteCount, told.QueueDepth));
    // A namespace with several paths, on a kernel that counts on these alone; one of them is lost.
    tree.files("sys/block", "nvme1n1/stat 0 0 0 0 0 0 0 0 0;nvme1c2n1/stat 1 0 70 0 0 0 8 0 0;"
                            "nvme1c9n1/stat 1 0 30 0 0 0 0 0 0;nvme1c2n10/stat 1 0 900 0 0 0 0 0 0");
    for (const char* lost : {"none", "nvme1c9n1"}) {
        tree.remove(std::string("sys/block/") + lost);
        const DISK_PERFORMANCE sum = counters(6);
        EXPECT_EQ(std::pair(100L, 8L), std::pair(sum.BytesRead / 512, sum.BytesWritten / 512));
    }
    for (const char* text : {"1 2 3", "1 2 3 4 5 6 -7 8 9\n"}) {
        tree.file("sys/block/sda/stat", text);
        EXPECT_EQ(13U, ask(drive(0), IOCTL_DISK_PERFORMANCE).error) << text;
    }
}

TEST_F(LinuxDriveTree, PathsAndTheirCommands) {
    tree.file("sys/class/scsi_host/host8/proc_name", "mpt3sas\n");
    const Bytes ata = blockOf(556, {{0, 40}, {2, 2}, {9, 2}, {20, 44}, {38, 0xEC}});
    const Bytes smart = blockOf(33, {{0, 0}, {10, 0xEC}});
    const Bytes scsi = blockOf(44, {{0, 44}, {6, 12}, {7, 24}, {8, 1}, {13, 2}, {20, 80}, {24, 48}});
    const Bytes query = blockOf(4144, {{0, 49}, {8, 3}, {12, 1}, {16, 1}, {24, 40}, {29, 0x10}});
    // kFileNotFound where a node is looked for, which the tree lacks
    const std::tuple<const wchar_t*, std::uint32_t, Bytes, ErrorCode> cases[] = {
        {LR"(\\.\PHYSICALDRIVE0)", IOCTL_ATA_PASS_THROUGH, ata, kFileNotFound},
        {LR"(\\.\physicaldrive4)", SMART_RCV_DRIVE_DATA, smart, kFileNotFound},
        {LR"(\\.\PhysicalDrive1)", IOCTL_ATA_PASS_THROUGH, ata, kInvalidFunction}, // behind a bridge
        {LR"(\\.\PhysicalDrive1)", IOCTL_SCSI_PASS_THROUGH, scsi, kFileNotFound},
        {LR"(\\.\PhysicalDrive5)", IOCTL_SCSI_PASS_THROUGH, scsi, kInvalidFunction},
        {LR"(\\.\PhysicalDrive5)", IOCTL_STORAGE_QUERY_PROPERTY, query, kFileNotFound},
        {LR"(\\.\PhysicalDrive0)", IOCTL_STORAGE_QUERY_PROPERTY, query, kInvalidFunction},
        {LR"(\\.\PhysicalDrive0)", IOCTL_ATA_PASS_THROUGH, blockOf(39, {{0, 40}}), kInvalidFunction},
        {LR"(\\.\SCSI128:)", IOCTL_SCSI_MINIPORT, nvmeMini(), kFileNotFound},
        {LR"(\\.\Scsi8:)", IOCTL_SCSI_MINIPORT, nvmeMini(), kInvalidFunction},
    };
    for (const auto& [path, code, in, error] : cases)
        EXPECT_EQ(error, ask(path, code, in, 4300).error) << wideToUtf8(path) << " " << std::hex << code;
    for (const wchar_t* path :
         {LR"(\\.\PhysicalDrive)", LR"(\\.\PhysicalDrive4294967296)", LR"(\\.\Scsi130999:)", L""})
        EXPECT_EQ(kFileNotFound, system.deviceFiles().open(path, {}).error) << wideToUtf8(path);

    EXPECT_EQ(L"The device did not answer in time\r\n", system.systemFacts().errorText(kTimedOut));

    // A file that is no device is no node, and a disk that has gone is not there.
    tree.file("dev/sda", "a trap");
    auto file = system.deviceFiles().open(drive(0), {}).value;
    std::array<std::byte, 512> sector{};
    EXPECT_EQ(kFileNotFound, file->read(0, sector).error);
    tree.remove("sys/block/sda");
    EXPECT_EQ(kFileNotFound, file->control(IOCTL_DISK_GET_DRIVE_GEOMETRY, {}, sector).error);
}

TEST(LinuxDrives, ANodeHasToBeTheDeviceThatTheKernelTells) {
    const RootedFiles files("");
    const auto open = [&](const char* path, const char* number, bool block) {
        return openNode(files, {path, number, block}).error;
    };
    EXPECT_EQ(kSuccess, open("/dev/null", "1:3", false));
    EXPECT_EQ(kFileNotFound, open("/dev/null", "1:5", false));
    EXPECT_EQ(kFileNotFound, open("/dev/null", "1:3", true));
    const Tree tree;
    tree.link("dev/null", "/dev/null");
    EXPECT_EQ(kFileNotFound, openNode(RootedFiles(tree.root()), {"/dev/null", "1:3", false}).error);

    // A device that knows no such command says so.
    const auto null = openNode(files, {"/dev/null", "1:3", false});
    Bytes data(512);
    EXPECT_EQ(kInvalidFunction, sendScsi(null.value.get(), {}, data).error);
    EXPECT_EQ(kInvalidFunction, sendNvme(null.value.get(), {}, data));

    std::string content(10000, 'x');
    content.replace(4095, 3, "abc");
    tree.file("disk", content);
    const OwnedDescriptor disk(::open((tree.root() + "/disk").c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 3> three{};
    const auto readAt = [&](std::uint64_t block, std::uint64_t offset) {
        return readPastCache(disk.get(), block, offset, std::as_writable_bytes(std::span(three)));
    };
    EXPECT_EQ(3U, readAt(512, 4095).value); // over the edge of two pages
    EXPECT_EQ("abc", std::string(three.data(), 3));
    EXPECT_EQ(1U, readAt(0, 9999).value);
    EXPECT_EQ(87U, readAt(10000, 0).error); // no block size
}

TEST(LinuxText, WhatIsNoUtf8IsOneReplacementAPart) {
    for (const char* bad : {"\xF0\x9F\x98", "\xED\xA0\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80"})
        EXPECT_EQ(L"\uFFFD!", utf8ToWide(bad + std::string("!")));
}

constexpr char kNvmeId[] = R"(PCI\VEN_8086&DEV_A808&SUBSYS_11001AF4&REV_02\3&00000001&0&00)";

TEST_F(LinuxDriveTree, ManagementDataTellsOfDrivesAndControllers) {
    EXPECT_EQ(
        R"(\\.\PHYSICALDRIVE0|ST1000DM003-1CH162|IDE|Fixed hard disk media|1019934720|0|0|0|SCSI\DISK&VEN_&PROD_ST1000DM003-1CH1\5&00000000&0&000000
\\.\PHYSICALDRIVE1|JMicron Generic USB Device|USB|External hard disk media|1019934720|6|0|0|USBSTOR\DISK&VEN_JMICRON&PROD_GENERIC&REV_2.5+\12_34&1
\\.\PHYSICALDRIVE2|ASMT 2115 SCSI Disk Device|SCSI|External hard disk media|1019934720|7|2|0|SCSI\DISK&VEN_ASMT&PROD_2115\5&00000007&0&000200
\\.\PHYSICALDRIVE3|HGST HUS726T4TALA6L4 SCSI Disk Device|SCSI|Fixed hard disk media|1019934720|8|11|0|SCSI\DISK&VEN_HGST&PROD_HUS726T4TALA6L4\5&00000008&0&000B00
\\.\PHYSICALDRIVE4|QEMU HARDDISK ATA Device|IDE|Fixed hard disk media|1019934720|9|1|0|IDE\DISKQEMU_HARDDISK___________________________2.5+____\5&00000009&0&000100
\\.\PHYSICALDRIVE5|Samsung SSD 970 EVO 1TB|SCSI|Fixed hard disk media|1019934720|128|0|0|SCSI\DISK&VEN_NVME&PROD_SAMSUNG_SSD_970\5&00000080&0&000001
\\.\PHYSICALDRIVE6|MZ  PATH|SCSI|Fixed hard disk media|1019934720|137|0|0|SCSI\DISK&VEN_NVME&PROD_MZ__PATH\5&00000089&0&000000
\\.\PHYSICALDRIVE7||SCSI|Fixed hard disk media|1019934720||||SCSI\DISK&VEN_&PROD_\5&FFFFFFFF&0&000007
\\.\PHYSICALDRIVE8||SCSI|Fixed hard disk media|1019934720||||SCSI\DISK&VEN_&PROD_\5&FFFFFFFF&0&000008
)",
        rowsOf(system.managementData(), L"SELECT * FROM Win32_DiskDrive",
               {L"DeviceID", L"Model", L"InterfaceType", L"MediaType", L"Size", L"SCSIPort", L"SCSITargetId",
                L"SCSIBus", L"PNPDeviceID"}));

    // A second USB disk of one serial number.
    tree.scsi("sdt", DriveTree::kUsb + "/usb2/2-4/2-4:1.0", "11:0:0:1", "JMicron ", "Generic         ");
    tree.files(kPci + DriveTree::kUsb + "/usb2/2-4", "idVendor 152d;idProduct 0578;serial 12/34");
    const std::string uas = R"(USB\VID_174C&PID_55AA\6&2-2)";
    const auto ide = [](const char* place, const char* device) {
        return fmt::format("PCI\\VEN_8086&DEV_{}&SUBSYS_11001AF4&REV_02\\3&000000{}\n", device, place);
    };
    // clang-format off
    const std::pair<const wchar_t*, std::string> queries[] = {
        {LR"(ASSOCIATORS OF {Win32_DiskDrive.DeviceID='\\.\PhysicalDrive5'} WHERE ResultClass=Win32_PnPEntity)",
         "SCSI\\DISK&VEN_NVME&PROD_SAMSUNG_SSD_970\\5&00000080&0&000001\n"},
        {LR"(ASSOCIATORS OF {Win32_DiskDrive.DeviceID='\\.\PhysicalDrive9'} WHERE ResultClass=Win32_PnPEntity)", R"(USBSTOR\DISK&VEN_JMICRON&PROD_GENERIC&REV_2.5+\12_34&1&SDT)" "\n"},
        {LR"(ASSOCIATORS OF {Win32_PnPEntity.DeviceID='SCSI\DISK&VEN_NVME&PROD_SAMSUNG_SSD_970\5&00000080&0&000001'} WHERE AssocClass=Win32_SCSIControllerDevice)",
         kNvmeId + std::string("\n")},
        {LR"(ASSOCIATORS OF {Win32_PnPEntity.DeviceID='SCSI\DISK&VEN_&PROD_ST1000DM003-1CH1\5&00000000&0&000000'} WHERE AssocClass=Win32_SCSIControllerDevice)",
         ""}, // on an IDE controller
        {LR"(ASSOCIATORS OF {Win32_USBController.DeviceID="PCI\\VEN_8086&DEV_A36D&SUBSYS_11001AF4&REV_02\\3&00000000&0&A0"} WHERE AssocClass = Win32_USBControllerDevice)",
         "USB\\VID_152D&PID_0578\\12_34\nUSBSTOR\\DISK&VEN_JMICRON&PROD_GENERIC&REV_2.5+\\12_34&1\n" + uas + "\nSCSI\\DISK&VEN_ASMT&PROD_2115\\5&00000007&0&000200\nUSB\\VID_152D&PID_0578\\12_34\nUSBSTOR\\DISK&VEN_JMICRON&PROD_GENERIC&REV_2.5+\\12_34&1&SDT\n"},
        {L"select DeviceID from Win32_IDEController", ide("00&0&09", "7010") + ide("00&0&20", "0001") + ide("00&0&FA", "2922")},
        {L"select DeviceID from Win32_SCSIController", kNvmeId + std::string("\nPCI\\VEN_8086&DEV_0097&SUBSYS_11001AF4&REV_02\\3&00000003&0&00\n") + uas + "\n"},
        {L"SELECT * FROM Win32_Fan", "failed"},
    };
    // clang-format on
    for (const auto& [wql, expected] : queries)
        EXPECT_EQ(expected, rowsOf(system.managementData(), wql, {L"DeviceID"})) << wideToUtf8(wql);

    tree.file("usr/share/misc/pci.ids", "8086  Intel Corporation\n\ta36d  Cannon Lake PCH USB 3.1\n");
    EXPECT_EQ("PCI\\VEN_8086&DEV_A36D&SUBSYS_11001AF4&REV_02\\3&00000000&0&A0|"
              "Intel Corporation Cannon Lake PCH USB 3.1\n",
              rowsOf(system.managementData(), L"select Name, DeviceID from Win32_USBController",
                     {L"DeviceID", L"Name"}));
}

TEST_F(LinuxDriveTree, TheLinkOfAnNvmeController) {
    const std::string folder = kPci + DriveTree::kNvme;
    tree.files(folder, "max_link_speed 16.0 GT/s PCIe;max_link_width 4;current_link_width 255");
    const auto devices = system.deviceTree().devicesOf(kScsiAdapterClass);
    std::unique_ptr<Device> found;
    for (std::uint32_t index = 0; !found && index < 5; ++index) // the storage controllers alone
        if (auto device = devices.value->at(index); device.value->id(260).value == utf8ToWide(kNvmeId))
            found = std::move(device.value);
    ASSERT_TRUE(found);
    EXPECT_EQ(kInsufficientBuffer, found->id(sizeof kNvmeId - 1).error);
    EXPECT_EQ(kNoMoreItems, devices.value->at(5).error);
    // By its id it is found without a look at the others, and a function of another class is none.
    const auto one = system.deviceTree().devicesWith(kScsiAdapterClass, utf8ToWide(kNvmeId));
    EXPECT_EQ(found->id(260).value, one.value->at(0).value->id(260).value);
    EXPECT_EQ(kNoMoreItems, one.value->at(1).error);
    for (const wchar_t* other : {L"", LR"(X\3&01&0&00)", LR"(X\3&00000001&0&08)", LR"(X\3&00000000&0&A0)"})
        EXPECT_EQ(kNoMoreItems, system.deviceTree().devicesWith(kScsiAdapterClass, other).value->at(0).error);
    DevicePropertyKey key{{0x3AB22E31, 0x8264, 0x4B4E, {0x9A, 0xF5, 0xA8, 0xD2, 0xD8, 0xE3, 0x3E, 0x62}}, 0};
    const auto property = [&](std::uint32_t id) {
        key.id = id;
        std::vector<std::byte> data(1024, std::byte{0xEE});
        const auto answer = found->property(key, data);
        return answer.ok() ? static_cast<int>(data[0]) : -1;
    };
    EXPECT_EQ(4, property(11));
    EXPECT_EQ(4, property(12));
    EXPECT_EQ(-1, property(10));
    const std::map<const char*, int> speeds{{"2.5 GT/s", 1},      {"5 GT/s", 2},      {"8.0 GT/s PCIe", 3},
                                            {"Unknown GT/s", -1}, {"128.0 GT/s", -1}, {"", -1}};
    for (const auto& [text, generation] : speeds) {
        tree.file(folder + "/current_link_speed", text);
        EXPECT_EQ(generation, property(9)) << text;
    }
}

} // namespace
} // namespace orv::test
