// Which path a drive is found on: the order of the paths, what each is traced as, and what ends the search.

#include "support/DescribedDrives.h"

#include <gmock/gmock.h>

#include <map>

namespace orv::test {
namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Labels = std::vector<std::wstring>;

constexpr int kMaster = 0xA0, kSlave = 0xB0;

DriveSighting usb(std::uint32_t vendor, std::uint32_t product = 0, BOOL hint = 0) {
    return {.physicalDriveId = 1,
            .interfaceType = INTERFACE_TYPE_USB,
            .usbVendorId = vendor,
            .usbProductId = product,
            .pnpDeviceId = L"USBSTOR\\DISK",
            .nvmeHint = hint};
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

Labels plus(Labels labels, const Labels& more) {
    labels.insert(labels.end(), more.begin(), more.end());
    return labels;
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
    EXPECT_THAT(labelsOf(drive), ElementsAreArray(test.labels));
    ASSERT_EQ(1u, drive.engine->vars.size());
    const AtaSmartInfo& asi = drive.engine->vars[0];
    EXPECT_EQ(test.commandType, asi.CommandType);
    EXPECT_EQ(test.target, asi.Target);
    EXPECT_EQ(test.seen.physicalDriveId, asi.PhysicalDriveId);
    EXPECT_EQ(test.seen.scsiTargetId, asi.ScsiTargetId);
    EXPECT_EQ(L"S1", asi.SerialNumber);
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
        {silicon, ataDrive(R"("siliconImage", "predictFailure")", kMaster, kAtPort), CMD_TYPE_SILICON_IMAGE, kMaster,
         plus(kStart, {siliconLabel, L"AddDisk - Si"})},
    };
    // clang-format on
    for (const PathCase& test : cases) {
        SCOPED_TRACE(&test - cases);
        DriveOnMachine drive(test.drive);
        expectRecord(test, drive, drive.engine->GetDiskInfo(test.seen));
        EXPECT_EQ(test.seen.siliconImageType, drive.engine->vars.at(0).SiliconImageType);
        EXPECT_EQ(test.seen.scsiBus, drive.engine->vars.at(0).ScsiBus);
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
const std::map<std::uint32_t, const wchar_t*> kVendorLabels = {
    {0x152D, kJMicronLabel},
    {0x04FC, L"usbVendorId == USB_VENDOR_SUNPLUS"},
    {0x0928, L"usbVendorId == USB_VENDOR_INITIO || usbVendorId == USB_VENDOR_OXFORD"}};

/// Rows of the lists, on the only path that the drive understands.
TEST(ProbeDrive, TheBridges) {
    struct Row {
        std::uint32_t vendor;
        const char* path;
        int target;
        std::uint32_t commandType;
        const wchar_t* step;
        bool general = false; ///< found by the list that is for every vendor
    };
    const Row rows[] = {
        {0x152D, "jmicron", kMaster, CMD_TYPE_JMICRON, L"0A"},
        {0x152D, "sat", kSlave, CMD_TYPE_SAT, L"1B"},
        {0x04FC, "sunplus", kSlave, CMD_TYPE_SUNPLUS, L"5"},
        {0x0928, "sat", kSlave, CMD_TYPE_SAT, L"9"},
        {0xFFFF, "sat", kMaster, CMD_TYPE_SAT, L"10", true},
        {0x0BDA, "logitec", kMaster, CMD_TYPE_LOGITEC, L"14", true},
        {0x04FC, "jmicron", kSlave, CMD_TYPE_JMICRON, L"16", true},
        {0xFFFF, "prolific", kSlave, CMD_TYPE_PROLIFIC, L"20", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        PathCase test{usb(row.vendor), ataDrive(fmt::format("\"{}\"", row.path), row.target), row.commandType,
                      row.target, kStart};
        if (const auto label = kVendorLabels.find(row.vendor); label != kVendorLabels.end())
            test.labels.emplace_back(label->second);
        if (row.general) test.labels = plus(test.labels, kGeneral);
        test.labels.push_back(std::wstring(L"AddDisk - USB") + row.step);
        DriveOnMachine drive(test.drive);
        drive.allowAll();
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
    for (char& letter : commands)
        letter = letter >= 'A' && letter <= 'F' ? static_cast<char>(letter - 'A' + 'a') : letter;
    return commands;
}

TEST(ProbeDrive, WhatADeadDriveIsAskedAndInWhichOrder) {
    const std::string list = "a108 df10 f800 2424 e000 d815 ", nvme = "a180 a180:580 e606 e400 ";
    const std::string all = list + list + nvme, jmicron = "df10 a108 df10 a108 ";
    struct Row {
        DriveSighting seen;
        std::string commands;
        Labels labels;
    };
    const DriveSighting fireWire{
        .physicalDriveId = 1, .interfaceType = INTERFACE_TYPE_IEEE1394, .usbVendorId = 0x152D, .nvmeHint = 1};
    const Row rows[] = {
        {usb(0x0789, 0x00D9), "", {L"FALSE: usbVendorId == USB_VENDOR_LOGITEC && productId == 0x00D9"}},
        {usb(0x152D, 0, 1), jmicron + "a180 a180:580 ", {kJMicronLabel, L"FALSE - USB0"}},
        {usb(0x04BB, 0x0122, 1),
         jmicron,
         {L"(usbVendorId == USB_VENDOR_IO_DATA && productId == 0x0122)", L"FALSE - USB0"}},
        {usb(0x04BB, 0, 1), "e300 e300 " + nvme + all, plus({kIoDataLabel}, kGeneral)},
        {usb(0x0BDA), "e400 " + all, kGeneral},
        {usb(0x0789, 0x0122, 1), nvme + all, kGeneral},
        {fireWire, all, kGeneral},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        DriveOnMachine drive(kDeadDrive);
        drive.allowAll();
        drive.machine->requests().keepRecord(true);
        EXPECT_FALSE(drive.engine->GetDiskInfo(row.seen));
        EXPECT_EQ("read " + row.commands, bridgeCommands(drive));
        EXPECT_THAT(labelsOf(drive), ElementsAreArray(plus(kStart, row.labels)));
        EXPECT_THAT(drive.engine->vars, IsEmpty());
    }
}

TEST(ProbeDrive, APathThatIsOffIsNotAsked) {
    for (const std::uint32_t vendor : {0x152D, 0x0BDA, 0xFFFF}) {
        DriveOnMachine drive(kDeadDrive);
        drive.machine->requests().keepRecord(true);
        EXPECT_FALSE(drive.engine->GetDiskInfo(usb(vendor, 0, 1)));
        EXPECT_EQ("read ", bridgeCommands(drive)) << vendor;
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
    {
        DriveOnMachine drive(ataDrive(R"("sat", "asm1352r")"));
        drive.engine->FlagUsbSat = 1;
        EXPECT_TRUE(drive.engine->GetDiskInfo(usb(0xFFFF)));
        EXPECT_EQ(CMD_TYPE_SAT, drive.engine->vars.at(0).CommandType);
    }
    {
        DriveOnMachine drive(ataDrive(R"("sat", "asm1352r")"));
        drive.engine->FlagUsbSat = drive.engine->FlagUsbAsm1352r = 1;
        EXPECT_TRUE(drive.engine->GetDiskInfo(usb(0xFFFF)));
        EXPECT_THAT(labelsOf(drive), ElementsAreArray(plus(plus(kStart, kGeneral),
                                                           {L"AddDisk - USB10", L"AddDisk - ASM1352R"})));
        ASSERT_EQ(1u, drive.engine->vars.size()) << "one drive, one record: the later one took its place";
        EXPECT_EQ(CMD_TYPE_SAT_ASM1352R, drive.engine->vars[0].CommandType);
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

/// Each request of a search fails in turn: the list stays as it was, or has a whole record more.
TEST(ProbeDrive, AnyRequestMayFail) {
    const std::pair<std::string, DriveSighting> drives[] = {
        {ataDrive(R"("ataPassThrough", "smartIoctl")", kMaster, kAtPort), atPort(1)},
        {ataDrive(R"("sat", "asm1352r")"), usb(0xFFFF)},
        {nvmeDrive(R"("nvmeMini")", kAtPort), atPort(1, INTERFACE_TYPE_NVME)},
        {nvmeDrive(R"("jmicronNvme")"), usb(0x152D)},
    };
    for (const auto& [text, seen] : drives) {
        std::uint64_t requests = 1, added = 0;
        for (std::uint64_t number = 0; number <= requests; ++number) {
            SCOPED_TRACE(number);
            DriveOnMachine drive(text);
            drive.allowAll();
            drive.machine->requests().failRequest(number, platform::kAccessDenied);
            const bool found = drive.engine->GetDiskInfo(seen);
            if (number == 0) requests = drive.machine->requests().count();
            ASSERT_EQ(found ? 1u : 0u, drive.engine->vars.size());
            if (!found) continue;
            ++added;
            const AtaSmartInfo& asi = drive.engine->vars[0];
            EXPECT_EQ(L"S1", asi.SerialNumber);
            EXPECT_EQ(asi.IsNVMe ? asi.DiskVendorId == VENDOR_NVME : asi.IsSmartCorrect != 0,
                      asi.Temperature != kNoTemperature);
            drive.machine->requests().failRequest(0, platform::kSuccess);
            EXPECT_FALSE(drive.engine->GetDiskInfo(seen)) << "it is known";
        }
        EXPECT_GT(added, 1u) << "a failure that is not of the only path is tolerated";
        EXPECT_GT(requests, added / 2);
    }
}

} // namespace
} // namespace orv::test
