#include "Exports.h"

#include "Commands.h"
#include "orvane/hwprobe.h"
#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/Platform.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace tool {

namespace {

constexpr std::array kExports = {
    Export{"getCpuBaseFrequency", &getCpuBaseFrequency, false,
           "the processor's time-stamp counter stands still"},
    Export{"getCpuFrequency", &getCpuFrequency, true},
    Export{"getCpuLoad", &getCpuLoad, true},
    Export{"getCpuTemperature", &getCpuTemperature},
    Export{"getGpuLoad", &getGpuLoad},
    Export{"getGpuTemperature", &getGpuTemperature},
    Export{"getMemoryLoad", &getMemoryLoad},
    Export{"getMemoryManufacturerAndModel", &getMemoryManufacturerAndModel},
    Export{"initDisk", &initDisk},
    Export{"getAllDiskType", &getAllDiskType},
    Export{"getDiskTemperature", &getDiskTemperature},
    Export{"getDiskReadWriteSpeed", &getDiskReadWriteSpeed, true},
    Export{"getDiskNameWhichOsInstalled", &getDiskNameWhichOsInstalled},
    Export{"initBattery", &initBattery},
    Export{"getBatteryAllMessage", &getBatteryAllMessage},
    Export{"getNetCardMessage", &getNetCardMessage},
    Export{"getNetCurrentSpeed", &getNetCurrentSpeed, true},
    Export{"releaseRing0", &releaseRing0},
    Export{"getLastError", &getLastError},
};

bool isFailureText(std::string_view text) {
    return text.starts_with("{\"error\"") || text.starts_with("{\"code\":0");
}

// The one reply that tells by itself why there is nothing, and leaves getLastError alone.
constexpr std::string_view kNoSystemDrive = R"({"code":0, "data": "available disk not found"})";

std::string reasonOf(const Outcome& outcome) {
    const auto* text = std::get_if<std::string>(&outcome.value);
    return text && *text == kNoSystemDrive ? "available disk not found" : onOneLine(getLastError());
}

void (*faultEnd)() = [] {};

/// Where a host's process would end without a word.
[[noreturn]] void endByFault(std::string_view name, std::uint32_t code) {
    faultEnd();
    std::fflush(stdout);
    std::fprintf(stderr, "%.*s: ended by hardware fault 0x%08X, as a host would be\n",
                 static_cast<int>(name.size()), name.data(), static_cast<unsigned>(code));
    std::_Exit(kExitHardwareFault);
}

struct Caller {
    std::uint32_t index;
    Outcome outcome;

    void take(double value) {
        outcome.value = value;
        outcome.failed = value == -1.0;
    }
    void take(std::int32_t value) {
        outcome.value = value;
        outcome.failed = value == -1;
    }
    void take(const char* text) {
        outcome.failed = isFailureText(text);
        outcome.value = std::string(text);
    }
    void operator()(double (*call)()) { take(call()); }
    void operator()(std::int32_t (*call)()) { take(call()); }
    void operator()(const char* (*call)()) { take(call()); }
    void operator()(void (*call)()) { call(); }
    void operator()(double (*call)(std::uint32_t)) { take(call(index)); }
    void operator()(const char* (*call)(std::uint32_t)) { take(call(index)); }
};

} // namespace

std::span<const Export> allExports() {
    return kExports;
}

const Export* findExport(std::string_view name) {
    for (const Export& entry : kExports)
        if (entry.name == name) return &entry;
    return nullptr;
}

Outcome run(const Export& entry, std::uint32_t index) {
    Caller caller{index, {}};
    const auto fault = orv::platform::current().faultTrap().run([&] { std::visit(caller, entry.call); });
    if (fault != 0) endByFault(entry.name, fault);
    // The text of getLastError itself may look like anything.
    if (entry.name == "getLastError") caller.outcome.failed = false;
    Outcome& outcome = caller.outcome;
    if (outcome.failed) outcome.reason = reasonOf(outcome);
    if (entry.zeroReason && outcome.value == decltype(outcome.value)(std::int32_t{0})) {
        outcome.failed = true;
        outcome.reason = entry.zeroReason;
    }
    return std::move(outcome);
}

void beforeFaultEnd(void (*action)()) {
    faultEnd = action;
}

std::string Outcome::raw() const {
    char buffer[64];
    if (const auto* number = std::get_if<double>(&value)) {
        std::snprintf(buffer, sizeof buffer, "%.17g", *number);
        return buffer;
    }
    if (const auto* number = std::get_if<std::int32_t>(&value)) return std::to_string(*number);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    return {};
}

void waitMilliseconds(std::int64_t milliseconds) {
    orv::platform::current().clock().sleepNs(milliseconds * 1'000'000);
}

std::string onOneLine(std::string text) {
    text.erase(text.find_last_not_of("\r\n ") + 1);
    std::string line;
    for (const char letter : text) {
        if (letter == '\r') continue;
        line.push_back(letter == '\n' ? ' ' : letter);
    }
    return line;
}

} // namespace tool
