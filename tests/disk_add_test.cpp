// From an identify block to the record in the list: SMART reads of each path, drives met twice, refusals.

#include "disk_engine/paths/PcieLink.h"
#include "support/DescribedDrives.h"

namespace orv::test {
namespace {

constexpr int kMaster = 0xA0;
const std::string kController = R"("controllerId": "PCI\\VEN_144D&DEV_A808\\3&2")";
const std::string kLink = R"("link": {"maxSpeed": 4, "maxWidth": 4, "currentSpeed": 3, "currentWidth": 2})";
constexpr const wchar_t* kSameBlocks = L"asi.SmartReadData == asi.SmartReadThreshold";

DriveAddress addressOf(std::uint32_t commandType) {
    return {1, 2, 3, 0, kMaster, commandType, 0, nullptr, L"IDE\\DISK"};
}

bool add(DriveOnMachine& drive, std::uint32_t commandType, AtaBlock block = smartIdentify()) {
    return drive.engine->AddDisk(addressOf(commandType), block);
}

/// The ends of the labels, "1|1A|2", without those of the commands.
std::wstring labelsOf(const DriveOnMachine& drive) {
    std::wstring text;
    for (const std::wstring& label : drive.traceWithout({L"SendAtaCommandPd"})) {
        const auto dash = label.rfind(L" - ");
        text += (text.empty() ? L"" : L"|") + (dash == label.npos ? label : label.substr(dash + 3));
    }
    return text;
}

std::string smartOf(const std::vector<DriveAttribute>& attributes) {
    AtaSmartInfo asi;
    putBlocks(asi, attributes);
    return hexOf(asi.SmartReadData);
}

/// One block for both, which is wrong on the physical drive's path but for one maker's drives.
std::string oneBlockOf(const std::vector<DriveAttribute>& attributes) {
    return fmt::format(R"("smart": "{0}", "thresholds": "{0}")", smartOf(attributes));
}

std::string answers(const std::string& rows) {
    return R"(, "answers": [)" + rows + "]" + kAtPort;
}

TEST(AddDisk, TheSmartReadsOfAPath) {
    const std::string physical = R"("ataPassThrough")", silicon = R"("predictFailure")";
    const std::string both = silicon + ", " + physical, off = R"(, "smartEnabled": false)";
    const std::wstring si = L"GetSmartAttributeSi(physicalDriveId, &asi)|"
                            L"GetSmartAttributeSi(physicalDriveId, &asiCheck)|1";
    const std::wstring same = kSameBlocks, otherCount = L"asi1->AttributeCount != asi2->AttributeCount";
    const std::wstring otherId = L"asi1->Attribute[i].Id != asi2->Attribute[i].Id";
    const std::string fewer = R"("data": ")" + smartOf({{.id = 5}}) + '"', error = R"("error": 1)",
                      otherIds = R"("data": ")" + smartOf({{.id = 5}, {.id = 9}}) + '"';
    const auto answer = [](const std::string& path, const char* operation, const std::string& what) {
        return fmt::format(R"({{"path": {}, "operation": "{}", {}}})", path, operation, what);
    };
    const auto nth = [&](const std::string& path, int number, const std::string& what) {
        return answer(path, "smart", fmt::format(R"("nth": {}, {})", number, what));
    };
    const auto twice = [&](const std::string& what) {
        return answers(nth(physical, 2, what) + ", " + nth(physical, 4, what));
    };
    constexpr std::uint32_t PD = CMD_TYPE_PHYSICAL_DRIVE, SI = CMD_TYPE_SILICON_IMAGE;
    struct Row {
        std::uint32_t type;
        std::string paths, more;
        std::wstring labels;
        int enabled, correct, thresholds;
        std::string smart = smartKeys(kSomeAttributes);
        bool indilinx = false; ///< the one maker of whose SSDs one block for both is right
    };
    const std::string oneBlock = oneBlockOf(kSomeAttributes);
    const std::string indilinx = oneBlockOf({{1}, {9}, {12}, {184}, {195}, {196}, {.id = 194, .raw = 35}});
    // clang-format off
    const Row rows[] = {
        {PD, physical, "", L"1|1A", 1, 1, 1},
        // Two reads that never agree.
        {PD, physical, twice(otherIds), L"1|1A|" + otherId + L"|2|2A|" + otherId, 1, 0, 1},
        {PD, physical, answers(answer(physical, "control", error) + ", " + nth(physical, 2, otherIds)), L"1|1A|" + otherId, 1, 0, 1},
        {PD, physical, twice(error), L"1|1A|2|2A", 0, 0, 0}, // a scratch read that fails ends its attempt
        {PD, physical, answers(answer(physical, "smart", error)), L"1|2|" + same, 0, 0, 0},
        {PD, physical, "", L"1|1A|" + same, 0, 0, 0, oneBlock},
        {PD, physical, "", L"1|1A", 1, 1, 1, indilinx, true},
        {CMD_TYPE_SCSI_MINIPORT, R"("scsiDisk")", kAtPort, L"", 1, 1, 1, oneBlock}, // no other path has that test
        {CMD_TYPE_SCSI_MINIPORT, R"("scsiDisk")", off + kAtPort, L"", 1, 1, 1},
        {SI, both, "", si + L"|2", 1, 1, 1},
        {SI, both, answers(nth(silicon, 2, fewer)), si + L"|" + otherCount, 1, 0, 0},
        {SI, both, answers(nth(physical, 1, fewer)), si + L"|2|" + otherCount, 1, 1, 0},
        {SI, silicon, answers(nth(silicon, 2, error)), si.substr(0, si.size() - 2), 1, 0, 0},
        {CMD_TYPE_SAT, R"("sat")", off, L"1 [sa]|2|2A", 1, 1, 1},
        {CMD_TYPE_WMI, "", R"(, "pnpDeviceId": "IDE\\DISK", "failurePredict": {})", L"", 1, 1, 1},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        DriveOnMachine drive(ataDrive(row.paths, kMaster, row.more, smartIdentify(), row.smart));
        ASSERT_TRUE(add(drive, row.type, smartIdentify({{217, row.indilinx ? 1 : 0}})));
        EXPECT_EQ(row.labels, labelsOf(drive));
        const AtaSmartInfo& asi = drive.engine->vars.at(0);
        EXPECT_THAT(
            (std::array{asi.IsSmartEnabled, asi.IsSmartCorrect, asi.IsThresholdCorrect, asi.Temperature}),
            ElementsAre(row.enabled, row.correct, row.thresholds, row.correct ? 35 : kNoTemperature));
        const DriveAnswering& answering = asi.answering;
        EXPECT_THAT((std::array{answering.answers, answering.lastAnswerNs >= 0,
                                answering.failure == platform::kSuccess}),
                    Each(row.correct != 0));
        EXPECT_EQ(row.indilinx         ? L"SmartIndilinx"
                  : asi.AttributeCount ? L"Smart"
                                       : L"",
                  asi.SmartKeyName)
            << "classified with its attributes";
        EXPECT_TRUE(!row.thresholds || row.indilinx || asi.Threshold[0].ThresholdId == 5);
    }
}

TEST(AddDisk, WhichDrivesAreRead) {
    const IdentifyWords none = {{80, 0x00FE}, {60, 0}, {61, 0x0100}};
    const IdentifyWords old = {{80, 0x00FE}, {60, 3}, {61, 0x0110}};
    // Words, whether all are looked for, the path; whether the drive is added, and read.
    const std::tuple<IdentifyWords, BOOL, std::uint32_t, bool, bool> rows[] = {
        {kSmartWords, 0, CMD_TYPE_PHYSICAL_DRIVE, true, true},
        {none, 1, CMD_TYPE_PHYSICAL_DRIVE, true, true},
        {old, 0, CMD_TYPE_PHYSICAL_DRIVE, true, true},
        {none, 0, CMD_TYPE_NVME_SAMSUNG, true, false}, // the path is looked at where SMART is
        {kSmartWords, 0, CMD_TYPE_NVME_SAMSUNG, false, false},
    };
    for (const auto& [words, advanced, type, added, read] : rows) {
        DriveOnMachine drive(ataDrive(R"("ataPassThrough")"));
        drive.engine->AdvancedDiskSearch = advanced;
        EXPECT_EQ(added, add(drive, type, identifyOf(words))) << type;
        EXPECT_EQ(added ? 1u : 0u, drive.engine->vars.size());
        EXPECT_EQ(read, !drive.trace.empty()) << type;
    }
}

TEST(AddDisk, DrivesMetTwice) {
    struct Known {
        const wchar_t *model, *serial;
        std::int32_t physicalDriveId;
        const wchar_t* modelWmi = L"";
    };
    const std::wstring reason = L": it has the model and the serial number of drive ";
    const Labels second = {L"1" + reason + L"0"}, former = {L"0" + reason + L"1"},
                 itself = {L"1" + reason + L"1"};
    const std::wstring fresh = L"ACME Disk S1 1 pd1";
    const wchar_t* reverse = L"Duplicate Check: ACME Disk:S1";
    const wchar_t* csmi = L"vars[i].CommandType = CMD_TYPE_CSMI_PHYSICAL_DRIVE";
    const Known twin{L"ACME Disk", L"S1", 0}, named{L"ACME Disk", L"S1", 0, L"ACME"},
        other{L"Other", L"S1", 5};
    const Known byPort{L"ACME Disk", L"S1", -1, L"ACME"}, mirrored{L"CAEMD si k", L"1S", 0, L"ACME"};
    const std::wstring twinLine = L"ACME Disk S1 0 un", otherLine = L"Other S1 5 un";
    // clang-format off
    const struct {
        std::vector<Known> known;
        std::uint32_t csmiMode;
        bool readable, added;
        Labels list; ///< model, serial, number, path
        const wchar_t* label;
        Labels unread = {};
    } rows[] = {
        {{other, {L"ACME Disk", L"S2", 0}, {L"CAEMD si k", L"S1", 0}, {L"Other", L"1S", 0}}, 0, true, true, {otherLine, L"ACME Disk S2 0 un", L"CAEMD si k S1 0 un", L"Other 1S 0 un", fresh}, nullptr},
        {{twin, other}, 0, false, false, {twinLine, otherLine}, nullptr, second},
        {{twin, other, twin, other}, 0, true, true, {twinLine, otherLine, otherLine, fresh}, nullptr, former},
        {{other, named}, 0, true, false, {otherLine, twinLine}, nullptr, second},
        {{mirrored}, 0, true, false, {L"CAEMD si k 1S 0 un"}, reverse, second},
        {{byPort}, 0, true, false, {L"ACME Disk S1 1 un"}, nullptr, itself},
        {{byPort, named}, 1, true, true, {L"ACME Disk S1 1 cp", twinLine, fresh}, csmi},
        {{twin, byPort}, 0, true, false, {twinLine, L"ACME Disk S1 1 un"}, nullptr, itself},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        DriveOnMachine drive(row.readable ? ataDrive(R"("ataPassThrough")") : kDeadDrive);
        drive.engine->CsmiMode = row.csmiMode;
        for (const auto& [model, serial, number, modelWmi] : row.known) {
            AtaSmartInfo& asi = drive.engine->vars.emplace_back();
            std::tie(asi.Model, asi.SerialNumber, asi.PhysicalDriveId, asi.ModelWmi, asi.CommandTypeString) =
                std::tuple(model, serial, number, modelWmi, L"un");
        }
        EXPECT_EQ(row.added, add(drive, CMD_TYPE_PHYSICAL_DRIVE));
        if (!row.added) drive.engine->noteUnread(1, L"");
        EXPECT_EQ(row.unread, drive.unread());
        Labels list;
        for (const AtaSmartInfo& asi : drive.engine->vars) {
            list.push_back(asi.Model + L" " + asi.SerialNumber + L" " + std::to_wstring(asi.PhysicalDriveId) +
                           L" " + asi.CommandTypeString);
            EXPECT_EQ(asi.CommandTypeString == L"cp", asi.CommandType == CMD_TYPE_CSMI_PHYSICAL_DRIVE);
        }
        EXPECT_EQ(row.list, list);
        EXPECT_EQ(row.label ? Labels{row.label} : Labels{},
                  drive.traceWithout({L"GetSmartAttribute", L"SendAta", kSameBlocks}));
    }
}

TEST(AddDisk, WhatRefusesARecord) {
    DriveOnMachine drive(ataDrive(R"("ataPassThrough", "sat", "predictFailure")"));
    EXPECT_FALSE(add(drive, CMD_TYPE_PHYSICAL_DRIVE, identifyOf({}, "M", "")));
    EXPECT_THAT(drive.trace, ElementsAre(L"asi.Model.IsEmpty() || asi.FirmwareRev.IsEmpty()"));
    drive.trace.clear();
    EXPECT_FALSE(add(drive, CMD_TYPE_PHYSICAL_DRIVE, identifyOf({}, "M\x7F")));
    EXPECT_THAT(drive.trace, IsEmpty());

    // A geometry that no drive has: for the plain paths alone, and where every drive is looked for.
    const std::tuple<BOOL, std::uint32_t, bool> rows[] = {
        {0, CMD_TYPE_PHYSICAL_DRIVE, false}, {1, CMD_TYPE_SAT, false}, {1, CMD_TYPE_SILICON_IMAGE, true}};
    for (const auto& [advanced, type, added] : rows) {
        drive.engine->AdvancedDiskSearch = advanced;
        EXPECT_EQ(added, add(drive, type, smartIdentify({{3, 17}}))) << type;
        EXPECT_EQ(added ? 1u : 0u, drive.engine->vars.size());
    }
    EXPECT_EQ(1, drive.engine->vars.at(0).IsIdInfoIncorrect);
}

TEST(AddDisk, TheRecordIsFinishedAndTheBlockIsLeftSwapped) {
    DriveOnMachine drive(ataDrive(R"("ataPassThrough")"));
    AtaBlock block = smartIdentify({}, "SSD G2 Series", "3.6.5");
    std::array<std::uint8_t, 64> phy{};
    phy[63] = 7;
    DriveAddress address = addressOf(CMD_TYPE_PHYSICAL_DRIVE);
    address.sasPhyEntity = phy.data();
    ASSERT_TRUE(drive.engine->AddDisk(address, block));
    const AtaSmartInfo& asi = drive.engine->vars.at(0);
    EXPECT_EQ(1, asi.IsThresholdBug);
    EXPECT_EQ(7, asi.sasPhyEntity[63]);
    EXPECT_EQ('S', block[54]);
    EXPECT_EQ('S', asi.Identify[54]);
}

bool addNvme(DriveOnMachine& drive, std::uint32_t type, const std::uint32_t* size = nullptr,
             NvmeBlock block = nvmeIdentifyOf()) {
    return drive.engine->AddDiskNVMe(addressOf(type), block, size);
}

TEST(AddDiskNvme, HealthSizeAndTheLinkOfItsController) {
    const std::string linked = R"(, "pnpDeviceId": "SCSI\\DISK", )" + kController + ", " + kLink;
    const std::tuple<std::string, std::uint16_t, std::uint8_t, int, int, std::wstring> rows[] = {
        {"", 0, 0, kNoTemperature, 100, L"--------"},
        {linked, 373, 120, 100, 0, L"PCIe 4.0 x4PCIe 3.0 x2"},
        {"", 374, 99, kNoTemperature, 1, L"--------"}};
    for (const auto& [more, kelvin, used, celsius, life, modes] : rows) {
        DriveOnMachine drive(nvmeDrive(R"("storageQuery")", more, nvmeIdentifyOf(), kelvin, used));
        const std::uint32_t size = 1024;
        ASSERT_TRUE(addNvme(drive, CMD_TYPE_NVME_STORAGE_QUERY, kelvin ? &size : nullptr));
        const AtaSmartInfo& asi = drive.engine->vars.at(0);
        EXPECT_THAT((std::array{asi.Temperature, asi.Life, static_cast<int>(asi.TotalDiskSize)}),
                    ElementsAre(celsius, life, kelvin ? 1024 : 0));
        EXPECT_EQ(modes, asi.MaxTransferMode + asi.CurrentTransferMode);
    }
}

TEST(AddDiskNvme, AFailedHealthReadLeavesTheRecordAsItWas) {
    for (const auto& [type, path] :
         {std::pair(CMD_TYPE_NVME_STORAGE_QUERY, "storageQuery"), {CMD_TYPE_NVME_REALTEK, "realtekNvme"}}) {
        const auto failing = fmt::format(R"({{"path": "{}", "operation": "health", "error": 1117}})", path);
        DriveOnMachine drive(nvmeDrive(fmt::format("\"{}\"", path), answers(failing)));
        ASSERT_TRUE(addNvme(drive, type)) << path;
        const AtaSmartInfo& asi = drive.engine->vars.at(0);
        EXPECT_EQ(type == CMD_TYPE_NVME_REALTEK ? INTERFACE_TYPE_USB : INTERFACE_TYPE_NVME,
                  asi.InterfaceType);
        EXPECT_EQ(std::tuple(0u, -1000, -1, false, platform::kIoDevice),
                  std::tuple(asi.AttributeCount, asi.Temperature, asi.Life, asi.answering.answers,
                             asi.answering.failure));
    }
    // The vendor command of this one has a second way.
    DriveOnMachine second(nvmeDrive(R"("samsung", "nvmeMini")",
                                    answers(R"({"path": "samsung", "operation": "health", "error": 1117})")));
    EXPECT_TRUE(addNvme(second, CMD_TYPE_NVME_SAMSUNG));
    EXPECT_EQ(15u, second.engine->vars.at(0).AttributeCount);
}

TEST(AddDiskNvme, WhatRefusesARecord) {
    DriveOnMachine drive(nvmeDrive(R"("storageQuery")"));
    const auto add = [&](const NvmeBlock& block) {
        return addNvme(drive, CMD_TYPE_NVME_STORAGE_QUERY, nullptr, block);
    };
    EXPECT_FALSE(add(nvmeIdentifyOf("")));
    EXPECT_TRUE(add(nvmeIdentifyOf()));
    EXPECT_FALSE(add(nvmeIdentifyOf())) << "a second namespace";
    EXPECT_TRUE(add(nvmeIdentifyOf("ACME NV", "S2")));
    EXPECT_TRUE(add(nvmeIdentifyOf("ACME NV2", "S1")));
    // The list is full: a drive is noted once, also when it is met without its number before.
    drive.engine->vars.resize(80);
    const auto addAs = [&](std::int32_t number, const char* model) {
        NvmeBlock block = nvmeIdentifyOf(model);
        return drive.engine->AddDiskNVMe({.physicalDriveId = number, .commandType = CMD_TYPE_NVME_INTEL_VROC},
                                         block, nullptr);
    };
    AtaBlock ata = smartIdentify();
    EXPECT_FALSE(drive.engine->AddDisk({.scsiPort = 2, .commandType = CMD_TYPE_MEGARAID}, ata));
    EXPECT_EQ(smartIdentify(), ata);
    for (const std::int32_t number : {-1, 7, 7, -1})
        EXPECT_FALSE(addAs(number, "Another"));
    EXPECT_FALSE(addAs(8, "ACME NV")); // a twin, which is told with its probe
    EXPECT_THAT(drive.unread(), ElementsAre(L"-1: the list takes no more than 80 drives",
                                            L"7: the list takes no more than 80 drives"));
    EXPECT_EQ(L"ACME Disk Another",
              drive.engine->unreadDrives[0].model + L" " + drive.engine->unreadDrives[1].model);
    drive.engine->vars.resize(79);
    EXPECT_TRUE(add(nvmeIdentifyOf("Another")));
    EXPECT_EQ(80u, drive.engine->vars.size());
}

// ---- The link of a controller

/// On a machine with a drive of these keys, and what else stands in its file.
std::string linkOn(const std::string& keys, const std::string& more = "", const std::string& fault = "") {
    TestMachine machine(fmt::format(
        R"({{"name": "m", "drives": [{{"number": 0, "pnpDeviceId": "SCSI\\DISK&VEN_NVME\\4&1", {}}}]{}}})",
        keys, more));
    machine->managementData().initialize();
    if (!fault.empty()) machine->requests().plan({fault, 0, platform::kModuleNotFound});
    const PcieLink link = GetPcieLink(0);
    machine->managementData().uninitialize();
    EXPECT_THAT(machine->requests().unmetFaults(), IsEmpty());
    return fmt::format("{} {} {} {}", link.MaxLinkSpeed, link.MaxLinkWidth, link.CurrentLinkSpeed,
                       link.CurrentLinkWidth);
}

TEST(DiskLinkTest, OfTheControllerInTheDeviceTree) {
    const std::string described = kController + ", " + kLink;
    const std::string others = R"(, "controllers": [{"id": "PCI\\VEN_1", "link": {"maxSpeed": 1}}])";
    const std::string otherNames = R"(, "controllers": [{"id": "PCI\\VEN_144D&DEV_a808\\3&2", )" + kLink +
                                   R"(}, {"id": "PCI\\VEN_144D&DEV_A808\\3&", )" + kLink + "}]";
    EXPECT_EQ("4 4 3 2", linkOn(described));
    EXPECT_EQ("4 4 3 2", linkOn(described, others));
    EXPECT_EQ("0 0 0 0", linkOn(kController, others)) << "not listed";
    EXPECT_EQ("0 0 0 0", linkOn(kController, otherNames));
    for (const char* request : {"deviceProperty", "devices", "device", "deviceId"})
        EXPECT_EQ("0 0 0 0", linkOn(described, "", request)) << request;
}

TEST(DiskLinkTest, TheLastRowNamesTheController) {
    TestMachine machine(R"({"name": "m", "management": {"associators": [
        {"of": "Win32_DiskDrive", "id": "\\\\.\\PhysicalDrive0", "filter": "Win32_PnPEntity", "rows": [{"DeviceID": "A"}, {"DeviceID": "B\\1"}, {"Name": "no id"}]},
        {"of": "Win32_PnPEntity", "id": "B\\1", "filter": "Win32_SCSIControllerDevice", "rows": [{"DeviceID": "C"}, {"DeviceID": "PCI\\D"}]}]}})");
    machine->managementData().initialize();
    EXPECT_EQ(LR"(PCI\D)", GetControllerDeviceId(0));
    EXPECT_EQ(L"", GetControllerDeviceId(1)) << "a drive that has no device";
    machine->managementData().uninitialize();
}

} // namespace
} // namespace orv::test
