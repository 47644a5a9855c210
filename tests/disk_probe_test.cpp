// Which path a drive is found on: the order of the paths, what each is traced as, and what ends the search.

#include "support/DescribedDrives.h"

namespace orv::test {
namespace {

constexpr int kMaster = 0xA0, kSlave = 0xB0;

DriveSighting usb(std::uint32_t vendor, std::uint32_t product = 0, BOOL hint = 0) {
    DriveSighting seen{
        .physicalDriveId = 1, .interfaceType = INTERFACE_TYPE_USB, .pnpDeviceId = L"USBSTOR\\DISK"};
    std::tie(seen.usbVendorId, seen.usbProductId, seen.nvmeHint) = std::tuple(vendor, product, hint);
    return seen;
}
DriveSighting atPort(std::int32_t physicalDriveId, std::uint32_t interfaceType = INTERFACE_TYPE_UNKNOWN) {
    return {
        .physicalDriveId = physicalDriveId, .scsiPort = 2, .scsiTargetId = 3, .interfaceType = interfaceType};
}

/// The search's own labels, without those of the commands and of the SMART reads.
Labels labelsOf(const DriveOnMachine& drive) {
    return drive.traceWithout({L"DoIdentifyDeviceSat pd", L"bRet == FALSE", L"count=0", L"SendAtaCommandPd",
                               L"GetSmartAttribute", L"CheckSmartAttributeCorrect", L"asi.SmartReadData",
                               L"asi1->"});
}

const Labels kStart = {L"GetDiskInfo"};
const Labels kGeneral = {L"else (USB-HDD)", L"FlagUsbSat=1"};

struct PathCase {
    DriveSighting seen;
    std::string drive;
    std::uint32_t commandType;
    int target;
    Labels labels;
};

void expectRecord(const PathCase& test, const DriveOnMachine& drive, bool added) {
    EXPECT_TRUE(added);
    EXPECT_EQ(test.labels, labelsOf(drive));
    ASSERT_EQ(1u, drive.engine->vars.size());
    const AtaSmartInfo& asi = drive.engine->vars[0];
    EXPECT_EQ(
        std::tuple(test.commandType, test.target, test.seen.physicalDriveId, test.seen.scsiTargetId, L"S1"),
        std::tuple(asi.CommandType, asi.Target, asi.PhysicalDriveId, asi.ScsiTargetId, asi.SerialNumber));
}

TEST(ProbeDrive, ThePlainPaths) {
    const Labels unanswered = {L"GetDiskInfo", L"DoIdentifyDevicePd(1, 0xA0) - 1", L"WakeUp(1)",
                               L"DoIdentifyDevicePd(1, 0xA0) - 2", L"DoIdentifyDevicePd(1, 0xB0) - 3"};
    const std::string physical = R"("ataPassThrough")";
    const DriveSighting plain{.physicalDriveId = 1};
    DriveSighting nvidia = atPort(1, INTERFACE_TYPE_SATA);
    nvidia.isNvidiaController = 1;
    DriveSighting silicon = atPort(1);
    silicon.scsiBus = 0;
    silicon.siliconImageType = 3112;
    const Labels byPort = plus(unanswered, {L"DoIdentifyDeviceScsi(2, 3) - 4", L"AddDisk(1, 2, 3) - 5"});
    const std::wstring siliconLabel = L"physicalDriveId=1, scsiPort=2, scsiBus=0, scsiTargetId=3";
    const auto onPort = ataDrive(R"("scsiDisk")", kMaster, kAtPort);
    const std::wstring first = L"DoIdentifyDevicePd(1, 0xA0) - 1", added = L"AddDisk(1, -1, -1) - 6";
    constexpr std::uint32_t PD = CMD_TYPE_PHYSICAL_DRIVE, MINI = CMD_TYPE_SCSI_MINIPORT;
    // clang-format off
    const PathCase cases[] = {
        {plain, ataDrive(physical, kMaster, R"(, "asleep": {"spinUpMilliseconds": 9000})"), PD, kMaster,
         plus(kStart, {first, L"WakeUp(1)", L"DoIdentifyDevicePd(1, 0xA0) - 2", added})},
        {plain, ataDrive(physical, kSlave), PD, kMaster, plus(unanswered, {added})},
        {nvidia, onPort, MINI, kMaster, byPort},
        {atPort(-1), onPort, MINI, kMaster, plus(kStart, {L"DoIdentifyDeviceScsi(2, 3) - 7", L"AddDisk(-1, 2, 3) - 8"})},
        {silicon, ataDrive(R"("siliconImage", "predictFailure")", kMaster, kAtPort), CMD_TYPE_SILICON_IMAGE, kMaster, plus(kStart, {siliconLabel, L"AddDisk - Si"})},
    };
    // clang-format on
    for (const PathCase& test : cases) {
        SCOPED_TRACE(&test - cases);
        DriveOnMachine drive(test.drive);
        expectRecord(test, drive, drive.engine->GetDiskInfo(test.seen));
        const AtaSmartInfo& asi = drive.engine->vars.at(0);
        EXPECT_EQ(std::pair(test.seen.siliconImageType, test.seen.scsiBus),
                  std::pair(asi.SiliconImageType, asi.ScsiBus));
    }
}

TEST(ProbeDrive, ThePortIsAskedOnlyWithReason) {
    const std::string drive = ataDrive(R"("scsiDisk")", kMaster, kAtPort);
    DriveSighting noTarget = atPort(1), noPort = atPort(-1), slot = atPort(1);
    noTarget.scsiTargetId = -1;
    noPort.scsiPort = -1;
    noTarget.isNvidiaController = noPort.isNvidiaController = 1;
    for (const auto& [seen, advanced, found] :
         {std::tuple{slot, 0, false}, {slot, 1, true}, {noTarget, 1, false}, {noPort, 1, false}}) {
        DriveOnMachine machine(drive);
        machine.engine->AdvancedDiskSearch = advanced;
        EXPECT_EQ(found, machine.engine->GetDiskInfo(seen));
        EXPECT_EQ(found ? 1u : 0u, machine.engine->vars.size());
    }
}

const wchar_t* const kJMicronLabel = L"usbVendorId == USB_VENDOR_JMICRON";
const wchar_t* const kIoDataLabel = L"usbVendorId == USB_VENDOR_IO_DATA";

/// Rows of the lists, on the only path that the drive understands.
TEST(ProbeDrive, TheBridges) {
    const Labels general = plus(kStart, kGeneral), jmicron = plus(kStart, {kJMicronLabel}),
                 sunplus = plus(kStart, {L"usbVendorId == USB_VENDOR_SUNPLUS"}),
                 initio =
                     plus(kStart, {L"usbVendorId == USB_VENDOR_INITIO || usbVendorId == USB_VENDOR_OXFORD"});
    const std::tuple<std::uint32_t, const char*, int, std::uint32_t, Labels, const wchar_t*> rows[] = {
        {0x152D, "jmicron", kMaster, CMD_TYPE_JMICRON, jmicron, L"0A"},
        {0x152D, "sat", kSlave, CMD_TYPE_SAT, jmicron, L"1B"},
        {0x04FC, "sunplus", kSlave, CMD_TYPE_SUNPLUS, sunplus, L"5"},
        {0x0928, "sat", kSlave, CMD_TYPE_SAT, initio, L"9"},
        // Found by the list that is for every vendor
        {0xFFFF, "sat", kMaster, CMD_TYPE_SAT, general, L"10"},
        {0x0BDA, "logitec", kMaster, CMD_TYPE_LOGITEC, general, L"14"},
        {0x04FC, "jmicron", kSlave, CMD_TYPE_JMICRON, plus(sunplus, kGeneral), L"16"},
        {0xFFFF, "prolific", kSlave, CMD_TYPE_PROLIFIC, general, L"20"},
    };
    for (const auto& [vendor, path, target, commandType, labels, step] : rows) {
        SCOPED_TRACE(step);
        DriveOnMachine drive(ataDrive(fmt::format("\"{}\"", path), target));
        drive.allowAll();
        const PathCase test{usb(vendor), "", commandType, target,
                            plus(labels, {std::wstring(L"AddDisk - USB") + step})};
        expectRecord(test, drive, drive.engine->GetDiskInfo(test.seen));
        EXPECT_EQ(1, drive.engine->vars.at(0).IsThresholdCorrect) << "read by the bridge's own commands";
        EXPECT_EQ(L"USBSTOR\\DISK", drive.engine->vars[0].PnpDeviceId);
    }
}

TEST(ProbeDrive, TheNvmePaths) {
    Labels asked = kStart;
    const auto found = [&](const std::wstring& routine, const std::wstring& type) {
        asked.push_back(L"DoIdentifyDeviceNVMe" + routine);
        return plus(asked, {L"AddDiskNVMe - CMD_TYPE_NVME_" + type});
    };
    const auto at = [](const char* path) { return nvmeDrive(fmt::format("\"{}\"", path), kAtPort); };
    const Labels general = plus(kStart, kGeneral);
    const DriveSighting seen = atPort(1, INTERFACE_TYPE_NVME), hint = usb(0xFFFF, 0, 1), none = usb(0xFFFF);
    const wchar_t *usb2 = L"DoIdentifyDeviceNVMeJMicron: USB2.0 mode",
                  *asmedia = L"DoIdentifyDeviceNVMeASMedia";
    const PathCase cases[] = {
        {seen, at("storageQuery"), CMD_TYPE_NVME_STORAGE_QUERY, 3, found(L"StorageQuery", L"STORAGE_QUERY")},
        {seen, at("nvmeRaid"), CMD_TYPE_NVME_INTEL_VROC, 3, found(L"IntelVroc", L"INTEL_VROC")},
        {seen, at("intelNvm"), CMD_TYPE_NVME_INTEL_RST, 3, found(L"IntelRst", L"INTEL_RST")},
        {seen, at("samsung"), CMD_TYPE_NVME_SAMSUNG, 3, found(L"Samsung", L"SAMSUNG")},
        {seen, at("nvmeMini"), CMD_TYPE_NVME_INTEL, 3, found(L"Intel", L"INTEL")},
        {hint, at("jmicronNvmeUsb2"), CMD_TYPE_NVME_JMICRON, 0xFF, plus(kStart, {usb2})},
        {hint, at("asmediaNvme"), CMD_TYPE_NVME_ASMEDIA, 0xFF, plus(kStart, {asmedia})},
        {hint, at("realtekNvme"), CMD_TYPE_NVME_REALTEK, 0xFF, kStart},
        {none, at("realtekNvme"), CMD_TYPE_NVME_REALTEK, 0xFF, general},
    };
    for (const PathCase& test : cases) {
        SCOPED_TRACE(&test - cases);
        DriveOnMachine drive(test.drive);
        drive.allowAll();
        expectRecord(test, drive, drive.engine->GetDiskInfo(test.seen));
        // Two paths learn the size and tell it.
        const bool sized =
            test.commandType == CMD_TYPE_NVME_INTEL_VROC || test.commandType == CMD_TYPE_NVME_INTEL_RST;
        EXPECT_EQ(sized ? 1024u : 0u, drive.engine->vars.at(0).TotalDiskSize);
        EXPECT_EQ(VENDOR_NVME, drive.engine->vars[0].DiskVendorId) << "its health page was read";
    }
}

/// What a bridge was asked since the record began: the first two bytes of each command block, the length of
/// the shorter JMicron request, and "read" for the wake-up.
std::string bridgeCommands(DriveOnMachine& drive) {
    std::string commands;
    for (const std::string& line : drive.machine->requests().record()) {
        if (line.starts_with("deviceRead")) commands += "read ";
        const auto in = line.find(" in ");
        if (!line.starts_with("deviceControl") || in == line.npos) continue;
        std::string hex = line.substr(in + 4);
        std::erase(hex, ' ');
        commands += hex.substr(56, 4) + (line.find(" out 580 ") == line.npos ? " " : ":580 ");
    }
    return commands;
}

TEST(ProbeDrive, WhatADeadDriveIsAskedAndInWhichOrder) {
    const std::string list = "a108 df10 f800 2424 e000 d815 ", nvme = "a180 a180:580 e606 e400 ";
    const std::string all = list + list + nvme, jmicron = "df10 a108 df10 a108 ";
    const wchar_t* ioDataProduct = L"(usbVendorId == USB_VENDOR_IO_DATA && productId == 0x0122)";
    DriveSighting fireWire = usb(0x152D, 0, 1);
    fireWire.interfaceType = INTERFACE_TYPE_IEEE1394;
    const std::tuple<DriveSighting, std::string, Labels> rows[] = {
        {usb(0x0789, 0x00D9), "", {L"FALSE: usbVendorId == USB_VENDOR_LOGITEC && productId == 0x00D9"}},
        {usb(0x152D, 0, 1), jmicron + "a180 a180:580 ", {kJMicronLabel, L"FALSE - USB0"}},
        {usb(0x04BB, 0x0122, 1), jmicron, {ioDataProduct, L"FALSE - USB0"}},
        {usb(0x04BB, 0, 1), "e300 e300 " + nvme + all, plus(Labels{kIoDataLabel}, kGeneral)},
        {usb(0x0BDA), "e400 " + all, kGeneral},
        {usb(0x0789, 0x0122, 1), nvme + all, kGeneral},
        {fireWire, all, kGeneral},
    };
    for (const auto& [seen, commands, labels] : rows) {
        DriveOnMachine drive(kDeadDrive);
        drive.allowAll();
        EXPECT_FALSE(drive.engine->GetDiskInfo(seen));
        EXPECT_EQ("read " + commands, bridgeCommands(drive));
        EXPECT_EQ(plus(kStart, labels), labelsOf(drive));
        EXPECT_THAT(drive.engine->vars, IsEmpty());
        DriveOnMachine off(kDeadDrive);
        EXPECT_FALSE(off.engine->GetDiskInfo(seen));
        EXPECT_EQ("read ", bridgeCommands(off)) << "a path that is off is not asked";
    }
}

TEST(ProbeDrive, AnNvmeDriveThatAnswersNowhereIsTriedAsAUsbDisk) {
    DriveOnMachine drive(ataDrive(R"("sat")", kMaster, kAtPort));
    drive.engine->FlagUsbSat = 1;
    DriveSighting seen = atPort(-1, INTERFACE_TYPE_NVME);
    EXPECT_FALSE(drive.engine->GetDiskInfo(seen));
    EXPECT_EQ(L"DoIdentifyDeviceNVMeIntel", drive.trace.back()) << "a port alone is no USB disk";
    seen.physicalDriveId = 1;
    seen.usbVendorId = 0x0789;
    seen.usbProductId = 0x00D9; // no vendor's rule is asked
    EXPECT_TRUE(drive.engine->GetDiskInfo(seen));
    EXPECT_EQ(CMD_TYPE_SAT, drive.engine->vars.at(0).CommandType);
}

/// The two identities of a drive that both SAT and the ASM1352R's variant reach.
TEST(ProbeDrive, TheAsm1352rIsAskedBehindSat) {
    for (const auto& [allowed, commandType, last] : {std::tuple(0, CMD_TYPE_SAT, L"AddDisk - USB10"),
                                                     {1, CMD_TYPE_SAT_ASM1352R, L"AddDisk - ASM1352R"}}) {
        DriveOnMachine drive(ataDrive(R"("sat", "asm1352r")"));
        drive.engine->FlagUsbSat = 1;
        drive.engine->FlagUsbAsm1352r = allowed;
        EXPECT_TRUE(drive.engine->GetDiskInfo(usb(0xFFFF)));
        EXPECT_EQ(last, labelsOf(drive).back());
        ASSERT_EQ(1u, drive.engine->vars.size()) << "one drive, one record: the later one took its place";
        EXPECT_EQ(commandType, drive.engine->vars[0].CommandType);
    }
}

TEST(ProbeDrive, AFullListAndAKnownNumber) {
    for (const auto& [size, added, last] : {std::tuple(79u, true, L"AddDisk(1, -1, -1) - 6"),
                                            {80u, false, L"AddDisk(1, -1, -1) - 6"},
                                            {81u, false, L"GetDiskInfo - FALSE0"}}) {
        DriveOnMachine drive(ataDrive(R"("ataPassThrough")"));
        drive.engine->vars.resize(size);
        EXPECT_EQ(added, drive.engine->GetDiskInfo({.physicalDriveId = 1}));
        EXPECT_EQ(last, labelsOf(drive).back());
        EXPECT_EQ(size + (added ? 1 : 0), drive.engine->vars.size());
    }
    DriveOnMachine drive(ataDrive(R"("scsiDisk")", kMaster, kAtPort));
    drive.engine->vars.resize(2); // of unknown numbers
    EXPECT_TRUE(drive.engine->GetDiskInfo(atPort(-1))) << "no number is no known one";
    drive.engine->vars[1].PhysicalDriveId = 1;
    EXPECT_FALSE(drive.engine->GetDiskInfo(atPort(1)));
    EXPECT_EQ(L"GetDiskInfo - FALSE1", drive.trace.back());
}

} // namespace
} // namespace orv::test
