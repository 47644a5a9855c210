// One EEPROM over the controller of a described machine (its clock moves by itself, so the fixed delays cost
// nothing), the decoders, and the whole report. Log lines included, the console off.

#include "SMBUS/SMBUS.h"
#include "frame/border/globals.h"
#include "memory/SPD.h"
#include "orvane/hwprobe.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

using orv::platform::Machine;

class OnMachine {
  public:
    explicit OnMachine(std::unique_ptr<Machine> machine) : machine_(std::move(machine)) {
        orv::setConsole(orv::Console::off);
        orv::platform::use(*machine_);
        orv::ProcessState::renew();
    }
    ~OnMachine() { orv::ProcessState::renew(); }

  private:
    std::unique_ptr<Machine> machine_;
};

/// One module on an AMD controller.
std::unique_ptr<Machine> withModule(const char* kind, int type) {
    return Machine::fromText(fmt::format(
        R"({{"name": "bench", "processor": {{"vendor": "AuthenticAMD", "highestLeaf": 1}}, "ring0": {{}},
        "smbus": {{"controller": "amd", "base": "0x0B00", "eeproms": [{{"address": "0xA0", "kind": "{}"}}]}},
        "management": {{"Win32_PhysicalMemory": [{{"SMBIOSMemoryType": {}}}]}}}})",
        kind, type));
}

void readSpd(benchmark::State& state, const char* kind, int type) {
    OnMachine machine(withModule(kind, type));
    for (auto _ : state)
        benchmark::DoNotOptimize(orv::memory::readSPD());
}
BENCHMARK_CAPTURE(readSpd, ddr4_512_bytes, "DDR4", 26)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(readSpd, ddr5_1024_bytes, "DDR5", 34)->Unit(benchmark::kMicrosecond);

void decodeTiming(benchmark::State& state, std::size_t size, std::size_t clockAt, std::size_t latencyAt,
                  std::wstring (*decode)(const orv::memory::Spd&)) {
    orv::memory::Spd spd(size);
    spd[clockAt] = 5;
    spd[latencyAt] = 0x80;
    for (auto _ : state)
        benchmark::DoNotOptimize(decode(spd));
}
BENCHMARK_CAPTURE(decodeTiming, ddr4, 512, 18, 21, orv::memory::parseDDR4TimingBySPD);
BENCHMARK_CAPTURE(decodeTiming, ddr5, 1024, 20, 25, orv::memory::parseDDR5TimingBySPD);

void memoryReport(benchmark::State& state, const char* sample) {
    OnMachine machine(Machine::fromFile(fmt::format(HWPROBE_SOURCE_DIR "/machines/{}.json", sample)));
    for (auto _ : state)
        benchmark::DoNotOptimize(getMemoryManufacturerAndModel());
}
BENCHMARK_CAPTURE(memoryReport, two_ddr4_modules, "intel-desktop")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(memoryReport, two_ddr5_modules, "amd-ryzen-desktop")->Unit(benchmark::kMillisecond);

} // namespace
