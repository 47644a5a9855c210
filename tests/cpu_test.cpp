// The processor from detection to its four readings, over described machines.

#include "cpu/cpu.h"
#include "cpu/cpuFrequency.h"
#include "cpu/cpu_info.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::test {
namespace {

constexpr std::int64_t kMillisecond = 1'000'000; // ns

/// A machine whose "processor" holds the text, with further sections.
TestMachine described(const std::string& processor, const std::string& more = "") {
    return TestMachine(R"({"name": "m", "processor": {)" + processor + "}" + more + "}");
}

TEST(CpuSamples, GiveWhatTheirRegistersHold) {
    // Temperature, base clock, load of one second (the second one of the counters' steps), and speed, which
    // is performance * frequency / 100. The temperatures: the mean of 55 61 60 56 and of 52 50 51 49; 0x62
    // less 49; eighths of a degree twice; 106.5 less 49 by the range bit. The last one's counter runs at 3593
    // MHz: 54 * 66666.66 kHz is the nearest multiple of a bus clock.
    constexpr std::tuple<const char*, double, int, double, double> rows[] = {
        {"intel-desktop", 58.0, 3600, 0.25, 4320.0}, {"laptop", 50.5, 2000, 0.12, 1500.0},
        {"amd-k8", 49.0, 2000, 0.50, 2000.0},        {"amd-k10", 47.5, 3200, 0.30, 3200.0},
        {"amd-apu", 52.25, 2100, 0.20, 2310.0},      {"amd-ryzen-desktop", 57.5, 3600, 0.10, 4140.0},
    };
    for (const auto& [name, temperature, baseClock, load, speed] : rows) {
        SCOPED_TRACE(name);
        TestMachine machine = TestMachine::sample(name);
        EXPECT_EQ(baseClock, getCpuBaseFrequency());
        EXPECT_EQ(temperature, getCpuTemperature());
        EXPECT_EQ(0.0, getCpuFrequency());
        EXPECT_DOUBLE_EQ(speed, getCpuFrequency());
        EXPECT_EQ(0.0, getCpuLoad());
        machine->machineClock().sleepNs(100 * kMillisecond); // still in the first step of the load
        EXPECT_DOUBLE_EQ(load, getCpuLoad());
        releaseRing0();
        EXPECT_EQ(-1.0, getCpuTemperature());
        EXPECT_THAT(getLastError(), HasSubstr(": WinRing0 has been released"));
        EXPECT_DOUBLE_EQ(speed, getCpuFrequency());
    }
}

TEST(CpuSamples, TheIndexWriteAndTheDataReadStandAloneBetweenWaitAndRelease) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"amd-k8", "WritePciConfigDwordEx 00:18.3 0xe4 0x4", "ReadPciConfigDwordEx 00:18.3 0xe4"},
        {"amd-apu", "WritePciConfigDwordEx 00:00.0 0xb8 0xd8200ca4", "ReadPciConfigDwordEx 00:00.0 0xbc"},
        {"amd-ryzen-desktop", "WritePciConfigDwordEx 00:00.0 0x60 0x59800",
         "ReadPciConfigDwordEx 00:00.0 0x64"},
    };
    for (const auto& [sample, write, read] : rows) {
        SCOPED_TRACE(sample);
        TestMachine machine = TestMachine::sample(sample);
        ASSERT_GT(getCpuTemperature(), 0.0);
        machine->requests().clearRecord();
        ASSERT_GT(getCpuTemperature(), 0.0);
        EXPECT_THAT(machine->requests().record(),
                    ElementsAre("architecture", "WaitForSingleObject Global\\Access_PCI", write, read,
                                "ReleaseMutex Global\\Access_PCI"));
    }
}

TEST(CpuInfo, CountsTheRecordsAndDecodesTheVersion) {
    TestMachine machine = TestMachine::sample("intel-desktop");
    const CpuInfo info = GetCpuInfo();
    EXPECT_EQ(CpuVendor::intel, info.vendor);
    // Level 1: data and instructions.
    EXPECT_THAT((std::vector<std::uint32_t>{info.processorPackageCount, info.numaNodeCount,
                                            info.processorCoreCount, info.logicalProcessorCount,
                                            info.processorL1CacheSize, info.processorL2CacheSize,
                                            info.processorL3CacheSize, info.family, info.model}),
                ElementsAre(1, 1, 4, 8, 4 * 65536, 4 * 262144, 8388608, 6, 0x9E));
    EXPECT_EQ("Intel(R) Core(TM) i7 Desktop CPU @ 3.60GHz", info.name);
}

TEST(CpuInfo, OddProcessorsAndFailures) {
    {
        // No leaf above 0, a cache of level 4, no brand.
        TestMachine machine = described(R"("vendor": "GenuineIntel", "highestLeaf": 0, "apicIds": [0],
            "records": [{"relationship": 2, "mask": 1, "level": 4, "size": 9}])");
        EXPECT_EQ(CpuVendor::unknown, GetCpuVendor());
        EXPECT_EQ(-1, GetCoreIdByAffinityMask(1));
        EXPECT_EQ(0, getCpuBaseFrequency()); // a counter that stands still
        EXPECT_EQ(-1.0, getCpuTemperature());
        EXPECT_THAT(getLastError(), HasSubstr(": unknown cpu, not support temperature"));
    }
    TestMachine machine = TestMachine::sample("laptop");
    machine->requests().plan({"GetLogicalProcessorInformation", 2, platform::kAccessDenied, 0});
    EXPECT_EQ(-1, getCpuBaseFrequency());
    EXPECT_THAT(getLastError(), HasSubstr(": Error: error code: 5 "));
    EXPECT_EQ(2000, getCpuBaseFrequency());
}

TEST(CoreId, DividesTheApicIdByVendor) {
    // APIC id, ids of a package, highest leaf, the leaf that tells how the id divides, and the core.
    using Number = std::uint32_t;
    const std::tuple<const char*, Number, Number, Number, const char*, std::int32_t> rows[] = {
        // 16 ids of 8 cores: one bit for the thread, three for the core; the package's bits go.
        {"GenuineIntel", 27, 16, 4, R"({"leaf": 4, "eax": "0x1C000000"})", 5},
        // Where the processor does not name leaf 4, a package is one core.
        {"GenuineIntel", 5, 8, 3, R"({"leaf": 4, "eax": "0x1C000000"})", 0},
        // Fewer ids than cores: no bit for the thread.
        {"GenuineIntel", 3, 1, 4, R"({"leaf": 4, "eax": "0x0C000000"})", 3},
        {"AuthenticAMD", 70, 0, 1, R"({"leaf": "0x80000008", "ecx": "0x6003"})", 6},
        {"AuthenticAMD", 70, 0, 1, R"({"leaf": "0x80000008", "ecx": "0x7003"})", 0}, // more than there are
        {"AuthenticAMD", 3, 0, 1, R"({"leaf": "0x80000007"})", 0},
        {"CentaurHauls", 3, 0, 1, R"({"leaf": "0x80000007"})", -1},
    };
    for (const auto& [vendor, apicId, ids, highest, leaf, core] : rows) {
        SCOPED_TRACE(testing::Message() << vendor << " " << apicId << " " << leaf);
        TestMachine machine = described(fmt::format(
            R"("vendor": "{}", "apicIds": [{}], "highestLeaf": {}, "leaves": [{{"leaf": 1, "ebx": {}}}, {}])",
            vendor, apicId, highest, ids << 16, leaf));
        EXPECT_EQ(core, GetCoreIdByAffinityMask(1));
        EXPECT_EQ("SetThreadAffinityMask 0x1", machine->requests().record().back()); // put back
    }
}

TEST(CpuIntel, ReadsEachCoreOnceThroughItsLastThread) {
    TestMachine machine = TestMachine::sample("intel-desktop");
    getCpuTemperature();
    const auto& record = machine->requests().record();
    EXPECT_EQ(4U, machine.asked("RdmsrTx").size());
    EXPECT_THAT(record, testing::IsSupersetOf({"RdmsrTx 0x19c 0x2", "RdmsrTx 0x19c 0x80"}));
    // A register that is refused gives its own value and leaves the last error alone.
    machine->requests().plan({"RdmsrTx", 0, platform::kAccessDenied, 0});
    EXPECT_EQ(4294967295.0, getCpuTemperature());
    EXPECT_STREQ("", getLastError());
}

TEST(CpuIntel, TheSumOfTheSensorsGoesByTheCoresOfTheRecords) {
    // Two logical processors in four records of cores; both read 100 less 7 bits of ones: -27.
    TestMachine machine =
        described(R"("vendor": "GenuineIntel", "apicIds": [0, 1],
        "leaves": [{"leaf": 1, "ebx": "0x00020000"}, {"leaf": 4, "eax": "0x04000000"}],
        "records": [{"relationship": 0, "mask": 1}, {"relationship": 0, "mask": 2},
                    {"relationship": 0, "mask": 0}, {"relationship": 0, "mask": 0}])",
                  R"(, "ring0": {"msrs": [{"index": "0x19C", "value": "0xFFFFFFFF88FF0000"}]})");
    EXPECT_EQ(-13.5, getCpuTemperature());
}

TEST(CpuAmd, EachFailureHasItsText) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"amd-k8", "WaitForSingleObject", ": WaitPciBus failed: 4294967295"},
        {"amd-ryzen-desktop", "WaitForSingleObject", ": Failed to wait for PCI bus mutex"},
        {"amd-apu", "WaitForSingleObject", ": Failed to read PCI config dword"},
        {"amd-k8", "WritePciConfigDwordEx", ": WritePciConfigDwordEx failed"},
        {"amd-apu", "WritePciConfigDwordEx", ": Failed to read PCI config dword"},
        {"amd-k8", "ReleaseMutex", ": ReleaseMutex failed: error code: 5 "},
        {"amd-ryzen-desktop", "WritePciConfigDwordEx", ": Failed to write PCI config dword, error code: 5 "},
    };
    for (const auto& [sample, request, text] : rows) {
        SCOPED_TRACE(std::string(sample) + " " + request);
        TestMachine machine = TestMachine::sample(sample);
        const double good = getCpuTemperature();
        machine->requests().plan({request, 0, platform::kAccessDenied, 0});
        EXPECT_EQ(-1.0, getCpuTemperature());
        EXPECT_THAT(getLastError(), HasSubstr(text));
        machine->requests().clearFaults();
        EXPECT_EQ(good, getCpuTemperature());
    }
}

TEST(CpuAmd, FamilyAndModelChooseTheReader) {
    // K8: sensor 0 reads 100, sensor 4 reads 101. K10: 10.0 in the register, 20.0 behind the SMU. Zen: 32.0.
    const std::string pci = R"(, "ring0": {"pci": [{"address": "00:18.3", "registers": [
        {"at": 0, "value": "NORTHBRIDGE"}, {"at": "0xA4", "value": "0x0A000000"}],
        "pairs": [{"index": "0xE4", "data": "0xE4", "registers":
            [{"at": 0, "value": "0x00640000"}, {"at": 4, "value": "0x00650000"}]}]},
        {"address": "00:00.0", "pairs": [
            {"index": "0xB8", "data": "0xBC", "registers": [{"at": "0xD8200CA4", "value": "0x14000000"}]},
            {"index": "0x60", "data": "0x64", "registers": [{"at": "0x59800", "value": "0x20000000"}]}]}]})";
    constexpr double kNoReader = -1;
    constexpr double kNoRegister = -2;
    const std::tuple<std::uint32_t, std::uint32_t, const char*, double> rows[] = {
        {0x0F, 0x27, "0x11031022", 51},          {0x0F, 0x28, "0x11031022", 52},
        {0x0F, 0x69, "0x11031022", 73},          {0x0F, 0xC1, "0x11031022", 52},
        {0x10, 0x04, "0x12031022", 10},          {0x15, 0x38, "0x141D1022", 10},
        {0x15, 0x65, "0x15731022", 20},          {0x16, 0x30, "0x15831022", 10},
        {0x15, 0x20, "0x00001022", 10},          {0x19, 0x01, "0x00001022", 32},
        {0x15, 0x20, "0x16031022", kNoRegister}, {0x18, 0x01, "0x00001022", kNoReader},
        {0x0F, 0x27, "0x16031022", kNoRegister},
    };
    for (const auto& [family, model, northbridge, temperature] : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << family << "/" << model << " " << northbridge);
        const std::uint32_t version = (family - 15) << 20 | (model >> 4) << 16 | 0xF00 | (model & 15) << 4;
        std::string registers = pci;
        registers.replace(registers.find("NORTHBRIDGE"), 11, northbridge);
        TestMachine machine = described(R"("vendor": "AuthenticAMD", "leaves": [{"leaf": 1, "eax": )" +
                                            std::to_string(version) + "}]",
                                        registers);
        EXPECT_EQ(std::max(temperature, -1.0), getCpuTemperature());
        if (temperature == kNoRegister) {
            EXPECT_THAT(getLastError(), HasSubstr(": miscellaneousControlAddress is not initialized"));
        }
        EXPECT_EQ(temperature == kNoReader ? -1 : 0, getCpuBaseFrequency());
        if (temperature == kNoReader) {
            EXPECT_EQ(-1.0, getCpuLoad());
            EXPECT_THAT(getLastError(), HasSubstr(": AMD family not support: " + std::to_string(family)));
        }
        // Whether a class fits or not, the clock is measured and the topology read once.
        EXPECT_EQ(1, std::ranges::count(machine->requests().record(), "findLogicalProcessorInformation"));
        EXPECT_EQ(1, std::ranges::count(machine->requests().record(), "timeGetDevCaps"));
    }
}

TEST(CpuLoad, EveryStepMayFailAndTheSampleBeforeIsKept) {
    for (const std::string step : {"OpenQuery", "AddCounter", "CollectQueryData", "GetRawCounterValue",
                                   "CalculateCounterFromRawValue"}) {
        SCOPED_TRACE(step);
        std::string request = step;
        request[0] += 'a' - 'A';
        TestMachine machine = TestMachine::sample("intel-desktop");
        getCpuLoad();
        machine->machineClock().sleepNs(4000 * kMillisecond); // 60 percent through all of the last seconds
        getCpuLoad();
        machine->machineClock().sleepNs(50 * kMillisecond);
        machine->requests().clearRecord();
        machine->requests().plan({request, 0, platform::kAccessDenied, 0});
        EXPECT_EQ(-1.0, getCpuLoad());
        EXPECT_THAT(getLastError(), HasSubstr(": Pdh" + step + " failed, error code: 5 "));
        const auto& record = machine->requests().record();
        EXPECT_EQ(step == "OpenQuery" ? 0 : 1, std::ranges::count(record, "closeQuery"));
        machine->requests().clearFaults();
        EXPECT_DOUBLE_EQ(0.6, getCpuLoad());
    }
}

TEST(CpuLoad, AFirstValueOfNothingIsNoSample) {
    TestMachine machine =
        described("", R"(, "counters": {"utilityStart": 0, "utility": [{"fromMs": 9000, "value": 50}]})");
    EXPECT_EQ(0.0, getCpuLoad());
    machine->machineClock().sleepNs(9000 * kMillisecond);
    EXPECT_EQ(0.0, getCpuLoad()); // the first real sample
    machine->machineClock().sleepNs(1000 * kMillisecond);
    EXPECT_DOUBLE_EQ(0.5, getCpuLoad());
}

TEST(CpuSpeed, FailuresOfSetUpAndSampling) {
    const std::string reading = ": PdhGetFormattedCounterValue ";
    const std::tuple<const char*, std::uint64_t, std::string, std::string> rows[] = {
        {"openQuery", 1, ": PdhOpenQuery failed, ", ""}, // the next call sets it up
        {"addCounter", 1, ": PdhAddCounter Performance failed, ", reading + "cpuPerformance failed, "},
        {"addCounter", 2, ": PdhAddCounter Frequency failed, ", reading + "cpuBasicSpeed failed, "},
    };
    for (const auto& [request, nth, first, later] : rows) {
        TestMachine machine = TestMachine::sample("intel-desktop");
        machine->requests().plan({request, nth, platform::kAccessDenied, 0});
        EXPECT_EQ(-1.0, getCpuFrequency());
        EXPECT_THAT(getLastError(), HasSubstr(first));
        EXPECT_EQ(later.empty() ? 0.0 : -1.0, getCpuFrequency());
        EXPECT_THAT(getLastError(), HasSubstr(later));
    }
}

TEST(Clock, SnapsTheFirstMeasurementAndTakesTheSecondRaw) {
    // missing: the clock that fails
    const std::tuple<std::uint32_t, const char*, const char*> rows[] = {
        {2394000, "", "2400MHz, Freq: 2400MHz, RealFreq: 2394MHz"},
        {1333000, "", "1333MHz, Freq: 1333MHz, RealFreq: 1333MHz"}, // 27 * 50000 is further away
        {1449000, "", "1450MHz, Freq: 1450MHz, RealFreq: 1449MHz"}, // and here 22 * 66666.66
        // Above its nearest multiples, 52 * 50000 and 39 * 66666.66: the lower one wins by its sign.
        {2612345, "", "2613MHz, Freq: 2600MHz, RealFreq: 2613MHz"},
        {2612345, "timeGetDevCaps", "2613MHz, Freq: 0MHz, RealFreq: 2613MHz"},
    };
    for (const auto& [tscKHz, missing, line] : rows) {
        SCOPED_TRACE(line);
        TestMachine machine = described("\"tscKHz\": " + std::to_string(tscKHz));
        if (*missing) machine->requests().plan({missing, 0, platform::kAccessDenied, 0});
        CapturedLog log({&cpuFrequencyLogger});
        CCpuInfo::GetCPUSpeed();
        EXPECT_THAT(log.lines(), ElementsAre(std::string("info CCpuInfo::GetCPUSpeed: ") + line));
        EXPECT_EQ("setPriorities 0x20 0", machine->requests().record().back()); // as it was
    }
}

TEST(Clock, MeasuresAtTheHighestPriorityWithTheLargestPeriod) {
    TestMachine machine = described(R"("tscKHz": 2000000)");
    const std::int64_t before = machine->machineClock().now();
    CCpuInfo::GetCPUSpeed();
    EXPECT_NEAR(562.5, static_cast<double>(machine->machineClock().now() - before) / kMillisecond, 2.0);
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("timeGetDevCaps", "setPriorities 0x100 15", "timeBeginPeriod 1000000",
                            "timeEndPeriod 1000000", "setPriorities 0x20 0", "queryPerformanceFrequency",
                            "setPriorities 0x100 15", "queryPerformanceFrequency", "setPriorities 0x20 0"));
}

} // namespace
} // namespace orv::test
