// The standard logs of ATA drives: what is sent on each path, when nothing is, and what becomes of bad
// answers.

#include "drive_logs/AtaLogs.h"
#include "drive_reading/DeviceStatistics.h"
#include "support/DescribedDrives.h"
#include "support/RequestText.h"

#include <gmock/gmock.h>

namespace orv::test {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr const char* kStatistics = R"("deviceStatistics": {"powerOnHours": 300, "percentageUsed": 4})";
constexpr const char* kRaidPorts = R"(, "raidPorts": [{"port": 2, "csmi": {}, "megaRaid": {}}])";

/// A described drive with one path, its record, and a reader of its logs.
struct LogDrive : DriveOnMachine {
    LogDrive(const std::string& path, std::uint32_t commandType, const std::string& keys = kStatistics,
             const std::string& sections = kRaidPorts)
        : DriveOnMachine(
              fmt::format(
                  R"({{"number": 0, "scsiAddress": {{"port": 2, "target": 3}}, "paths": ["{}"], "identify": "{}", {}}})",
                  path, hexOf(smartIdentify()), keys),
              sections) {
        asi.CommandType = commandType;
        asi.Target = 0xA0;
        asi.PhysicalDriveId = 0;
        asi.ScsiPort = 2;
        asi.ScsiTargetId = 3;
        asi.sasPhyEntity[28] = asi.sasPhyEntity[56] = 3;
        asi.IsSmartSupported = asi.IsSmartEnabled = 1;
        setWord(84, 0x4020);
        machine->requests().keepRecord(true);
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
    return fmt::format(R"(, "answers": [{{"path": "ataPassThrough", "operation": "{}", {}{}}}])", operation,
                       nth == 0 ? "" : fmt::format(R"("nth": {}, )", nth), what);
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
    // clang-format off
    const std::tuple<std::string, std::string, std::size_t, std::size_t, std::size_t> cases[] = {
        {"", "", 3, 5, 3},
        {answer("log", R"("error": 1117)"), refused("log directory") + "1117", 0, 2, 1},
        {answer("log", R"("data": "00")", 1), "log directory: it has revision 0", 0, 2, 1},
        {answer("log", R"("data": "ff ff")", 1), "log directory: it has revision 65535", 0, 2, 1},
        {answer("log", R"("bytes": 555)", 1), refused("log directory") + "13", 0, 2, 1}, // 511 of data
        {answer("log", R"("bytes": 557)", 2), refused("device statistics") + "13", 0, 3, 1},
        {answer("log", R"("data": "01 00 07 00")", 2), "", 1, 3, 1}, // another page in place of the list
        {answer("log", directoryOf("07"), 1), "device statistics, page 7: it is listed, and the directory tells of 7 pages", 2, 4, 2},
        {answer("log", R"("error": 1117)", 3), refused("device statistics, page 1") + "1117", 2, 5, 2},
        {answer("log", R"("error": 5)", 3), "device statistics, page 1 could not be read: error 5", 2, 5, 3},
        {answer("log", R"("hang": true)", 1), "log directory: the drive did not answer in time", 0, 1, 0},
        {answer("status", R"("error": 1117)"), refused("SMART status") + "1117", 3, 5, 2},
        {R"(, "returnStatus": "none")", "SMART status: the path does not tell it", 3, 5, 2},
        {R"(, "smartEnabled": false)", refused("SMART status") + "1117", 3, 5, 2},
    };
    // clang-format on
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
    // A drive that has no logs although its words say so, and one that is behind a bridge that tells a
    // refusal by sense data.
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
    const TestMachine machine = TestMachine::sample("desktop-three-drives");
    CAtaSmart engine;
    engine.UseStandardPaths();
    ASSERT_TRUE(engine.SearchPhysicalDrive(0));
    AtaLogReader reader;
    const AtaLogs& logs = reader.read(engine, engine.vars[0], 0);
    EXPECT_EQ("", logs.note);
    const DriveReading reading = readingOf(engine.vars[0], {}, logs.standard());
    EXPECT_THAT(reading.disagreements, ::testing::IsEmpty());
    EXPECT_EQ(94, reading.life.value);
    EXPECT_THAT(reading.hostReadBytes.basis, HasSubstr("device statistics"));
}

} // namespace
} // namespace orv::test
