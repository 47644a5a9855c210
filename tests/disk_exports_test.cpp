// The five disk exports and the engine's refresh behind them, as a host meets them over time.

#include "disk/DiskReport.h"
#include "state/ProcessState.h"
#include "support/DescribedDrives.h"

namespace orv::test {
namespace {

std::string smartAt(int degrees) {
    return smartKeys({{.id = 5}, {.id = 194, .raw = static_cast<std::uint64_t>(degrees)}});
}
std::string changedAt(const std::string& second, const std::string& change) {
    return R"(, "changes": [{"atSeconds": )" + second + ", " + change + "}]";
}
std::string hardDisk(const std::string& more = "") {
    return ataDrive(R"("ataPassThrough")", 0xA0, kCounters + more);
}
void wait(TestMachine& machine, std::int64_t nanoseconds) {
    machine->machineClock().sleepNs(nanoseconds);
}
struct MachineWith : TestMachine {
    explicit MachineWith(const std::string& drives)
        : TestMachine(R"({"name": "m", "clock": {"stepNs": 1}, "drives": [)" + drives + "]}") {}
};

TEST(DiskExports, TwoDrivesOverTime) {
    const std::string later =
        smartAt(50) + R"(}, {"atSeconds": 10, )" + smartAt(51) + R"(}, {"atSeconds": 20, "present": false)";
    MachineWith machine(hardDisk(changedAt("4", later)) + "," + secondDrive());
    EXPECT_EQ(-1.0, getDiskTemperature(0)) << "nothing has looked for drives";
    EXPECT_STREQ(R"({"error": "invalid vector subscript"})", getDiskReadWriteSpeed(0));
    ASSERT_EQ(2, initDisk());
    machine->requests().clearRecord();
    wait(machine, 5 * kSecond - 100);
    EXPECT_EQ(2, initDisk());
    EXPECT_STREQ(R"([{"SN":"S1","type":"HDD"},{"SN":"S2","type":"SSD"}])", getAllDiskType());
    EXPECT_EQ(35.0, getDiskTemperature(0));
    EXPECT_EQ(41.0, getDiskTemperature(1));
    EXPECT_EQ(-1.0, getDiskTemperature(2));
    EXPECT_STREQ("invalid vector subscript", getLastError());
    EXPECT_THAT(machine->requests().record(), IsEmpty()) << "five seconds are not over";

    wait(machine, 100);
    EXPECT_EQ(50.0, getDiskTemperature(0));
    EXPECT_EQ(50.0, getDiskTemperature(0));
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("openDevice \\\\.\\PhysicalDrive1 attributes 0x0", HasSubstr("deviceControl")));

    EXPECT_STREQ(R"({"write": 2048.000000, "read": 1000.000000})", getDiskReadWriteSpeed(0));
    wait(machine, 400'000);
    EXPECT_THAT(getDiskReadWriteSpeed(0), EndsWith(R"(: GetReadWriteSpeed failed. The interval is 0"})"));
    wait(machine, 1'600'000);
    EXPECT_STREQ(R"({"write": 2048.000000, "read": 1000.000000})", getDiskReadWriteSpeed(0))
        << "the sample that failed is none";
    wait(machine, 5 * kSecond);
    EXPECT_EQ(51.0, getDiskTemperature(0));
    wait(machine, 10 * kSecond);
    EXPECT_EQ(51.0, getDiskTemperature(0)) << "it is pulled out";
    EXPECT_STREQ(R"([{"SN":"S1","type":"HDD"},{"SN":"S2","type":"SSD"}])", getAllDiskType());
    EXPECT_THAT(getDiskReadWriteSpeed(0), EndsWith(R"(: CreateFileA failed"})"));
}

TEST(DiskExports, AFailedRefreshIsTriedAgainByTheNextCall) {
    MachineWith machine(hardDisk(changedAt("4", smartAt(50))));
    ASSERT_EQ(1, initDisk());
    wait(machine, 6 * kSecond);
    auto drives = std::exchange(processWide<CAtaSmart>().vars, {});
    EXPECT_EQ(-1.0, getDiskTemperature(0));
    EXPECT_STREQ(R"({"error":"index out of range"})", getAllDiskType());
    EXPECT_STREQ(R"({"code":0,"data":"index out of range"})", getDiskNameWhichOsInstalled());
    processWide<CAtaSmart>().vars = std::move(drives);
    EXPECT_EQ(50.0, getDiskTemperature(0));
}

/// The search finds the drive, and its counters cannot be had: there is no list, until they can.
TEST(DiskExports, ADriveWithoutCountersMakesTheListFail) {
    const char* const why = R"(, "performance": {}, "answers": [{"path": "performance", "bytes": 87}])";
    MachineWith machine(ataDrive(R"("ataPassThrough")", 0xA0, why) + "," + secondDrive());
    EXPECT_EQ(-1, initDisk());
    EXPECT_STREQ("null", getAllDiskType());
    EXPECT_THAT(getLastError(), EndsWith(": DeviceIoControl failed"));
    EXPECT_THAT(getDiskNameWhichOsInstalled(), StartsWith(R"({"code":0,"data":"Disk@)"));
    EXPECT_STREQ(R"({"error": "invalid vector subscript"})", getDiskReadWriteSpeed(0));

    auto& drives = processWide<CAtaSmart>().vars;
    ASSERT_EQ(2u, drives.size());
    drives[0].PhysicalDriveId = -1;
    EXPECT_EQ(-1, initDisk());
    EXPECT_THAT(getLastError(), HasSubstr(": CreateFileA -1 failed. Reason: error code: 2 message: "));
    drives.erase(drives.begin());
    EXPECT_EQ(1, initDisk());
}

TEST(DiskExports, WithoutDrivesTheyGiveFixedTexts) {
    MachineWith machine("");
    EXPECT_STREQ("null", getAllDiskType());
    EXPECT_STREQ("", getLastError());
    EXPECT_STREQ(R"({"code":0, "data": "available disk not found"})", getDiskNameWhichOsInstalled());
    EXPECT_STREQ("", getLastError());
    EXPECT_EQ(0, initDisk());
}

TEST(DiskExports, TheFirstDriveWithTheSystemsLetterIsTheSystemDrive) {
    EXPECT_EQ(1u << 2, disk::letterBit(L"c:\\windows"));
    EXPECT_EQ(1u << 31, disk::letterBit(L"")) << "no letter's bit";
    MachineWith machine(hardDisk() + "," + secondDrive());
    ASSERT_THAT(getDiskNameWhichOsInstalled(), StartsWith("{\"code\":0, "));
    ASSERT_EQ(35.0, getDiskTemperature(0)) << "it has made the list";
    auto& drives = processWide<CAtaSmart>().vars;
    drives[0].DriveLetterMap = drives[1].DriveLetterMap = 1 << 2;
    wait(machine, 6 * kSecond);
    EXPECT_STREQ(R"({"code":1,"diskName":"ACME Disk"})", getDiskNameWhichOsInstalled());
    drives[0].DriveLetterMap = 1 << 3;
    wait(machine, 6 * kSecond);
    EXPECT_STREQ(R"({"code":1,"diskName":"ACME NV"})", getDiskNameWhichOsInstalled());
}

TEST(DiskExports, EachStartOfComIsGivenBack) {
    constexpr platform::ErrorCode otherModel = 0x80010106; // RPC_E_CHANGED_MODE, which started nothing
    for (const platform::ErrorCode started : {platform::kSuccess, platform::kComFalse, otherModel}) {
        MachineWith machine(hardDisk());
        machine->requests().plan({"initializeCom", 1, started, 0});
        ASSERT_EQ(1, initDisk());
        EXPECT_EQ(started == otherModel ? 0 : 1,
                  std::ranges::count(machine->requests().record(), "uninitializeCom"));
    }
}

/// The list would be one of those drives that were met while there were descriptors.
TEST(DiskExports, ASearchWithoutDescriptorsIsRunAnew) {
    constexpr platform::ErrorCode many = platform::kTooManyOpenFiles, ofService = 0x80070004;
    const platform::Fault faults[] = {{"openDevice", 1, many},         {"openDevice", 30, many},
                                      {"deviceControl", 1, many},      {"deviceControl", 4, many},
                                      {"connectServer", 1, ofService}, {"execQuery", 1, ofService}};
    for (const platform::Fault& fault : faults) {
        SCOPED_TRACE(fmt::format("{} {}", fault.operation, fault.nth));
        MachineWith machine(hardDisk());
        machine->requests().plan(fault);
        EXPECT_EQ(-1, initDisk());
        EXPECT_STREQ("too many open files", getLastError());
        ASSERT_EQ(1, initDisk());
        // With the list there, the drive does not answer, as after any failure.
        wait(machine, 6 * kSecond);
        machine->requests().plan({"openDevice", 0, platform::kTooManyOpenFiles});
        EXPECT_EQ(35.0, getDiskTemperature(0));
        EXPECT_EQ(platform::kTooManyOpenFiles, processWide<CAtaSmart>().vars[0].answering.failure);
    }
}

/// A drive that is read once, changed, and read anew: what goes wrong in the refresh, what is known after it,
/// the wake-ups, and the failure that is told.
TEST(UpdateSmartInfo, WakesWhatMaySleepAndKeepsWhatItHasAfterAFailure) {
    const std::tuple<std::string, const char*, int, int, platform::ErrorCode> cases[] = {
        {"ataPassThrough", "", 50, 0, platform::kSuccess},
        {"ataPassThrough", R"({"path": "ataPassThrough", "nth": 1, "error": 121})", 50, 1,
         platform::kSuccess},
        {"ataPassThrough", R"({"path": "ataPassThrough", "data": "00"})", 35, 1, platform::kSuccess},
        {"sat", "", 50, 1, platform::kSuccess},
        {"sat", R"({"path": "sat", "error": 1117})", 35, 1, platform::kIoDevice},
    };
    for (const auto& [path, answers, degrees, wakeUps, failure] : cases) {
        SCOPED_TRACE(path + answers);
        DriveOnMachine on(ataDrive('"' + path + '"', 0xA0,
                                   changedAt("1", smartAt(50) + R"(, "answers": [)" + answers + "]")));
        on.engine->UseStandardPaths();
        ASSERT_TRUE(on.engine->SearchPhysicalDrive(1));
        const AtaSmartInfo before = on.engine->vars[0];
        wait(on.machine, 2 * kSecond);
        on.machine->requests().clearRecord();
        on.engine->UpdateSmartInfo(0);
        const AtaSmartInfo& now = on.engine->vars[0];
        const bool newer = now.answering.lastAnswerNs > before.answering.lastAnswerNs;
        EXPECT_EQ(std::tuple(degrees, before.AttributeCount, degrees == 50, degrees == 50, failure),
                  std::tuple(now.Temperature, now.AttributeCount, now.answering.answers, newer,
                             now.answering.failure));
        EXPECT_EQ(wakeUps, std::ssize(on.machine.asked("deviceRead")));
        on.machine->requests().clearRecord();
        on.engine->vars[0].IsSmartCorrect = 0;
        on.engine->UpdateSmartInfo(0);
        on.engine->UpdateSmartInfo(1);
        EXPECT_THAT(on.machine->requests().record(), IsEmpty());
    }
}

TEST(UpdateSmartInfo, AnNvmePageIsBelievedUpToTwoHundredDegrees) {
    const auto pageAt = [](int degrees, std::uint8_t used) {
        return R"("health": ")" + hexOf(healthOf(static_cast<std::uint16_t>(273 + degrees), used)) + '"';
    };
    const std::string pages =
        R"({"atSeconds": 1, )" + pageAt(200, 100) + R"(}, {"atSeconds": 2, )" + pageAt(201, 3);
    DriveOnMachine on(
        nvmeDrive(R"("storageQuery")",
                  R"(, "changes": [)" + pages +
                      R"(}, {"atSeconds": 3, "present": false}, {"atSeconds": 4, "present": true}])"));
    ASSERT_TRUE(on.engine->SearchPhysicalDrive(1));
    AtaSmartInfo& asi = on.engine->vars[0];
    for (const auto& [degrees, life] : {std::pair(200, 0), std::pair(kNoTemperature, 97)}) {
        wait(on.machine, 1 * kSecond);
        on.engine->UpdateSmartInfo(0);
        EXPECT_EQ(std::pair(degrees, life), std::pair(asi.Temperature, asi.Life));
        EXPECT_EQ(100 - life, asi.Attribute[4].RawValue[0]);
    }
    wait(on.machine, 1 * kSecond);
    asi.Attribute[4] = {};
    asi.DiskStatus = DISK_STATUS_BAD;
    on.engine->UpdateSmartInfo(0);
    EXPECT_EQ(3, asi.Attribute[4].RawValue[0]) << "out of the page that is held";
    EXPECT_EQ(DISK_STATUS_GOOD, asi.DiskStatus);
    EXPECT_EQ(std::pair(false, platform::kFileNotFound),
              std::pair(asi.answering.answers, asi.answering.failure));
    wait(on.machine, 1 * kSecond);
    on.engine->UpdateSmartInfo(0);
    EXPECT_TRUE(asi.answering.answers) << "it is back";
}

} // namespace
} // namespace orv::test
