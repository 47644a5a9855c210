// A battery's report on a described machine, log included.

#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>

namespace {

void batteryAllMessage(benchmark::State& state) {
    const auto machine = orv::platform::Machine::fromFile(HWPROBE_SOURCE_DIR "/machines/laptop.json");
    orv::setConsole(orv::Console::off); // its cost is the terminal's
    orv::platform::Platform& former = orv::platform::current();
    orv::platform::use(*machine);
    orv::ProcessState::renew();
    if (initBattery() != 1) state.SkipWithError("the laptop has one battery that answers");
    for (auto _ : state)
        benchmark::DoNotOptimize(getBatteryAllMessage(0));
    orv::platform::use(former);
    orv::ProcessState::renew();
}
BENCHMARK(batteryAllMessage);

} // namespace
