// Load and speed over the running system, log included; a peer's calls stand in peers/processor.py. The core
// number of a logical processor over a described machine of 64 threads.

#include "cpu/cpu.h"
#include "cpu/cpu_info.h"
#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

using orv::platform::Machine;

/// A state of its own for a benchmark, with the console off: its cost is the terminal's.
class FreshState {
  public:
    FreshState() {
        orv::setConsole(orv::Console::off);
        orv::ProcessState::renew();
    }
    ~FreshState() { orv::ProcessState::renew(); }
};

/// What getCpuLoad does once the processor is detected, which some processors never are.
void cpuLoad(benchmark::State& state) {
    const FreshState fresh;
    for (auto _ : state)
        benchmark::DoNotOptimize(orv::Cpu::GetCpuLoad());
}
BENCHMARK(cpuLoad);

/// What getCpuFrequency does once the processor is detected.
void cpuFrequency(benchmark::State& state) {
    const FreshState fresh;
    orv::DefaultCpu cpu{orv::CpuInfo{}};
    for (auto _ : state)
        benchmark::DoNotOptimize(cpu.GetCpuSpeed());
}
BENCHMARK(cpuFrequency);

/// The running system with a processor that no class takes: what getCpuLoad costs after the first call.
class UnknownFamily : public orv::platform::LinuxProcessor {
  public:
    using LinuxProcessor::LinuxProcessor;
    orv::platform::CpuidRegisters cpuid(std::uint32_t leaf) override {
        auto registers = LinuxProcessor::cpuid(leaf);
        if (leaf == 0) {
            registers.ebx = 0x68747541; // AuthenticAMD
            registers.edx = 0x69746E65;
            registers.ecx = 0x444D4163;
        }
        if (leaf == 1) registers.eax = 0x00900F00; // family 0x18
        return registers;
    }
};

struct UnknownServices : orv::platform::LinuxServices {
    explicit UnknownServices(std::string root)
        : LinuxServices(std::move(root)), processor(files, processors) {}
    UnknownFamily processor;
};

void processorOfNoClass(benchmark::State& state) {
    orv::platform::Platform& former = orv::platform::current();
    orv::platform::PlatformOf<UnknownServices> system("");
    orv::platform::use(system);
    {
        const FreshState fresh;
        getCpuLoad(); // measures the clock
        for (auto _ : state)
            benchmark::DoNotOptimize(getCpuLoad());
    }
    orv::platform::use(former);
}
BENCHMARK(processorOfNoClass);

std::string machineOf64Threads() {
    std::string ids;
    for (int i = 0; i < 64; ++i)
        ids += fmt::format("{}{}", i == 0 ? "" : ", ", i);
    return fmt::format(R"({{"name": "64 threads", "processor": {{"vendor": "GenuineIntel", "apicIds": [{}],
        "leaves": [{{"leaf": 1, "ebx": "0x00400000"}}, {{"leaf": 4, "eax": "0x7C000000"}}, {{"leaf": "0x1F"}},
        {{"leaf": "0x80000008"}}]}}}})",
                       ids);
}

void coreIdByAffinityMask(benchmark::State& state) {
    const FreshState fresh;
    orv::platform::Platform& former = orv::platform::current();
    const auto machine = Machine::fromText(machineOf64Threads());
    orv::platform::use(*machine);
    std::uint32_t bit = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(orv::GetCoreIdByAffinityMask(1U << (bit++ & 31)));
    orv::platform::use(former);
}
BENCHMARK(coreIdByAffinityMask);

} // namespace
