// The working exports end to end on a described machine, log included, and the adapter-to-row match.

#include "WLAN/WLAN.h"
#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

using orv::platform::Machine;

/// Puts a sample machine in use, with the console off: its cost is the terminal's.
class OnMachine {
  public:
    OnMachine() : machine_(Machine::fromFile(HWPROBE_SOURCE_DIR "/machines/intel-desktop.json")) {
        orv::setConsole(orv::Console::off);
        orv::platform::use(*machine_);
        orv::ProcessState::renew();
    }
    ~OnMachine() { orv::ProcessState::renew(); }
    Machine& operator*() { return *machine_; }

  private:
    std::unique_ptr<Machine> machine_;
};

void memoryLoad(benchmark::State& state) {
    OnMachine machine;
    for (auto _ : state)
        benchmark::DoNotOptimize(getMemoryLoad());
}
BENCHMARK(memoryLoad);

void netCurrentSpeed(benchmark::State& state) {
    OnMachine machine;
    for (auto _ : state) {
        (*machine).machineClock().sleepNs(1'000'000'000);
        benchmark::DoNotOptimize(getNetCurrentSpeed());
    }
}
BENCHMARK(netCurrentSpeed);

void lastError(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(getLastError());
}
BENCHMARK(lastError);

/// 64 adapters by 256 rows; the stage that finds the row decides the cost.
std::vector<orv::platform::InterfaceRow> tableOf(const char* form) {
    std::vector<orv::platform::InterfaceRow> rows;
    for (int i = 0; i < 256; ++i)
        rows.push_back({fmt::format(fmt::runtime(form), i), 0, 0});
    return rows;
}

void match(benchmark::State& state, const char* rowForm) {
    const auto rows = tableOf(rowForm);
    std::vector<std::string> adapters;
    for (int i = 0; i < 64; ++i)
        adapters.push_back(fmt::format("ACME Gigabit Ethernet Controller {:03}", i * 4));
    for (auto _ : state)
        for (const std::string& adapter : adapters)
            benchmark::DoNotOptimize(orv::wlan::rowOf(adapter, rows));
}
BENCHMARK_CAPTURE(match, exact, "ACME Gigabit Ethernet Controller {:03}");
BENCHMARK_CAPTURE(match, containment, "ACME Gigabit Ethernet Controller {:03}-Packet Scheduler");
BENCHMARK_CAPTURE(match, similarity, "ACME Gbit Ethernet Ctrl. No {:03}")->Unit(benchmark::kMillisecond);

} // namespace
