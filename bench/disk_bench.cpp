// A drive's blocks to a record: classified and filled, for one drive and for as many as the engine keeps. The
// blocks are those of a sample drive; no device is asked.

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DriveRecord.h"
#include "disk_engine/Interpretation.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

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

BENCHMARK(readDrive);
BENCHMARK_CAPTURE(oneDrive, hardDisk, "hard-disk");
BENCHMARK_CAPTURE(oneDrive, mx500, "crucial-mx500");
BENCHMARK_CAPTURE(oneDrive, siliconMotion, "silicon-motion");
BENCHMARK(drives)->Arg(10)->Arg(20)->Arg(40)->Arg(static_cast<std::int64_t>(kMaxDrives))->Complexity();

} // namespace
