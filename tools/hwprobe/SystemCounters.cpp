#include "SystemCounters.h"

#include "cpu/cpu.h"
#include "state/ProcessState.h"

#include <exception>
#include <optional>

namespace tool {

namespace {

using namespace orv;

/// Counts the clock without knowing the processor.
struct UnknownCpu {
    DefaultCpu cpu{CpuInfo{}};
};

/// Its own failure, as of the counters, is told by the export.
bool hasClass() {
    try {
        GetCpuInstance();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

std::optional<double> bySystem(std::string_view name) {
    const bool load = name == "getCpuLoad";
    if ((!load && name != "getCpuFrequency") || hasClass()) return std::nullopt;
    try {
        return load ? Cpu::GetCpuLoad() : processWide<UnknownCpu>().cpu.GetCpuSpeed();
    } catch (const std::exception&) {
        return std::nullopt; // the counters tell nothing either
    }
}

} // namespace

Outcome read(const Export& entry, std::uint32_t index) {
    Outcome outcome = run(entry, index);
    if (outcome.failed) outcome.bySystem = bySystem(entry.name);
    return outcome;
}

} // namespace tool
