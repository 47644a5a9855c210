#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/record/DriveRecord.h"
#include "drive_logs/AtaLogs.h"
#include "drive_reading/DeviceStatistics.h"
#include "drive_reading/DriveReading.h"
#include "support/DescribedDrives.h"

namespace orv::test {
namespace {

constexpr std::int64_t kGiB = 1 << 30;
constexpr std::int64_t kNow = 1'764'000'000; // November 2025
constexpr std::int64_t kUnknown = INT64_MIN;
constexpr std::uint16_t kPreFailure = 1;

struct Drive {
    AtaSmartInfo asi;
    Explanation why;
};

/// The record of a drive as the engine makes it. `rotation` is identify word 217.
Drive driveOf(const char* model, const char* firmware, const std::vector<DriveAttribute>& attributes,
              std::uint16_t rotation = 1, std::uint16_t major = 0x07FC) {
    AtaBlock identify =
        identifyOf({{1, 16383}, {3, 16}, {6, 63}, {60, 0xFFFF}, {61, 0x0FFF}, {80, major}, {217, rotation}},
                   model, firmware);
    Drive drive;
    drive.asi = startRecord({.commandType = CMD_TYPE_PHYSICAL_DRIVE});
    AtaSmartInfo& asi = drive.asi;
    EXPECT_TRUE(readIdentifyTexts(asi, identify));
    interpretIdentify(asi, identify);
    putBlocks(asi, attributes);
    if (FillSmartData(asi)) {
        asi.IsSmartEnabled = asi.IsSmartCorrect = 1;
        ClassifyDrive(asi, &drive.why);
        asi.IsThresholdCorrect = FillSmartThreshold(asi) ? 1 : 0;
        finishRecord(asi);
        FillSmartData(asi, &drive.why);
    }
    asi.DiskStatus = CheckDiskStatus(asi, &drive.why);
    return drive;
}

/// A page of the device statistics: values with their heads by their places.
struct Statistic {
    std::size_t at;
    std::uint64_t value;
    std::uint8_t head = 0xC0; // supported and valid
};
using Log = std::vector<std::uint8_t>;

Log logOf(const std::vector<std::pair<std::uint8_t, std::vector<Statistic>>>& pages) {
    Log log(512, 0);
    log[0] = 1;
    log[8] = static_cast<std::uint8_t>(pages.size());
    for (std::size_t i = 0; i < pages.size(); ++i) {
        log[9 + i] = pages[i].first;
        Log page(512, 0);
        page[0] = 1;
        page[2] = pages[i].first;
        for (const Statistic& each : pages[i].second) {
            for (std::size_t byte = 0; byte < 7; ++byte)
                page[each.at + byte] = static_cast<std::uint8_t>(each.value >> 8 * byte);
            page[each.at + 7] = each.head;
        }
        log.insert(log.end(), page.begin(), page.end());
    }
    return log;
}

std::int64_t numberOf(Verdict health) {
    return static_cast<std::int64_t>(health);
}
template <class T>
std::int64_t numberOf(const Told<T>& told) {
    return told ? static_cast<std::int64_t>(*told.value) : kUnknown;
}
/// What the record tells by the dialect's rule, and what the reading tells.
using Numbers = std::pair<std::int64_t, std::int64_t>;
template <auto Rule, auto Reading>
Numbers numbersOf(const AtaSmartInfo& asi, const DriveReading& reading) {
    return {static_cast<std::int64_t>(asi.*Rule), numberOf(reading.*Reading)};
}
constexpr auto life = numbersOf<&AtaSmartInfo::Life, &DriveReading::life>;
constexpr auto hours = numbersOf<&AtaSmartInfo::DetectedPowerOnHours, &DriveReading::powerOnHours>;
constexpr auto reads = numbersOf<&AtaSmartInfo::HostReads, &DriveReading::hostReadBytes>;
constexpr auto writes = numbersOf<&AtaSmartInfo::HostWrites, &DriveReading::hostWrittenBytes>;
constexpr auto health = numbersOf<&AtaSmartInfo::DiskStatus, &DriveReading::health>;

struct Fact {
    const char* model;
    const char* firmware;
    std::vector<DriveAttribute> attributes;
    Numbers (*numbers)(const AtaSmartInfo&, const DriveReading&);
    std::int64_t rule; ///< -1: unknown
    std::int64_t told;
    std::uint16_t rotation = 1;
    Log statistics = {};
};

// Drives as they are: what the rule tells of them stays, what they say is the truth.
// clang-format off
const Fact facts[] = {
    // 230 of SanDisk and WD: raw byte 3 where the upper bytes say anything, else byte 1
    {"WDC WDS500G2B0A-00SM50", "401000WD", {{.id = 230, .raw = 0x0048'0000'1C00}, {.id = 241}}, life, 72, 100},
    {"WDC WDS500G2B0A-00SM50", "401000WD", {{.id = 230, .raw = 0x0000'4900'0000 + 0x1C00}, {.id = 241}}, life, 72, 27},
    {"SanDisk SDSSDH3 500G", "415000RL", {{.id = 230, .raw = 0x0000'9D00'2500}, {.id = 241}}, life, 63, 0},
    {"SanDisk SDSSDH3 500G", "415000RL", {{.id = 230, .raw = 0x0000'0000'0500}, {.id = 241}}, life, 95, 95},
    // 202 of Micron past its end: the value wraps
    {"CT500MX500SSD1", "M3CR023", {{.id = 202, .current = 255, .raw = 101}}, life, -1, 0},
    {"CT500MX500SSD1", "M3CR023", {{.id = 202, .current = 255, .raw = 101}}, health, DISK_STATUS_GOOD, numberOf(Verdict::wornOut)},
    {"CT500MX500SSD1", "M3CR023", {{.id = 202, .current = 57, .raw = 43}}, life, 57, 57},
    // 231: a value that stays at 100
    {"KINGSTON SKC400S37256G", "SAFM00.r", {{.id = 231, .raw = 14}}, life, 100, 14},
    {"KINGSTON SKC400S37256G", "SAFM00.r", {{.id = 231, .raw = 0}}, life, 100, 100},
    // statistics count before a rule
    {"TMI 64GB SSD", "SF1", {{.id = 231, .raw = 90}}, life, 90, 71, 1, logOf({{7, {{8, 29, 0xE0}}}})},
    // no dialect
    {"Samsung SSD 883 DCT 480GB", "HXT7904Q", {{177}, {179}, {180}, {181}, {182}, {.id = 177, .current = 93}}, life, -1, 100},
    {"MZ7LH480HAHQ0D3", "HXT7904Q", {{.id = 5}, {.id = 177, .current = 93}}, life, -1, 93},
    {"VK000480GWTTC", "HPG1", {{.id = 5}}, life, -1, 96, 1, logOf({{1, {}}, {7, {{8, 4}}}})},
    {"SSDSC2KB480G8", "XCV10110", {{.id = 5}, {.id = 233, .current = 98}, {.id = 245, .current = 97}}, life, -1, 97},
    // drives that speak another dialect than they are taken for
    {"CT250BX100SSD1", "MU01", {{.id = 1}, {.id = 169, .raw = 86}, {.id = 242, .raw = 640}}, life, 100, 86},
    {"CT240BX200SSD1", "MU02.6", {{.id = 1}, {.id = 241, .raw = 73824}}, writes, 2307, 2307 * kGiB},
    {"HP SSD S700 250GB", "Q0411A", {{1}, {5}, {9}, {12}, {171}, {172}, {.id = 169, .raw = 88}}, life, -1, 88},
    {"SDLF1CRR019TCCA1", "ZR07", {{.id = 5}, {.id = 245, .current = 95}}, life, -1, 95},
    // units
    {"KHK61RSE960G", "8EET", {{.id = 241, .raw = 64}}, writes, -1, 2 * kGiB},
    {"SanDisk 64G SSD", "1.00", {{.id = 242, .raw = 64}}, reads, 64, 2 * kGiB},
    {"SHGS31-500GS-2", "90000Q00", {{.id = 241, .raw = 64}}, writes, 64, 64'000'000'000},
    {"LITEON CV8-8E128", "T8811", {{.id = 241, .raw = 0xFFFFFFF0}}, writes, -16, kUnknown},
    // the sectors of the statistics begin anew at 2 TiB; the attribute goes on
    {"CT500MX500SSD1", "M3CR023", {{.id = 241, .raw = 1}, {.id = 246, .raw = 10'000 * (kGiB / 512)}}, writes, 10'000, 10'000 * kGiB, 1, logOf({{1, {{24, 1'000'000}}}})},
    {"CT500MX500SSD1", "M3CR023", {{.id = 246, .raw = 10 * (kGiB / 512)}}, writes, 10, 10 * kGiB + 512, 1, logOf({{1, {{24, 10 * (kGiB / 512) + 1}}}})},
    // hours
    {"TOSHIBA MK5061GSY", "MC102E", {{.id = 9, .raw = 37033}}, hours, 37033, 617, 7200},
    {"FUJITSU MHY2250BH", "0085000B", {{.id = 9, .raw = 598640}}, hours, 598640, 9977, 5400},
    {"INTEL SSDSC2BW180A3", "LF1i", {{.id = 9, .raw = 4321}}, hours, 0, 4321},
    {"INTEL SSDSC2BW180A3", "LF1i", {{.id = 9, .raw = 894803 + 4321}}, hours, 4321, 4321},
    {"ST9500325AS", "0002BSM1", {{.id = 9, .raw = 598640}}, hours, 598640, kUnknown, 5400},
};
// clang-format on

TEST(DriveReadings, TellTheTruthWhereTheRuleMissesIt) {
    for (const Fact& fact : facts) {
        const Drive drive = driveOf(fact.model, fact.firmware, fact.attributes, fact.rotation);
        const DriveReading reading = readingOf(drive.asi, drive.why, {fact.statistics, std::nullopt}, kNow);
        SCOPED_TRACE(testing::Message() << fact.model << " by " << drive.asi.SmartKeyName.size() << ' '
                                        << (drive.why.dialect ? drive.why.dialect : "-"));
        EXPECT_EQ(Numbers(fact.rule, fact.told), fact.numbers(drive.asi, reading));
    }
}

struct Health {
    std::vector<DriveAttribute> attributes;
    Verdict verdict;
    const char* reason; ///< stands in the reason
    std::optional<bool> saysItFails = std::nullopt;
    std::uint16_t rotation = 1;
};

TEST(DriveReadings, HealthGoesByTheStandardsWords) {
    // clang-format off
    const std::vector<Health> drives = {
        {{{.id = 184, .current = 90, .threshold = 90, .flags = kPreFailure}}, Verdict::failing, "attribute 184"},
        {{{.id = 173, .current = 1, .threshold = 1}}, Verdict::caution, "attribute 173"},
        {{{.id = 184, .current = 91, .threshold = 90, .flags = kPreFailure}}, Verdict::good, "nothing at"},
        {{{.id = 194, .current = 30, .raw = 71, .threshold = 40, .flags = kPreFailure}}, Verdict::caution, "71 \u00B0C"},
        {{{.id = 4, .current = 1, .threshold = 20, .flags = kPreFailure}}, Verdict::caution, "attribute 4", {}, 7200},
        {{{.id = 246, .threshold = 1}, {.id = 246, .current = 0, .threshold = 1, .flags = kPreFailure}}, Verdict::good, "nothing at"},
        {{{.id = 5, .threshold = 10}}, Verdict::failing, "SMART RETURN STATUS", true},
        {{{.id = 9}}, Verdict::unknown, ""},
        {{{.id = 9}}, Verdict::good, "no threshold", false},
    };
    // clang-format on
    for (const Health& each : drives) {
        const Drive drive =
            driveOf(each.rotation > 1 ? "ST1000DM003" : "Some 1TB SSD", "F1", each.attributes, each.rotation);
        const DriveReading reading = readingOf(drive.asi, drive.why, {{}, each.saysItFails}, kNow);
        EXPECT_STREQ(verdictWord(each.verdict), verdictWord(reading.health)) << int{each.attributes[0].id};
        EXPECT_NE(std::string::npos, reading.healthReason.find(each.reason)) << reading.healthReason;
    }
    const Drive flash = driveOf("MCCOE64GEMPP", "PS10", {{.id = 9}}, 0);
    EXPECT_EQ(0, flash.asi.IsSsd);
    EXPECT_TRUE(readingOf(flash.asi, flash.why).solidState.value.value_or(false));
}

TEST(DriveReadings, StatisticsAreBelievedAsFarAsTheyAreWhole) {
    const auto textOf = [](const Log& log) {
        const DeviceStatistics told = readDeviceStatistics(log);
        std::string text = told.fault;
        for (const std::optional<std::uint64_t> value : std::initializer_list<std::optional<std::uint64_t>>{
                 told.powerOnResets, told.powerOnHours, told.logicalSectorsWritten, told.logicalSectorsRead,
                 told.percentageUsed})
            text += value ? " " + std::to_string(*value) : " -";
        return text;
    };
    const Log good =
        logOf({{1, {{8, 12}, {16, 3000}, {24, 77}, {40, 99}}}, {5, {{8, 0xF6}}}, {7, {{8, 255}}}});
    EXPECT_EQ(" 12 3000 77 99 255", textOf(good));
    EXPECT_EQ(-10, readDeviceStatistics(good).temperature);
    // A count that is normalised, invalid, not supported or all ones is none; a percentage may be normalised.
    EXPECT_EQ(" - - - - 5",
              textOf(logOf({{1, {{8, 12, 0xE0}, {16, 3000, 0x80}, {24, 77, 0x40}, {40, UINT64_MAX}}},
                            {7, {{8, 5, 0xE0}}}})));
    const auto changed = [&](std::size_t at, std::uint8_t byte) {
        Log log = good;
        log[at] = byte;
        return log;
    };
    // clang-format off
    const std::pair<Log, const char*> broken[] = {
        {Log(512, 0), "empty"}, {Log(1024, 0xFF), "empty"}, {Log(511, 1), "no whole pages"}, {Log(good.begin(), good.begin() + 513), "no whole pages"}, {changed(2, 9), "does not begin"},
        {changed(512 + 2, 3), "page 1 is listed"}, {changed(512, 2), "page 1 is listed"}, {Log(good.begin(), good.begin() + 512), "page 1 is listed"}};
    // clang-format on
    for (const auto& [log, fault] : broken) {
        const DeviceStatistics read = readDeviceStatistics(log);
        EXPECT_NE(std::string::npos, read.fault.find(fault)) << read.fault;
        EXPECT_FALSE(read.powerOnHours);
    }
    EXPECT_EQ(3000U, readDeviceStatistics(changed(8, 255)).powerOnHours);
    EXPECT_FALSE(readDeviceStatistics(changed(8, 0)).powerOnHours); // not in the list
}

TEST(DriveReadings, SourcesThatDifferAreNamed) {
    const Drive drive =
        driveOf("CT500MX500SSD1", "M3CR023", {{.id = 9, .raw = 5000}, {.id = 194, .raw = 40}});
    const Log log = logOf({{1, {{16, 3000}}}, {5, {{8, 41}}}});
    const DriveReading reading = readingOf(drive.asi, drive.why, {log, std::nullopt}, kNow);
    ASSERT_EQ(1U, reading.disagreements.size());
    EXPECT_EQ("power-on hours: 3000 h by device statistics, page 1, byte 16, 5000 h by the dialect's rule, "
              "9: low 32 bits of the raw value",
              reading.disagreements[0]);
    EXPECT_EQ(std::vector<std::string>{"powerOnHours"}, differencesFromRule(reading, drive.asi));
}

TEST(DriveReadings, NvmePage) {
    Drive drive;
    AtaSmartInfo& asi = drive.asi;
    asi.IsNVMe = 1;
    asi.AttributeCount = 15;
    std::uint8_t* page = asi.SmartReadData;
    page[1] = 0x3B, page[2] = 0x01; // 315 K
    page[3] = 100, page[4] = 10, page[5] = 101;
    page[32] = 3, page[48] = 5, page[112] = 9, page[128] = 0x10, page[129] = 0x27;
    DriveReading reading = readingOf(asi, drive.why, {}, kNow);
    EXPECT_EQ(Verdict::wornOut, reading.health);
    EXPECT_EQ((std::vector<std::int64_t>{0, 42, 3 * 512000, 5 * 512000, 9, 10000}),
              (std::vector{numberOf(reading.life), numberOf(reading.temperature),
                           numberOf(reading.hostReadBytes), numberOf(reading.hostWrittenBytes),
                           numberOf(reading.powerCycles), numberOf(reading.powerOnHours)}));
    page[0] = 0x0C; // reliability, read-only
    page[131] = 1;  // 16 million hours
    page[40] = page[47 + 9] = 1;
    page[1] = page[2] = 0;
    reading = readingOf(asi, drive.why, {}, kNow);
    EXPECT_EQ(Verdict::failing, reading.health);
    EXPECT_NE(std::string::npos, reading.healthReason.find("read-only"));
    EXPECT_FALSE(reading.powerOnHours || reading.hostReadBytes || reading.temperature);
}

// ---- The standard logs of ATA drives: what is sent on each path, when nothing is, and bad answers

constexpr const char* kStatistics = R"("deviceStatistics": {"powerOnHours": 300, "percentageUsed": 4})";
constexpr const char* kRaidPorts = R"(, "raidPorts": [{"port": 2, "csmi": {}, "megaRaid": {}}])";

constexpr char kLogDrive[] =
    R"({{"number": 0, "scsiAddress": {{"port": 2, "target": 3}}, "paths": ["{}"], "identify": "{}", {}}})";

/// A described drive with one path, its record, and a reader of its logs.
struct LogDrive : DriveOnMachine {
    LogDrive(const std::string& path, std::uint32_t commandType, const std::string& keys = kStatistics,
             const std::string& sections = kRaidPorts)
        : DriveOnMachine(fmt::format(kLogDrive, path, hexOf(smartIdentify()), keys), sections) {
        asi.CommandType = commandType;
        asi.Target = 0xA0;
        asi.PhysicalDriveId = 0;
        asi.ScsiPort = 2;
        asi.ScsiTargetId = 3;
        asi.sasPhyEntity[28] = asi.sasPhyEntity[56] = 3;
        asi.IsSmartSupported = asi.IsSmartEnabled = 1;
        setWord(84, 0x4020);
    }
    void setWord(std::size_t number, std::uint16_t value) {
        asi.Identify[2 * number] = static_cast<std::uint8_t>(value);
        asi.Identify[2 * number + 1] = static_cast<std::uint8_t>(value >> 8);
    }
    const AtaLogs& read(std::int64_t atMostEveryNs = 0) {
        machine->requests().clearRecord();
        return reader.read(*engine, asi, atMostEveryNs);
    }
    /// The control codes of the latest read.
    Lines sent() {
        Lines lines = requestsOf(*machine);
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("open"); });
        return lines;
    }

    AtaSmartInfo asi;
    AtaLogReader reader;
};

TEST(DriveLogs, CommandsOfEachPathByteForByte) {
    const std::string csmi = "0=1c 4=43534d49534153 12=3c 16=19 24=";
    // clang-format off
    const struct {
        const char* path;
        std::uint32_t commandType;
        std::string head;
        Lines tails; // of the directory, and of pages 0, 1 and 7 of log 04h
        std::string status; // empty: the path cannot tell it
    } paths[] = {
        {"ataPassThrough", CMD_TYPE_PHYSICAL_DRIVE, "PhysicalDrive0 0x4d02c 556 556: 0=28 2=0a 9=02 12=0a 20=2c 33=01",
         {" 37=a02f 44=cf", "04 37=a02f 44=cf", "0401 37=a02f 44=cf", "0407 37=a02f 44=cf"}, "PhysicalDrive0 0x4d02c 44 44: 0=28 12=0a 20=2c 32=da01014fc2a0b0"},
        {"sat", CMD_TYPE_SAT, "PhysicalDrive0 0x4d004 592 44: 0=2c 6=101801 13=02 16=0a 20=50 24=30 28=85090e 34=01",
         {" 41=a02f", " 36=04 41=a02f", " 36=04 38=01 41=a02f", " 36=04 38=07 41=a02f"}, "PhysicalDrive0 0x4d004 80 44: 0=2c 6=0c1801 16=0a 20=50 24=30 28=a10620da 33=014fc2a0b0"},
        {"csmi", CMD_TYPE_CSMI, "Scsi2: 0x4d008 680 680: " + csmi + "8c02 28=0303 44=27802f",
         {" 51=a0 56=01 64=11 69=02", " 48=04 51=a0 56=01 64=11 69=02", " 48=0401 51=a0 56=01 64=11 69=02", " 48=0407 51=a0 56=01 64=11 69=02"},
         "Scsi2: 0x4d008 168 168: " + csmi + "8c 28=0303 44=2780b0da014fc2a0 64=04"},
        {"megaRaid", CMD_TYPE_MEGARAID, "Scsi2: 0x4d008 4284 4284: 0=1c 4=4c53494c4f474943 24=bc02 28=04 30=ff 32=03 34=10 44=10 49=02 60=85090e 66=01",
         {" 74=2f", " 68=04 74=2f", " 68=04 70=01 74=2f", " 68=04 70=07 74=2f"}, ""},
    };
    // clang-format on
    for (const auto& path : paths) {
        SCOPED_TRACE(path.path);
        Lines sent;
        for (const std::string& tail : path.tails)
            sent.push_back(path.head + tail);
        if (!path.status.empty()) sent.push_back(path.status);
        const auto told = [&](const std::string& more) {
            LogDrive drive(path.path, path.commandType, kStatistics + more);
            const AtaLogs logs = drive.read();
            EXPECT_EQ(sent, drive.sent());
            EXPECT_EQ("", logs.note);
            const DeviceStatistics statistics = readDeviceStatistics(logs.deviceStatistics);
            EXPECT_TRUE(statistics.fault.empty() && statistics.powerOnHours == 300U);
            EXPECT_EQ(4U, statistics.percentageUsed);
            return logs.saysItFails;
        };
        const std::optional<bool> none;
        EXPECT_EQ(path.status.empty() ? none : false, told(""));
        EXPECT_EQ(path.status.empty() ? none : true, told(R"(, "returnStatus": "exceeded")"));
    }
}

/// An entry of "answers" of the path of ATA pass-through.
std::string answer(const char* operation, const std::string& what, int nth = 0) {
    const std::string which = nth == 0 ? "" : fmt::format(R"("nth": {}, )", nth);
    return answers("ataPassThrough", fmt::format(R"("operation": "{}", {}{})", operation, which, what));
}

/// The bytes of a log directory that tells of so many pages of statistics.
std::string directoryOf(const char* pages) {
    return fmt::format(R"("data": "01 00 00 00 00 00 00 00 {} 00")", pages);
}

TEST(DriveLogs, NothingIsSentThatTheDriveDoesNotSayItHas) {
    const std::string noStatistics = kStatistics + answer("log", directoryOf("00"), 1);
    // Words 84 and 87, whether SMART is enabled, and the requests: four for the logs, one for the status.
    using Words = std::pair<std::uint16_t, std::uint16_t>;
    const std::tuple<const char*, std::uint32_t, Words, BOOL, std::size_t, std::string> cases[] = {
        {"the second word alone", CMD_TYPE_PHYSICAL_DRIVE, {0, 0x4020}, 0, 4, kStatistics},
        {"no logs", CMD_TYPE_PHYSICAL_DRIVE, {0x4000, 0x4000}, 1, 1, kStatistics},
        {"words that do not count", CMD_TYPE_PHYSICAL_DRIVE, {0x0020, 0xFFFF}, 1, 1, kStatistics},
        {"no statistics", CMD_TYPE_PHYSICAL_DRIVE, {0x4020, 0}, 1, 2, noStatistics},
        {"an older way that has no high bytes", CMD_TYPE_SCSI_MINIPORT, {0x4020, 0x4020}, 1, 0, kStatistics},
        {"a bridge of its own kind", CMD_TYPE_JMICRON, {0x4020, 0x4020}, 1, 0, kStatistics},
        {"the management data", CMD_TYPE_WMI, {0x4020, 0x4020}, 1, 0, kStatistics},
        {"another standard", CMD_TYPE_PHYSICAL_DRIVE, {0x4020, 0x4020}, 1, 0, kStatistics},
    };
    for (const auto& [what, commandType, words, smart, sent, keys] : cases) {
        SCOPED_TRACE(what);
        LogDrive drive("ataPassThrough", commandType, keys);
        drive.setWord(84, words.first);
        drive.setWord(87, words.second);
        drive.asi.IsSmartEnabled = smart;
        drive.asi.IsNVMe = what == std::string_view("another standard");
        EXPECT_EQ("", drive.read().note);
        EXPECT_EQ(sent, drive.sent().size());
    }
}

TEST(DriveLogs, BadAnswersAreToldAndWhatIsRefusedIsNotAskedAgain) {
    const auto refused = [](const char* what) { return std::string(what) + ": refused with error "; };
    // The pages that are left of the statistics, the requests of the first read, and those of the second with
    // the list kept: pages 1 and 7, and the status.
    const std::tuple<std::string, std::string, std::size_t, std::size_t, std::size_t> cases[] = {
        {"", "", 3, 5, 3},
        {answer("log", R"("error": 1117)"), refused("log directory") + "1117", 0, 2, 1},
        {answer("log", R"("data": "00")", 1), "log directory: it has revision 0", 0, 2, 1},
        {answer("log", R"("data": "ff ff")", 1), "log directory: it has revision 65535", 0, 2, 1},
        {answer("log", R"("bytes": 555)", 1), refused("log directory") + "13", 0, 2, 1}, // 511 of data
        {answer("log", R"("bytes": 557)", 2), refused("device statistics") + "13", 0, 3, 1},
        {answer("log", R"("data": "01 00 07 00")", 2), "", 1, 3, 1}, // another page in place of the list
        {answer("log", directoryOf("07"), 1),
         "device statistics, page 7: it is listed, and the directory tells of 7 pages", 2, 4, 2},
        {answer("log", R"("error": 1117)", 3), refused("device statistics, page 1") + "1117", 2, 5, 2},
        {answer("log", R"("error": 5)", 3), "device statistics, page 1 could not be read: error 5", 2, 5, 3},
        {answer("log", R"("hang": true)", 1), "log directory: the drive did not answer in time", 0, 1, 0},
        {answer("status", R"("error": 1117)"), refused("SMART status") + "1117", 3, 5, 2},
        {R"(, "returnStatus": "none")", "SMART status: the path does not tell it", 3, 5, 2},
        {R"(, "smartEnabled": false)", refused("SMART status") + "1117", 3, 5, 2},
    };
    for (const auto& [keys, note, pages, sent, sentLater] : cases) {
        SCOPED_TRACE(keys);
        LogDrive drive("ataPassThrough", CMD_TYPE_PHYSICAL_DRIVE, kStatistics + keys);
        const AtaLogs first = drive.read();
        EXPECT_EQ(note, first.note);
        EXPECT_EQ(pages * 512, first.deviceStatistics.size());
        EXPECT_EQ(sent, drive.sent().size());
        const bool passes = note.find("could not") != note.npos;
        EXPECT_EQ(passes ? "" : note, drive.read().note);
        EXPECT_EQ(sentLater, drive.sent().size());
        EXPECT_EQ(platform::kSuccess, drive.engine->probeFailure()) << "which is of probes alone";
    }
    // Drives without the logs that their words tell of, and behind a bridge that refuses by sense data.
    LogDrive none("ataPassThrough", CMD_TYPE_PHYSICAL_DRIVE, R"("model": "M")");
    EXPECT_EQ("log directory: refused with error 1117", none.read().note);
    for (const char* lie : {R"("status": 1)", R"("bytes": 675)", R"("error": 1117)"}) {
        const std::string once = fmt::format(R"({{"request": "csmiPassThrough", "nth": 1, {}}})", lie);
        LogDrive hidden("csmi", CMD_TYPE_CSMI, kStatistics,
                        R"(, "raidPorts": [{"port": 2, "csmi": {"answers": [)" + once + "]}}]");
        EXPECT_THAT(hidden.read().note, HasSubstr("log directory: refused with error 1")) << lie;
    }
    LogDrive bridge("sat", CMD_TYPE_SAT, R"("rejection": "checkCondition")");
    EXPECT_EQ("log directory: refused with error 1117", bridge.read().note);
    EXPECT_EQ(false, bridge.read().saysItFails);
    LogDrive off("sat", CMD_TYPE_SAT,
                 kStatistics + std::string(R"(, "smartEnabled": false, "rejection": "checkCondition")"));
    EXPECT_EQ("SMART status: refused with error 1117", off.read().note);
}

TEST(DriveLogs, ADriveIsAskedAtMostSoOftenAndWhatStepsBackIsDoubtful) {
    LogDrive drive("ataPassThrough", CMD_TYPE_PHYSICAL_DRIVE, std::string(kStatistics) + R"(, "changes": [
        {"atSeconds": 8, "deviceStatistics": {"powerOnHours": 299, "percentageUsed": 4}}])");
    const auto sentAfter = [&](std::int64_t seconds, std::int64_t atMostEveryNs = 5 * kSecond) {
        drive.machine->machineClock().sleepNs(seconds * kSecond);
        drive.read(atMostEveryNs);
        return drive.sent().size();
    };
    EXPECT_EQ(5U, sentAfter(0));
    EXPECT_EQ(0U, sentAfter(4));
    EXPECT_EQ(3U, sentAfter(1));
    EXPECT_EQ(3U, sentAfter(0, 0)) << "now";
    EXPECT_EQ(3U, sentAfter(5));
    const AtaLogs& doubtful = drive.read(kSecond);
    EXPECT_EQ("device statistics: power-on hours stepped back from 300 to 299", doubtful.note);
    EXPECT_TRUE(doubtful.deviceStatistics.empty());
    const AtaLogs& later = drive.read();
    EXPECT_EQ("", later.note);
    EXPECT_EQ(299U, readDeviceStatistics(later.deviceStatistics).powerOnHours);
    drive.asi.ModelSerial = L"another drive in its place";
    EXPECT_EQ(5U, sentAfter(0));
}

TEST(DriveLogs, ASampleDriveTellsTheSameInItsStatisticsAsInItsAttributes) {
    DriveOnMachine sample("desktop-three-drives");
    sample.engine->UseStandardPaths();
    ASSERT_TRUE(sample.engine->SearchPhysicalDrive(0));
    AtaLogReader reader;
    const AtaLogs& logs = reader.read(*sample.engine, sample.engine->vars[0], 0);
    EXPECT_EQ("", logs.note);
    const DriveReading reading = readingOf(sample.engine->vars[0], {}, logs.standard());
    EXPECT_THAT(reading.disagreements, IsEmpty());
    EXPECT_EQ(94, reading.life.value);
    EXPECT_THAT(reading.hostReadBytes.basis, HasSubstr("device statistics"));
}

} // namespace
} // namespace orv::test
