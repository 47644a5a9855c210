// A drive's blocks to a record: classified and filled, for one drive and for as many as the engine keeps. The
// blocks are those of a sample drive; no device is asked. Then the exports, log included: on described
// machines, and the throughput of a drive of this machine.

#include "disk/Disk.h"
#include "disk_engine/CAtaSmart.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/record/DriveRecord.h"
#include "drive_reading/DriveReading.h"
#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace orv;

void readFile(const std::string& name, std::span<std::uint8_t> block) {
    std::ifstream file(HWPROBE_SOURCE_DIR "/machines/drives/" + name, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(block.size())))
        throw std::runtime_error("cannot read " + name);
}

AtaSmartInfo sample(const std::string& name) {
    AtaSmartInfo asi = startRecord({.commandType = CMD_TYPE_PHYSICAL_DRIVE});
    std::uint8_t identify[kIdentifyBytes];
    readFile(name + ".identify", identify);
    readFile(name + ".smart", asi.SmartReadData);
    readFile(name + ".thresholds", asi.SmartReadThreshold);
    readIdentifyTexts(asi, IdentifyBlock(identify));
    interpretIdentify(asi, IdentifyBlock(identify));
    return asi;
}

void fillAndClassify(AtaSmartInfo& asi) {
    FillSmartData(asi);
    ClassifyDrive(asi);
    FillSmartThreshold(asi);
    benchmark::DoNotOptimize(CheckDiskStatus(asi));
}

void oneDrive(benchmark::State& state, const char* name) {
    AtaSmartInfo asi = sample(name);
    for (auto _ : state)
        fillAndClassify(asi);
}

void drives(benchmark::State& state) {
    std::vector<AtaSmartInfo> vars(static_cast<std::size_t>(state.range(0)), sample("silicon-motion"));
    for (auto _ : state)
        for (AtaSmartInfo& asi : vars)
            fillAndClassify(asi);
    state.SetComplexityN(state.range(0));
}

/// What so many drives say beside their dialects' rules, each with its log of device statistics.
void readings(benchmark::State& state) {
    AtaSmartInfo asi = sample("samsung-860-evo");
    Explanation why;
    ClassifyDrive(asi, &why);
    FillSmartData(asi, &why);
    CheckDiskStatus(asi, &why);
    const std::vector<AtaSmartInfo> vars(static_cast<std::size_t>(state.range(0)), asi);
    constexpr std::size_t page = 512;
    std::vector<std::uint8_t> log(4 * page);
    const auto put = [&](std::size_t at, std::uint64_t value) {
        std::memcpy(log.data() + at, &value, sizeof value);
    };
    // The revision and the number of each page, then the statistics with their heads: supported and valid.
    constexpr std::uint64_t valid = std::uint64_t{0xC0} << 56;
    for (const auto& [index, number] : {std::pair<std::size_t, std::uint64_t>{0, 0}, {1, 1}, {2, 5}, {3, 7}})
        put(index * page, 1 | number << 16);
    put(8, 0x07'05'01'00'04); // the list
    for (const auto& [at, value] : {std::pair<std::size_t, std::uint64_t>{page + 8, 622},
                                    {page + 16, 11873},
                                    {page + 24, 59301846221},
                                    {page + 40, 35586159844},
                                    {2 * page + 8, 32},
                                    {3 * page + 8, 6}})
        put(at, value | valid);
    constexpr std::int64_t unixNow = 1'764'000'000;
    for (auto _ : state)
        for (const AtaSmartInfo& each : vars)
            benchmark::DoNotOptimize(readingOf(each, why, {log, false}, unixNow));
}

/// A drive of this machine, HWPROBE_BENCH_DRIVE, read by every command that a record takes, and interpreted.
void readDrive(benchmark::State& state) {
    const char* number = std::getenv("HWPROBE_BENCH_DRIVE");
    if (!number) return state.SkipWithError("set HWPROBE_BENCH_DRIVE to a drive's number");
    CAtaSmart engine;
    engine.UseStandardPaths();
    for (auto _ : state) {
        engine.vars.clear();
        if (!engine.SearchPhysicalDrive(std::atoi(number)))
            return state.SkipWithError("the drive gives no record");
        benchmark::DoNotOptimize(engine.CheckDiskStatus(0));
    }
}

/// A described machine in use for a benchmark, with so many hard disks that differ in their serial number.
/// Those beyond the numbers that are searched have rows in the management data.
class DriveMachine {
  public:
    explicit DriveMachine(std::int64_t drives) : DriveMachine(text(drives)) {}
    explicit DriveMachine(const std::string& text) : machine_(platform::Machine::fromText(text)) {
        setConsole(Console::off); // its cost is the terminal's
        platform::use(*machine_);
        ProcessState::renew();
    }
    ~DriveMachine() {
        platform::use(former_);
        ProcessState::renew();
    }

  private:
    static std::string text(std::int64_t drives) {
        const std::string blocks = std::string(HWPROBE_SOURCE_DIR) + "/machines/drives/hard-disk.";
        std::string list;
        for (std::int64_t i = 0; i < drives; ++i)
            list += fmt::format(
                R"({}{{"number": {}, "pnpDeviceId": "SCSI\\DISK\\{}", "serialNumber": "S{}", "paths": ["ataPassThrough"],)"
                R"("performance": {{}}, "identify": {{"file": "{}identify"}},)"
                R"("smart": {{"file": "{}smart"}}, "thresholds": {{"file": "{}thresholds"}}}})",
                i ? "," : "", i, i, i, blocks, blocks, blocks);
        return R"({"name": "drives", "drives": [)" + list + "]}";
    }

    platform::Platform& former_ = platform::current();
    std::unique_ptr<platform::Machine> machine_;
};

/// The drives behind a MegaRAID controller, by their firmware's list: each identified, its SMART data read
/// twice.
void megaRaid(benchmark::State& state) {
    const std::string blocks = std::string(HWPROBE_SOURCE_DIR) + "/machines/drives/hard-disk.";
    std::string list;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        list += fmt::format(
            R"({}{{"scsiAddress": {{"port": 0, "target": {}}}, "serialNumber": "S{}", "paths": ["megaRaid"],)"
            R"("identify": {{"file": "{}identify"}}, "smart": {{"file": "{}smart"}},)"
            R"("thresholds": {{"file": "{}thresholds"}}}})",
            i ? "," : "", i, i, blocks, blocks, blocks);
    const DriveMachine machine(R"({"name": "raid", "raidPorts": [{"port": 0, "megaRaid": {}}], "drives": [)" +
                               list + "]}");
    CAtaSmart engine;
    engine.UseStandardPaths();
    for (auto _ : state) {
        engine.vars.clear();
        engine.AddDiskMegaRaid(0);
        if (static_cast<std::int64_t>(engine.vars.size()) != state.range(0))
            return state.SkipWithError("not every drive was found");
    }
}

void initDisk(benchmark::State& state) {
    const DriveMachine machine(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        ProcessState::renew();
        state.ResumeTiming();
        if (::initDisk() != state.range(0)) return state.SkipWithError("not every drive was found");
    }
}

/// Within the five seconds in which the drive is left alone.
void diskTemperature(benchmark::State& state) {
    const DriveMachine machine(1);
    ::initDisk();
    for (auto _ : state)
        benchmark::DoNotOptimize(getDiskTemperature(0));
}

/// A drive of this machine, HWPROBE_BENCH_DRIVE or the first; a call a millisecond at most gives an answer.
void readWriteSpeed(benchmark::State& state) {
    const char* number = std::getenv("HWPROBE_BENCH_DRIVE");
    setConsole(Console::off);
    DiskSnapshot snapshot;
    snapshot.PhysicalDriveId = number ? std::atoi(number) : 0;
    Disk disk(snapshot);
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(disk.GetReadWriteSpeed());
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

BENCHMARK(readDrive);
BENCHMARK(initDisk)->Arg(1)->Arg(10)->Arg(static_cast<std::int64_t>(kMaxDrives));
BENCHMARK(megaRaid)->Arg(1)->Arg(64);
BENCHMARK(diskTemperature);
BENCHMARK(readWriteSpeed)->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(oneDrive, hardDisk, "hard-disk");
BENCHMARK_CAPTURE(oneDrive, mx500, "crucial-mx500");
BENCHMARK_CAPTURE(oneDrive, siliconMotion, "silicon-motion");
BENCHMARK(readings)->Arg(static_cast<std::int64_t>(kMaxDrives));
BENCHMARK(drives)->Arg(10)->Arg(20)->Arg(40)->Arg(static_cast<std::int64_t>(kMaxDrives))->Complexity();

} // namespace
