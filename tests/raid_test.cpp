// Drives behind RAID drivers: what the port or the library is asked, in which order, and what becomes of the
// answers, lying ones included.

#include "platform/text.h"
#include "support/AtaPaths.h"
#include "support/DescribedDrives.h"

#include <gmock/gmock.h>

namespace orv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;
using Labels = std::vector<std::wstring>;

const std::string kPort = R"(\\.\Scsi2:)";

/// The entry of a drive of port 2 on one path.
std::string member(const std::string& path, int target, const std::string& more = {}) {
    const AtaBlock identify = smartIdentify({}, "ACME Disk", "F1", "S" + std::to_string(target));
    return fmt::format(
        R"({{"scsiAddress": {{"port": 2, "target": {}}}, "paths": [{}], "identify": "{}", {}{}}})", target,
        path, hexOf(identify), smartKeys(kSomeAttributes), more);
}
std::string members(const std::string& path, int count) {
    std::string list;
    for (int target = 0; target < count; ++target)
        list += (target == 0 ? "" : ", ") + member(path, target);
    return list;
}

/// A machine whose port 2 has a RAID driver, and an engine with the standard paths.
struct RaidMachine {
    RaidMachine(const std::string& drives, const std::string& sections)
        : machine("{\"name\": \"x\", \"drives\": [" + drives + "]" + sections + "}") {
        start();
    }
    explicit RaidMachine(const std::string& sample) : machine(TestMachine::sample(sample)) { start(); }
    ~RaidMachine() { setDebugListener({}); }
    void start() {
        setDebugListener([this](std::wstring_view text) { trace.emplace_back(text); });
        engine.emplace();
        engine->UseStandardPaths();
        machine->requests().keepRecord(true);
        machine->requests().clearRecord();
    }

    /// "SERIAL TYPE port PORT target TARGET attributes N", of each record.
    Lines records() const {
        Lines lines;
        for (const AtaSmartInfo& asi : engine->vars)
            lines.push_back(fmt::format("{} {} {} {} {}", platform::wideToUtf8(asi.SerialNumber),
                                        platform::wideToUtf8(asi.CommandTypeString), asi.ScsiPort,
                                        asi.ScsiTargetId, asi.IsSmartCorrect ? "smart" : "none"));
        return lines;
    }
    Labels traced(std::initializer_list<std::wstring_view> heads) const {
        Labels found;
        for (const std::wstring& text : trace)
            if (std::ranges::any_of(heads, [&](std::wstring_view head) { return text.starts_with(head); }))
                found.push_back(text);
        return found;
    }
    std::vector<std::wstring> trace;
    TestMachine machine;
    std::optional<CAtaSmart> engine;
};

std::string littleEndian(std::uint32_t value) {
    std::string hex;
    for (int shift = 0; shift < 32; shift += 8)
        hex += fmt::format("{:02x} ", value >> shift & 0xFF);
    return hex;
}

/// The record's line of a miniport request; `hex` stands behind the head.
std::string request(std::string_view signature, std::uint32_t timeOut, std::uint32_t code,
                    std::uint32_t length, std::size_t bytes, const std::string& hex = {}) {
    std::string block = littleEndian(28);
    for (std::size_t i = 0; i < 8; ++i)
        block += fmt::format("{:02x} ", i < signature.size() ? signature[i] : 0);
    block += littleEndian(timeOut) + littleEndian(code) + littleEndian(0) + littleEndian(length);
    return controlLine(kPort, "0x4d008", bytes, bytes, block + hex);
}
std::string csmi(std::string_view signature, std::uint32_t code, std::size_t bytes,
                 const std::string& hex = {}) {
    return request(signature, 60, code, static_cast<std::uint32_t>(bytes - 28), bytes, hex);
}
/// A command to the drive on the phy of a number; `command` has FIS bytes 2 to 6.
std::string csmiCommand(int phy, const std::string& command, const std::string& count,
                        std::size_t bytes = 512) {
    const std::string id = fmt::format("{:02x} ", phy);
    return csmi("CSMISAS", 25, 168 + bytes,
                id + id + "00 00 00 00 " + id + "00 00 00 00 00 00 00 00 00 27 80 " + command +
                    " a0 00 00 00 00 " + count + " 00 00 00 00 00 00 00 " + littleEndian(0x11) +
                    littleEndian(static_cast<std::uint32_t>(bytes)));
}
std::string megaRaid(std::uint32_t data, std::size_t bytes, const std::string& frame) {
    return request("LSILOGIC", 0, 0, data + 188, bytes, frame);
}
std::string listQuestion(std::uint32_t bytes) {
    return megaRaid(bytes, std::max<std::size_t>(4284, 188 + bytes),
                    "05 00 00 00 00 00 00 00 " + littleEndian(0) + littleEndian(0) + littleEndian(0) +
                        littleEndian(bytes) + littleEndian(0x02010000));
}
std::string megaCommand(int device, const std::string& cdb, std::uint32_t bytes = 512) {
    return megaRaid(bytes, 4284,
                    fmt::format("04 00 ff 00 {:02x} 00 0c 00 ", device) + littleEndian(0) + littleEndian(0) +
                        littleEndian(16) + littleEndian(bytes) + littleEndian(0) + littleEndian(0) + cdb);
}

/// Each of the requests with the opening of the port in front of it.
Lines opened(std::initializer_list<std::string> requests) {
    Lines lines;
    for (const std::string& line : requests)
        lines.insert(lines.end(), {kOpenPort, line});
    return lines;
}
Lines joined(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string csmiPort(const std::string& keys, const std::string& name = "iaStor") {
    return R"(, "raidPorts": [{"port": 2, "csmi": {"driver": {"name": ")" + name +
           R"(", "revision": [1, 2, 3, 4], "csmiRevision": [5, 6]})" + (keys.empty() ? "" : ", ") + keys +
           "}}]";
}

const std::string kSmartReads = "b0 d0 00 4f c2";

TEST(RaidDrives, CsmiRequestsByteForByte) {
    RaidMachine raid(
        member(R"("csmi")", 1),
        csmiPort(R"("sets": [{"drives": [{"model": "M", "target": 1}, {"model": "", "target": 7}]}])"));
    raid.engine->AddDiskCsmi(2);
    const Lines scan = {kOpenPort, csmi("CSMIALL", 1, 202), csmi("CSMIARY", 10, 128),
                        csmi("CSMIARY", 11, 472), csmi("CSMISAS", 20, 2080)};
    const auto& record = raid.machine->requests().record();
    ASSERT_LT(scan.size(), record.size());
    EXPECT_EQ(scan, Lines(record.begin(), record.begin() + 5));
    const Lines drive = opened({csmiCommand(1, "ec 00 00 00 00", "00"), csmiCommand(1, kSmartReads, "00"),
                                csmiCommand(1, kSmartReads, "00"), csmiCommand(1, "b0 d1 00 4f c2", "00")});
    EXPECT_EQ(drive, Lines(record.end() - 8, record.end()));
    EXPECT_EQ(5 + 8 + 2 * 3, static_cast<int>(record.size())); // between them the member on either NVMe path
    EXPECT_THAT(raid.records(), ElementsAre("S1 cs 2 -1 smart"));
    EXPECT_EQ(1, raid.engine->vars[0].sasPhyEntity[28]);
    raid.machine->requests().clearRecord();
    EXPECT_TRUE(raid.engine->ControlSmartStatusCsmi(2, raid.engine->vars[0].sasPhyEntity, 0xD8));
    EXPECT_EQ(opened({csmiCommand(1, "b0 d8 00 4f c2", "00", 0)}), record);
}

TEST(RaidDrives, CsmiAnswersThatFailOrLie) {
    const auto failing = [](const char* name, const char* what) {
        return fmt::format(R"("answers": [{{"request": "{}", {}}}])", name, what);
    };
    const std::wstring noConfig = L"FAILED: CC_CSMI_SAS_GET_RAID_CONFIG",
                       noMemory = L"FAILED: PCSMI_SAS_RAID_CONFIG_BUFFER Memory Alloc";
    const std::string set = R"("sets": [{"drives": [{"model": "M", "target": 0}]}], )";
    const struct {
        std::string keys;
        std::size_t records;
        Labels failures;
    } rows[] = {
        {"", 2, {}},
        {set + failing("raidConfig", "\"error\": 55"), 0, {noConfig}},
        {set + failing("raidConfig", "\"error\": 87"), 2, {}},
        {failing("csmiPassThrough", "\"error\": 1117"), 0, {}}, // a block of zeros
        {failing("csmiPassThrough", "\"error\": 1, \"nth\": 1"), 1, {}},
        {set + failing("raidConfig", "\"bytes\": 0"), 2, {}},
        {failing("phyInfo", "\"bytes\": 28"), 0, {}},
        {failing("csmiPassThrough", "\"bytes\": 170"), 0, {}},
        {failing("csmiPassThrough", "\"bytes\": 681"), 0, {}}, // more than there is room for
        {R"("numberOfPhys": 33)", 0, {}},
        {R"("numberOfSets": 3, "drivesPerSet": 40)", 2, {}},
        {R"("numberOfSets": 4294967295, "drivesPerSet": 4294967295)", 0, {noMemory}},
        {R"("numberOfSets": 4294967295)", 0, {noMemory}}, // no drives, but as many requests
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.keys);
        RaidMachine raid(members(R"("csmi")", 2), csmiPort(row.keys));
        raid.engine->AddDiskCsmi(2);
        EXPECT_EQ(row.records, raid.engine->vars.size());
        EXPECT_THAT(raid.traced({L"FAILED"}), ElementsAreArray(row.failures));
    }
    RaidMachine none(members(R"("csmi")", 1), csmiPort(""));
    none.engine->AddDiskCsmi(7);
    EXPECT_THAT(none.traced({L"FAILED"}), ElementsAre(L"FAILED: INVALID_HANDLE_VALUE"));
    none.machine->requests().clearRecord();
    none.engine->CsmiMode = 0;
    none.engine->AddDiskCsmi(2);
    EXPECT_FALSE(none.engine->AddDiskMegaRaid(2));
    EXPECT_THAT(none.machine->requests().record(), IsEmpty());
}

TEST(RaidDrives, CsmiPhysThatAreTried) {
    const std::string set = R"("sets": [{"drives": [{"model": "M", "target": 1}]}])";
    const struct {
        const char* driver;
        std::string keys;
        std::uint32_t mode;
        std::size_t phys;
        std::size_t records;
    } rows[] = {
        {"iaStor", set, 1, 4, 4},
        {"iaStor", set, 2, 4, 1},
        {"rcraid", R"("numberOfPhys": 1, "maxPhysicalDrives": 40)", 1, 36, 32}, // the table's entries
        {"rcraid2", R"("numberOfPhys": 1, "maxPhysicalDrives": 4)", 1, 4, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.driver + row.keys);
        RaidMachine raid(members(R"("csmi")", static_cast<int>(row.phys)), csmiPort(row.keys, row.driver));
        raid.engine->CsmiMode = row.mode;
        raid.engine->AddDiskCsmi(2);
        ASSERT_EQ(row.records, raid.engine->vars.size());
        const AtaSmartInfo& last = raid.engine->vars.back();
        EXPECT_EQ(row.records - 1 + (row.mode == 2 ? 1 : 0), last.sasPhyEntity[28]);
        EXPECT_EQ(last.sasPhyEntity[28], last.sasPhyEntity[56]);
    }
}

TEST(RaidDrives, ADriveOnCsmiAndAsAPhysicalDrive) {
    const std::string both = R"("csmi", "ataPassThrough")";
    const std::string numbered = R"(, "number": 1)";
    RaidMachine raid(member(both, 0, numbered), csmiPort(""));
    raid.engine->AddDiskCsmi(2);
    raid.engine->GetDiskInfo({.physicalDriveId = 1, .interfaceType = INTERFACE_TYPE_SATA});
    EXPECT_EQ(
        1, std::ranges::count(raid.engine->vars, CMD_TYPE_CSMI_PHYSICAL_DRIVE, &AtaSmartInfo::CommandType));
    EXPECT_EQ(1, raid.engine->vars[0].PhysicalDriveId);

    // The SMART reads of such a record: the physical drive's, and CSMI's where something is left open.
    RaidMachine drive(
        member(both, 0,
               numbered +
                   R"(, "answers": [{"path": "ataPassThrough", "operation": "thresholds", "error": 1117}])"),
        csmiPort(""));
    const std::uint8_t entity[64] = {};
    AtaBlock identify = smartIdentify();
    EXPECT_TRUE(drive.engine->AddDisk({.physicalDriveId = 1,
                                       .scsiPort = 2,
                                       .commandType = CMD_TYPE_CSMI_PHYSICAL_DRIVE,
                                       .sasPhyEntity = entity},
                                      identify));
    EXPECT_THAT(drive.traced({L"GetSmartAttribute"}),
                ElementsAre(L"GetSmartAttributePd(1) - 1 CSMI", L"GetSmartAttributePd(1) - 1A CSMI",
                            L"GetSmartAttributeCsmi - 1 CSMI", L"GetSmartAttributeCsmi",
                            L"GetSmartAttributeCsmi"));
    EXPECT_TRUE(drive.engine->vars[0].IsSmartCorrect && drive.engine->vars[0].IsThresholdCorrect);
}

const std::string kMegaIdentify = "a1 08 0e 00 01 00 00 00 00 ec 00 00";
const std::string kMegaData = "a1 08 0e d0 01 00 4f c2 00 b0 00 00";
const std::string kMegaThresholds = "a1 08 0e d1 01 00 4f c2 00 b0 00 00";

TEST(RaidDrives, MegaRaidRequestsAndAnswersThatLie) {
    const auto section = [](const std::string& keys) {
        return R"(, "raidPorts": [{"port": 2, "megaRaid": {)" + keys + "}}]";
    };
    const auto answer = [](const char* name, const char* what) {
        return fmt::format(R"("answers": [{{"request": "{}", {}}}])", name, what);
    };
    {
        RaidMachine raid(member(R"("megaRaid")", 9), section(R"("enclosures": [3])"));
        EXPECT_TRUE(raid.engine->AddDiskMegaRaid(2));
        EXPECT_EQ(joined({kOpenPort, listQuestion(1024)},
                         opened({megaCommand(9, kMegaIdentify), megaCommand(9, kMegaData),
                                 megaCommand(9, kMegaData), megaCommand(9, kMegaThresholds)})),
                  raid.machine->requests().record());
        EXPECT_THAT(raid.records(), ElementsAre("S9 mr 2 9 smart"));
        raid.machine->requests().clearRecord();
        EXPECT_TRUE(raid.engine->ControlSmartStatusMegaRaid(2, 9, 0xD8));
        EXPECT_EQ(opened({megaCommand(9, "a1 08 0e d8 00 01 4f c2 00 b0 00 00", 0)}),
                  raid.machine->requests().record());
        EXPECT_FALSE(raid.engine->SendPassThroughMegaRaid(2, 9, {}, {}));
    }
    const struct {
        std::string keys;
        bool listed;
        std::size_t records;
        std::size_t questions; ///< about the list
    } rows[] = {
        {"", true, 2, 1},
        {R"("count": 4294967295)", true, 2, 1}, // the entries behind are no disks that answer
        {R"("total": 31)", true, 0, 1},         // no whole entry
        {R"("total": 6000)", true, 2, 2},
        {R"("growing": true)", true, 2, 4},
        {answer("list", R"("status": 1)"), false, 0, 1},
        {answer("list", R"("bytes": 1211)"), false, 0, 1},
        {answer("list", R"("dataBytes": 1025)"), false, 0, 1},
        {answer("list", R"("dataBytes": 40)"), true, 1, 1},
        {answer("megaRaidPassThrough", R"("dataBytes": 513)"), true, 0, 1},
        {answer("megaRaidPassThrough", R"("bytes": 699, "nth": 1)"), true, 1, 1},
        {answer("megaRaidPassThrough", R"("status": 255, "nth": 2)"), true, 2, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.keys);
        RaidMachine raid(members(R"("megaRaid")", 2), section(row.keys));
        EXPECT_EQ(row.listed, raid.engine->AddDiskMegaRaid(2));
        EXPECT_EQ(row.records, raid.engine->vars.size());
        const auto& record = raid.machine->requests().record();
        EXPECT_EQ(row.questions,
                  static_cast<std::size_t>(std::ranges::count_if(record, [](const std::string& line) {
                      return line.find("00 00 01 02") != line.npos; // the code of the list
                  })));
        if (row.questions == 2) {
            EXPECT_EQ(listQuestion(6000), record[2]);
        }
    }
}

TEST(RaidDrives, TheAmdLibrary) {
    const std::string ata =
        R"({"physicalId": 3, "size": 500107, "ssd": true, "model": "ACME", "serialNumber": "A1",
        "firmware": "F1", "description": "SSD SATA 6Gb", )" +
        smartKeys(kSomeAttributes) + "}";
    const std::string nvme = R"({"physicalId": 4, "size": 1000204, "nvme": true, "model": "ACME NV",
        "serialNumber": "N1", "firmware": "F2", "description": "NVMe Gen3 x4", "smart": ")" +
                             hexOf(healthOf(300)) + "\"}";
    const auto library = [&](const std::string& keys) {
        return R"(, "amdRaid": {"drives": [)" + ata + ", " + nvme + "]" + keys + "}";
    };
    RaidMachine amd("", library(""));
    EXPECT_TRUE(amd.engine->AddDiskAMD_RC2());
    const Lines smartReads(2, "AMD_RC2_GetSmartData 0");
    const Lines scan =
        joined(joined({"AMD_RC2_GetDrives", "AMD_RC2_GetIdentify size 256 version 1 index 0"}, smartReads),
               {"AMD_RC2_GetSmartData 0 into one block", "AMD_RC2_GetIdentify size 256 version 1 index 1",
                "AMD_RC2_GetSmartData 1"});
    const Lines loading = {"mainModule", "publisher AMD_RC2t7x86.dll", "loadLibrary AMD_RC2t7x86.dll",
                           "libraryFunction AMD_RC2_Init", "libraryFunction AMD_RC2_GetStatus"};
    const auto asked = [&] { // but for the link of the NVMe drive
        Lines record = amd.machine->requests().record();
        std::erase_if(record, [](const std::string& line) { return !line.starts_with("AMD"); });
        return record;
    };
    EXPECT_EQ(joined({"AMD_RC2_Init"}, scan), asked());
    EXPECT_THAT(amd.records(), ElementsAre("A1 rc 0 0 smart", "N1 rc 0 0 smart"));
    const AtaSmartInfo& first = amd.engine->vars[0];
    EXPECT_EQ(L"SATA/600", first.CurrentTransferMode);
    EXPECT_TRUE(first.IsSsd && first.IsThresholdCorrect && first.PhysicalDriveId == 3);
    EXPECT_EQ(0, first.Threshold[0].ThresholdId); // the thresholds' read is not kept
    EXPECT_EQ(1000204U, amd.engine->vars[1].TotalDiskSize);
    EXPECT_EQ(L"PCIe 3.0 x4", amd.engine->vars[1].CurrentTransferMode);
    EXPECT_EQ(27, amd.engine->vars[1].Temperature);
    amd.machine->requests().clearRecord();
    amd.engine->vars.clear();
    EXPECT_TRUE(amd.engine->AddDiskAMD_RC2()); // it is loaded already
    EXPECT_EQ(joined({"AMD_RC2_Reload"}, scan), asked());

    const struct {
        std::string keys;
        bool added;
        Lines secondScan; ///< what the first one after it asks
        Labels status;
    } rows[] = {
        {R"(, "publisher": "Advanced Micro Devices, inc.")", false, {"mainModule", loading[1]}, {}},
        {R"(, "missing": ["AMD_RC2_GetStatus"])", false, loading, {}},
        {R"(, "initStatus": 9)", false, {}, {L"AMD_RC2_not_admin"}},
        {R"(, "numberOfDrives": -1)", false, {"AMD_RC2_Reload", "AMD_RC2_GetDrives"}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.keys);
        RaidMachine other("", library(row.keys));
        EXPECT_EQ(row.added, other.engine->AddDiskAMD_RC2());
        EXPECT_THAT(other.traced({L"AMD_RC2_"}), ElementsAreArray(row.status));
        other.machine->requests().clearRecord();
        other.engine->AddDiskAMD_RC2();
        EXPECT_EQ(row.secondScan, other.machine->requests().record());
        AtaSmartInfo asi;
        EXPECT_EQ(row.keys.find("number") != row.keys.npos, other.engine->GetSmartAttributeAmdRc2(0, asi));
    }
    RaidMachine many("", library(R"(, "numberOfDrives": 1000000)"));
    EXPECT_TRUE(many.engine->AddDiskAMD_RC2());
    EXPECT_GT(300U, many.machine->requests().record().size());
}

TEST(RaidDrives, OfTheSampleMachines) {
    const auto found = [](const std::string& sample, std::int32_t port) {
        RaidMachine raid(sample);
        raid.engine->AddDiskAMD_RC2();
        raid.engine->AddDiskCsmi(port);
        raid.engine->AddDiskMegaRaid(port);
        return raid.records();
    };
    EXPECT_THAT(found("raid-csmi", 2), ElementsAre("MIRROR-A cs 2 -1 smart", "MIRROR-B cs 2 -1 smart",
                                                   ::testing::HasSubstr(" cs 2 -1 smart")));
    EXPECT_EQ(2U, found("raid-megaraid", 0).size());
    EXPECT_EQ(2U, found("raid-amd", 0).size());
    EXPECT_THAT(found("raid-vroc-nvme", 4),
                ElementsAre(::testing::HasSubstr(" iv 4 0 smart"), ::testing::HasSubstr(" nt 4 1 smart")));
}

} // namespace
} // namespace orv::test
