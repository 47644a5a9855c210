#include "Overview.h"

#include "cpu/cpu_info.h"
#include "gpu/Gpu.h"
#include "memory/MemoryStatus.h"

#include <fmt/format.h>

#include <exception>

namespace tool {

namespace {

constexpr char kUnknown[] = "unknown";

std::string counted(std::uint32_t number, const char* thing) {
    return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}

std::string trimmed(std::string text) {
    const auto first = text.find_first_not_of(" \0");
    if (first == text.npos) return {};
    text.erase(std::min(text.find('\0', first), text.size()));
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string processor() {
    const orv::CpuInfo info = orv::GetCpuInfo();
    const std::string name = trimmed(info.name);
    std::string text = name.empty() ? kUnknown : name;
    if (info.processorCoreCount != 0) text += ", " + counted(info.processorCoreCount, "core");
    if (info.logicalProcessorCount != 0) text += ", " + counted(info.logicalProcessorCount, "thread");
    return text;
}

std::string memorySize() {
    constexpr double gib = 1 << 30;
    return fmt::format("{:.1f} GiB", static_cast<double>(orv::memory::getMemoryStatus().totalPhys) / gib);
}

std::string cards() {
    std::string names;
    for (const auto& gpu : orv::GetGpuList())
        names += (names.empty() ? "" : ", ") + gpu->gpuName;
    return names.empty() ? "none that the library knows" : names;
}

struct Row {
    std::string_view group;
    const char* label;
    std::string (*value)();
};
constexpr Row kRows[] = {
    {"Processor", "Model", processor},
    {"Memory", "Size", memorySize},
    {"Graphics", "Cards", cards},
};

} // namespace

std::vector<Fact> factsOf(std::string_view group) {
    std::vector<Fact> facts;
    for (const Row& row : kRows) {
        if (row.group != group) continue;
        try {
            facts.push_back({row.label, row.value()});
        } catch (const std::exception&) {
            facts.push_back({row.label, kUnknown}); // its own export tells why
        }
    }
    return facts;
}

} // namespace tool
