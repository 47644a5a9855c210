// Drives behind RAID drivers: what the port or the library is asked, in which order, and what becomes of the
// answers, lying ones included.

#include "platform/text.h"
#include "support/AtaPaths.h"

namespace orv::test {
namespace {

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
struct RaidMachine : DriveOnMachine {
    explicit RaidMachine(const std::string& drives, const std::string& sections = {})
        : DriveOnMachine(drives, sections) {
        engine->UseStandardPaths();
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
    Labels traced(std::wstring_view head) const {
        Labels found = trace;
        std::erase_if(found, [&](const std::wstring& text) { return !text.starts_with(head); });
        return found;
    }
};

/// Each of the requests with the opening of the port in front of it.
Lines opened(const std::string& head, std::initializer_list<std::string> requests) {
    Lines lines;
    for (const std::string& tail : requests)
        lines.insert(lines.end(), {kOpenPort, head + tail});
    return lines;
}
/// A driver's further key: what becomes of one of its requests.
std::string answer(const char* name, const char* what) {
    return fmt::format(R"("answers": [{{"request": "{}", {}}}])", name, what);
}
std::string csmiPort(const std::string& keys, const std::string& name = "iaStor") {
    return R"(, "raidPorts": [{"port": 2, "csmi": {"driver": {"name": ")" + name +
           R"(", "revision": [1, 2, 3, 4], "csmiRevision": [5, 6]})" + (keys.empty() ? "" : ", ") + keys +
           "}}]";
}

TEST(RaidDrives, CsmiRequestsByteForByte) {
    RaidMachine raid(
        member(R"("csmi")", 1),
        csmiPort(R"("sets": [{"drives": [{"model": "M", "target": 1}, {"model": "", "target": 7}]}])"));
    raid.engine->AddDiskCsmi(2);
    const Lines scan = {kOpenPort, "Scsi2: 0x4d008 202 202: 0=1c 4=43534d49414c4c 12=3c 16=01 24=ae",
                        "Scsi2: 0x4d008 128 128: 0=1c 4=43534d49415259 12=3c 16=0a 24=64",
                        "Scsi2: 0x4d008 472 472: 0=1c 4=43534d49415259 12=3c 16=0b 24=bc01",
                        "Scsi2: 0x4d008 2080 2080: 0=1c 4=43534d49534153 12=3c 16=14 24=0408"};
    const Lines record = requestsOf(*raid.machine);
    ASSERT_LT(scan.size(), record.size());
    EXPECT_EQ(scan, Lines(record.begin(), record.begin() + 5));
    const std::string read = " 49=4fc2a0 64=11 69=02";
    const Lines drive =
        opened("Scsi2: 0x4d008 680 680: 0=1c 4=43534d49534153 12=3c 16=19 24=8c02 28=0101 34=01 44=2780",
               {"ec 51=a0 64=11 69=02", "b0d0" + read, "b0d0" + read, "b0d1" + read});
    EXPECT_EQ(drive, Lines(record.end() - 8, record.end()));
    EXPECT_EQ(5 + 8 + 2 * 3, static_cast<int>(record.size())); // between them the member on either NVMe path
    EXPECT_THAT(raid.records(), ElementsAre("S1 cs 2 -1 smart"));
    EXPECT_EQ(1, raid.engine->vars[0].sasPhyEntity[28]);
    EXPECT_TRUE(raid.engine->ControlSmartStatusCsmi(2, raid.engine->vars[0].sasPhyEntity, 0xD8));
    EXPECT_EQ("Scsi2: 0x4d008 168 168: 0=1c 4=43534d49534153 12=3c 16=19 24=8c 28=0101 34=01 44=2780b0d8 "
              "49=4fc2a0 64=11",
              requestsOf(*raid.machine).back());
}

TEST(RaidDrives, CsmiAnswersThatFailOrLie) {
    const std::wstring noConfig = L"FAILED: CC_CSMI_SAS_GET_RAID_CONFIG",
                       noMemory = L"FAILED: PCSMI_SAS_RAID_CONFIG_BUFFER Memory Alloc";
    const std::string set = R"("sets": [{"drives": [{"model": "M", "target": 0}]}], )";
    const std::tuple<std::string, std::size_t, Labels> rows[] = {
        {"", 2, {}},
        {set + answer("raidConfig", "\"error\": 55"), 0, {noConfig}},
        {set + answer("raidConfig", "\"error\": 87"), 2, {}},
        {answer("csmiPassThrough", "\"error\": 1117"), 0, {}}, // a block of zeros
        {answer("csmiPassThrough", "\"error\": 1, \"nth\": 1"), 1, {}},
        {set + answer("raidConfig", "\"bytes\": 0"), 2, {}},
        {answer("phyInfo", "\"bytes\": 28"), 0, {}},
        {answer("csmiPassThrough", "\"bytes\": 170"), 0, {}},
        {answer("csmiPassThrough", "\"bytes\": 681"), 0, {}}, // more than there is room for
        {R"("numberOfPhys": 33)", 0, {}},
        {R"("numberOfSets": 3, "drivesPerSet": 40)", 2, {}},
        {R"("numberOfSets": 4294967295, "drivesPerSet": 4294967295)", 0, {noMemory}},
        {R"("numberOfSets": 4294967295)", 0, {noMemory}}, // no drives, but as many requests
    };
    for (const auto& [keys, records, failures] : rows) {
        RaidMachine raid(members(R"("csmi")", 2), csmiPort(keys));
        raid.engine->AddDiskCsmi(2);
        EXPECT_EQ(records, raid.engine->vars.size()) << keys;
        EXPECT_EQ(failures, raid.traced(L"FAILED")) << keys;
    }
    RaidMachine none(members(R"("csmi")", 1), csmiPort(""));
    none.engine->AddDiskCsmi(7);
    EXPECT_THAT(none.traced(L"FAILED"), ElementsAre(L"FAILED: INVALID_HANDLE_VALUE"));
    const std::uint8_t phy[64] = {};
    AtaBlock unanswered{};
    EXPECT_FALSE(none.engine->DoIdentifyDeviceCsmi(7, phy, unanswered));
    none.machine->requests().clearRecord();
    none.engine->CsmiMode = 0;
    none.engine->AddDiskCsmi(2);
    EXPECT_FALSE(none.engine->AddDiskMegaRaid(2));
    EXPECT_THAT(none.machine->requests().record(), IsEmpty());
}

TEST(RaidDrives, CsmiPhysThatAreTried) {
    const std::string set = R"("sets": [{"drives": [{"model": "M", "target": 1}]}])";
    const std::tuple<const char*, std::string, std::uint32_t, int, std::size_t> rows[] = {
        {"iaStor", set, 1, 4, 4},
        {"iaStor", set, 2, 4, 1},
        {"rcraid", R"("numberOfPhys": 1, "maxPhysicalDrives": 40)", 1, 36, 32}, // the table's entries
        {"rcraid2", R"("numberOfPhys": 1, "maxPhysicalDrives": 4)", 1, 4, 1},
    };
    for (const auto& [driver, keys, mode, phys, records] : rows) {
        SCOPED_TRACE(driver + keys);
        RaidMachine raid(members(R"("csmi")", phys), csmiPort(keys, driver));
        raid.engine->CsmiMode = mode;
        raid.engine->AddDiskCsmi(2);
        ASSERT_EQ(records, raid.engine->vars.size());
        const AtaSmartInfo& last = raid.engine->vars.back();
        EXPECT_EQ(records - 1 + (mode == 2 ? 1 : 0), last.sasPhyEntity[28]);
        EXPECT_EQ(last.sasPhyEntity[28], last.sasPhyEntity[56]);
    }
}

/// The SMART reads of such a record: the physical drive's, and CSMI's where something is left open.
TEST(RaidDrives, ADriveOnCsmiAndAsAPhysicalDrive) {
    const std::string both = R"("csmi", "ataPassThrough")";
    const std::string noThresholds = answers("ataPassThrough", R"("operation": "thresholds", "error": 1117)");
    const std::string numbered = R"(, "number": 1, "changes": [{"atSeconds": 9)" +
                                 answers("ataPassThrough", R"("error": 1117)") + "}]";
    RaidMachine drive(member(both, 0, numbered + noThresholds), csmiPort(""));
    const std::uint8_t entity[64] = {};
    AtaBlock identify = smartIdentify();
    EXPECT_TRUE(
        drive.engine->AddDisk({1, 2, -1, -1, 0xA0, CMD_TYPE_CSMI_PHYSICAL_DRIVE, 0, entity}, identify));
    EXPECT_THAT(drive.traced(L"GetSmartAttribute"),
                ElementsAre(L"GetSmartAttributePd(1) - 1 CSMI", L"GetSmartAttributePd(1) - 1A CSMI",
                            L"GetSmartAttributeCsmi - 1 CSMI", L"GetSmartAttributeCsmi",
                            L"GetSmartAttributeCsmi"));
    const AtaSmartInfo& asi = drive.engine->vars[0];
    EXPECT_TRUE(asi.IsSmartCorrect && asi.IsThresholdCorrect);
    // The number's path falls silent: CSMI takes over for good.
    drive.machine->clock().sleepNs(9'000'000'000);
    drive.engine->UpdateSmartInfo(0);
    EXPECT_EQ(std::tuple(CMD_TYPE_CSMI, L"cs", true),
              std::tuple(asi.CommandType, asi.CommandTypeString, asi.answering.answers));
    RaidMachine off(member(R"("csmi")", 0, R"(, "smartEnabled": false)"), csmiPort(""));
    off.engine->AddDiskCsmi(2);
    EXPECT_THAT(off.records(), ElementsAre("S0 cs 2 -1 smart"));
}

TEST(RaidDrives, MegaRaidRequestsAndAnswersThatLie) {
    const auto section = [](const std::string& keys) {
        return R"(, "raidPorts": [{"port": 2, "megaRaid": {)" + keys + "}}]";
    };
    {
        RaidMachine raid(member(R"("megaRaid")", 9), section(R"("enclosures": [3])"));
        EXPECT_TRUE(raid.engine->AddDiskMegaRaid(2));
        const std::string head = "Scsi2: 0x4d008 4284 4284: 0=1c 4=4c53494c4f474943 24=bc",
                          smart = " 66=4fc2 69=b0";
        const std::string command = "02 28=04 30=ff 32=09 34=0c 44=10 49=02 60=a1080e";
        EXPECT_EQ(opened(head, {"04 28=05 49=04 54=0102", command + " 64=01 69=ec", command + "d001" + smart,
                                command + "d001" + smart, command + "d101" + smart}),
                  requestsOf(*raid.machine));
        EXPECT_THAT(raid.records(), ElementsAre("S9 mr 2 9 smart"));
        EXPECT_TRUE(raid.engine->ControlSmartStatusMegaRaid(2, 9, 0xD8));
        EXPECT_EQ(head + " 28=04 30=ff 32=09 34=0c 44=10 60=a1080ed8 65=014fc2 69=b0",
                  requestsOf(*raid.machine).back());
        EXPECT_FALSE(raid.engine->SendPassThroughMegaRaid(2, 9, {}, {}));
    }
    // Whether there is a list, the records, and the questions about the list.
    const std::tuple<std::string, bool, std::size_t, std::size_t> rows[] = {
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
    for (const auto& [keys, listed, records, questions] : rows) {
        SCOPED_TRACE(keys);
        RaidMachine raid(members(R"("megaRaid")", 2), section(keys));
        EXPECT_EQ(listed, raid.engine->AddDiskMegaRaid(2));
        EXPECT_EQ(records, raid.engine->vars.size());
        Lines asked = requestsOf(*raid.machine);
        std::erase_if(asked,
                      [](const std::string& line) { return !line.ends_with(" 54=0102"); }); // for the list
        ASSERT_EQ(questions, asked.size());
        if (questions == 2) {
            EXPECT_EQ("Scsi2: 0x4d008 6188 6188: 0=1c 4=4c53494c4f474943 24=2c18 28=05 48=7017 54=0102",
                      asked[1]);
        }
    }
}

TEST(RaidDrives, TheAmdLibrary) {
    const std::string ata =
        R"({"physicalId": 3, "size": 500107, "ssd": true, "model": "ACME", "serialNumber": "A1", "firmware": "F1", "description": "SSD SATA 6Gb", )" +
        smartKeys(kSomeAttributes) + "}";
    const std::string nvme =
        R"({"physicalId": 4, "size": 1000204, "nvme": true, "model": "ACME NV", "serialNumber": "N1", "firmware": "F2", "description": "NVMe Gen3 x4", "smart": ")" +
        hexOf(healthOf(300)) + "\"}";
    const auto library = [&](const std::string& keys) {
        return R"(, "amdRaid": {"drives": [)" + ata + ", " + nvme + "]" + keys + "}";
    };
    RaidMachine amd("", library(""));
    EXPECT_TRUE(amd.engine->AddDiskAMD_RC2());
    const Lines smartReads(2, "AMD_RC2_GetSmartData 0");
    const Lines scan =
        plus(plus(Lines{"AMD_RC2_GetDrives", "AMD_RC2_GetIdentify size 256 version 1 index 0"}, smartReads),
             {"AMD_RC2_GetSmartData 0 into one block", "AMD_RC2_GetIdentify size 256 version 1 index 1",
              "AMD_RC2_GetSmartData 1"});
    const Lines loading = {"mainModule", "publisher AMD_RC2t7x86.dll", "loadLibrary AMD_RC2t7x86.dll",
                           "libraryFunction AMD_RC2_Init", "libraryFunction AMD_RC2_GetStatus"};
    EXPECT_EQ(plus(Lines{"AMD_RC2_Init"}, scan),
              amd.machine.asked("AMD")); // but for the link of the NVMe drive
    EXPECT_THAT(amd.records(), ElementsAre("A1 rc 0 0 smart", "N1 rc 0 0 smart"));
    const AtaSmartInfo &first = amd.engine->vars[0], &second = amd.engine->vars[1];
    EXPECT_EQ(L"SATA/600 PCIe 3.0 x4", first.CurrentTransferMode + L" " + second.CurrentTransferMode);
    EXPECT_TRUE(first.IsSsd && first.IsThresholdCorrect && first.PhysicalDriveId == 3);
    EXPECT_EQ(0, first.Threshold[0].ThresholdId); // the thresholds' read is not kept
    EXPECT_EQ(0, first.NominalMediaRotationRate);
    EXPECT_EQ(std::pair(1000204U, 27), std::pair(second.TotalDiskSize, second.Temperature));
    amd.machine->requests().clearRecord();
    amd.engine->vars.clear();
    EXPECT_TRUE(amd.engine->AddDiskAMD_RC2()); // it is loaded already
    EXPECT_EQ(plus(Lines{"AMD_RC2_Reload"}, scan),
              amd.machine.asked("AMD")); // but for the link of the NVMe drive

    // The library's keys, what the scan after the first one asks, and what is traced of the first.
    const std::tuple<std::string, Lines, Labels> rows[] = {
        {R"(, "publisher": "Advanced Micro Devices, inc.")", {"mainModule", loading[1]}, {}},
        {R"(, "missing": ["AMD_RC2_GetStatus"])", loading, {}},
        {R"(, "initStatus": 9)", {}, {L"AMD_RC2_not_admin"}},
        {R"(, "numberOfDrives": -1)", {"AMD_RC2_Reload", "AMD_RC2_GetDrives"}, {}},
    };
    for (const auto& [keys, secondScan, status] : rows) {
        SCOPED_TRACE(keys);
        RaidMachine other("", library(keys));
        EXPECT_FALSE(other.engine->AddDiskAMD_RC2());
        EXPECT_EQ(status, other.traced(L"AMD_RC2_"));
        other.machine->requests().clearRecord();
        other.engine->AddDiskAMD_RC2();
        EXPECT_EQ(secondScan, other.machine->requests().record());
        AtaSmartInfo asi;
        EXPECT_EQ(keys.find("number") != keys.npos, other.engine->GetSmartAttributeAmdRc2(0, asi));
    }
    // A hard disk behind the library, whose numbers can be any: an order, and no overflow.
    const auto numbered = [](const char* id, const char* serial) {
        return fmt::format(
            R"({{"physicalId": {}, "model": "ACME", "serialNumber": "{}", "firmware": "F1", {}}})", id,
            serial, smartKeys(kSomeAttributes));
    };
    const std::string driver =
        R"(, "management": {"Win32_PnPSignedDriver": [{"DeviceName": "AMD-RAID Config", "DriverVersion": )"
        R"("9.3"}]}, "amdRaid": {"drives": [)";
    for (const BOOL byLetter : {0, 1}) {
        RaidMachine sorted(R"({"number": 5})",
                           driver + numbered("2147483647", "A1") + ", " + numbered("8388608", "A2") + ", " +
                               numbered("2147483648", "A3") + ", " + numbered("1", "A4") + "]}");
        sorted.engine->Init(1, 0, nullptr, 0, 1, byLetter);
        EXPECT_THAT(sorted.records(),
                    ElementsAre("A3 rc 0 0 smart", "A4 rc 0 0 smart", "A2 rc 0 0 smart", "A1 rc 0 0 smart"));
        EXPECT_EQ(0, sorted.engine->vars[0].IsSsd);
    }
    RaidMachine many("", library(R"(, "numberOfDrives": 1000000)"));
    EXPECT_TRUE(many.engine->AddDiskAMD_RC2());
    EXPECT_GT(300U, many.machine->requests().record().size());
}

TEST(RaidDrives, OfASampleMachine) {
    RaidMachine raid("raid-vroc-nvme");
    raid.engine->AddDiskCsmi(4);
    EXPECT_THAT(raid.records(), ElementsAre(HasSubstr(" iv 4 0 smart"), HasSubstr(" nt 4 1 smart")));
}

} // namespace
} // namespace orv::test
