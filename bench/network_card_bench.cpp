// The network cards on a described machine, log included: the first call, which looks for them, and the later
// ones, which write the report again.

#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>

namespace {

void netCardMessage(benchmark::State& state, bool first) {
    const auto machine = orv::platform::Machine::fromFile(HWPROBE_SOURCE_DIR "/machines/laptop.json");
    orv::setConsole(orv::Console::off); // its cost is the terminal's
    orv::platform::use(*machine);
    orv::ProcessState::renew();
    for (auto _ : state) {
        if (first) orv::ProcessState::renew();
        benchmark::DoNotOptimize(getNetCardMessage());
    }
    orv::ProcessState::renew();
}
BENCHMARK_CAPTURE(netCardMessage, first, true);
BENCHMARK_CAPTURE(netCardMessage, later, false);

} // namespace
