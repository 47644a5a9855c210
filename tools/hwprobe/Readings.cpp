#include "Readings.h"

#include "Drives.h"
#include "Overview.h"
#include "SystemCounters.h"
#include "memory/MemInfo.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "platform/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace tool {

namespace {

using Json = nlohmann::ordered_json;
using Lines = std::vector<std::string>;

// The value that an Intel processor gives whose thermal status register cannot be read.
constexpr double kRefusedRegister = 4294967295.0;

double asDouble(const Outcome& outcome) {
    if (const auto* number = std::get_if<double>(&outcome.value)) return *number;
    return std::get<std::int32_t>(outcome.value);
}

Json asJson(const Outcome& outcome) {
    return Json::parse(std::get<std::string>(outcome.value), nullptr, false);
}

std::string text(const Json& object, const char* key) {
    return object.is_object() && object.contains(key) && object[key].is_string()
               ? object[key].get<std::string>()
               : std::string("unknown");
}

double number(const Json& object, const char* key) {
    return object.is_object() && object.contains(key) && object[key].is_number() ? object[key].get<double>()
                                                                                 : std::nan("");
}

Lines megahertz(const Outcome& outcome) {
    return {fmt::format("{:.0f} MHz", asDouble(outcome))};
}
Lines fraction(const Outcome& outcome) {
    return {fmt::format("{:.1f} %", asDouble(outcome) * 100.0)};
}
Lines percent(const Outcome& outcome) {
    return {fmt::format("{:.0f} %", asDouble(outcome))};
}

Lines celsius(const Outcome& outcome) {
    const double value = asDouble(outcome);
    if (value == kRefusedRegister) return {"none: the processor refused the register read"};
    return {fmt::format("{:.1f} °C", value)};
}

template <const char* noneText>
Lines count(const Outcome& outcome) {
    const double value = asDouble(outcome);
    return {value == 0 ? std::string(noneText) : fmt::format("{:.0f}", value)};
}

Lines networkRates(const Outcome& outcome) {
    Lines lines;
    for (const Json& entry : asJson(outcome))
        lines.push_back(fmt::format("{:>11} down {:>11} up   {}", rateText(number(entry, "down")),
                                    rateText(number(entry, "up")), text(entry, "model")));
    return lines.empty() ? Lines{"no adapter"} : lines;
}

Lines networkCards(const Outcome& outcome) {
    Lines lines;
    for (const Json& entry : asJson(outcome))
        lines.push_back(fmt::format("{:<8} {}  {}", text(entry, "type"), text(entry, "macAddress"),
                                    text(entry, "model")));
    return lines.empty() ? Lines{"no physical card"} : lines;
}

/// A user without the right is told so; the library keeps the system's sentence alone.
std::string noModules() {
    const std::string why = onOneLine(orv::memory::whyNoModules());
    if (why.empty()) return "none listed";
    const auto& denied = orv::platform::current().systemFacts().errorText(orv::platform::kAccessDenied);
    const bool isDenied = why == onOneLine(orv::platform::wideToUtf8(denied));
    return "none: the machine's list of them could not be read: " +
           (isDenied ? deviceErrorText(orv::platform::kAccessDenied) : why);
}

Lines memoryModules(const Outcome& outcome) {
    Lines lines;
    const Json report = asJson(outcome);
    if (report.is_object() && report.contains("data"))
        for (const Json& module : report["data"])
            lines.push_back(text(module, "manufacturer") + " " + text(module, "model"));
    return lines.empty() ? Lines{noModules()} : lines;
}

/// The values that a battery has in place of what it does not know.
bool isKnown(double value) {
    constexpr double unknownUnsigned = 4294967295.0; // and -1 as a signed number
    constexpr double unknownRate = -2147483648.0;
    return !std::isnan(value) && value != -1 && value != unknownUnsigned && value != unknownRate;
}

std::string quantity(double value, const char* unit) {
    return isKnown(value) ? fmt::format("{:.0f} {}", value, unit) : fmt::format("unknown {}", unit);
}

std::string share(double part, double whole) {
    return isKnown(part) && isKnown(whole) && whole > 0 ? fmt::format("{:.0f} %", part / whole * 100.0)
                                                        : std::string("unknown");
}

Lines battery(const Outcome& outcome) {
    const Json report = asJson(outcome);
    const double full = number(report, "fullChargedCapacity");
    const double voltage = number(report, "voltage");
    std::string state;
    if (report.is_object() && report.contains("status"))
        for (const Json& word : report["status"])
            state += ", " + word.get<std::string>();
    Lines lines = {fmt::format("{} charged{}, health {}", share(number(report, "capacity"), full), state,
                               share(full, number(report, "designCapacity")))};
    lines.push_back(fmt::format("{}: {} of {} (designed for {}), {:.0f} cycles", text(report, "manufacturer"),
                                quantity(number(report, "capacity"), "mWh"), quantity(full, "mWh"),
                                quantity(number(report, "designCapacity"), "mWh"),
                                number(report, "cycleCount")));
    if (const double power = number(report, "power"); isKnown(power) && isKnown(voltage))
        lines.push_back(fmt::format("{:.1f} W, {:.2f} A at {:.2f} V", power / 1000.0,
                                    number(report, "electricCurrent"), voltage / 1000.0));
    if (const double seconds = number(report, "estimatedTime"); seconds > 0 && isKnown(seconds))
        lines.push_back(fmt::format("{:.0f} min left", seconds / 60.0));
    if (const double degrees = number(report, "temperature"); degrees > 0 && isKnown(degrees))
        lines.push_back(fmt::format("{:.0f} \u00B0C", degrees));
    return lines;
}

Lines systemDrive(const Outcome& outcome) {
    return {text(asJson(outcome), "diskName")};
}

/// What the table of the drives tells already.
Lines inTable(const Outcome&) {
    return {};
}

Lines released(const Outcome&) {
    return {"released"};
}

Lines lastFailure(const Outcome& outcome) {
    const std::string reason = onOneLine(std::get<std::string>(outcome.value));
    return {reason.empty() ? "none" : reason};
}

constexpr std::string_view kDrives = "Drives";
constexpr char kNoBattery[] = "no battery";

constexpr std::array kPresentations = {
    Presentation{"getCpuBaseFrequency", "Processor", "Base clock", megahertz},
    Presentation{"getCpuFrequency", "Processor", "Clock", megahertz},
    Presentation{"getCpuLoad", "Processor", "Load", fraction},
    Presentation{"getCpuTemperature", "Processor", "Temperature", celsius},
    Presentation{"getGpuLoad", "Graphics", "Load", fraction},
    Presentation{"getGpuTemperature", "Graphics", "Temperature", celsius},
    Presentation{"getMemoryLoad", "Memory", "In use", percent},
    Presentation{"getMemoryManufacturerAndModel", "Memory", "Modules", memoryModules},
    Presentation{"initDisk", kDrives, "List", inTable},
    Presentation{"getAllDiskType", kDrives, "Kinds", inTable},
    Presentation{"getDiskTemperature", kDrives, "Temperature", inTable},
    Presentation{"getDiskReadWriteSpeed", kDrives, "Speed", inTable},
    Presentation{"getDiskNameWhichOsInstalled", kDrives, "System drive", systemDrive},
    Presentation{"initBattery", "Batteries", "Number", count<kNoBattery>},
    Presentation{"getBatteryAllMessage", "Batteries", "Battery", battery},
    Presentation{"getNetCardMessage", "Network", "Cards", networkCards},
    Presentation{"getNetCurrentSpeed", "Network", "Rates", networkRates},
    Presentation{"releaseRing0", kLibraryGroup, "Registers", released},
    Presentation{"getLastError", kLibraryGroup, "Last failure", lastFailure},
};

/// The export that says how many entries an indexed export has.
std::string_view counterOf(std::string_view name) {
    return name == "getBatteryAllMessage" ? "initBattery" : "initDisk";
}

void addIndexed(std::vector<Reading>& readings, const Export& entry) {
    for (const Reading& reading : readings) {
        if (reading.entry->name != counterOf(entry.name)) continue;
        if (reading.outcome.failed) { // no list to index: the reason is the list's
            readings.push_back({&entry, reading.outcome, 0, true});
            return;
        }
        const auto entries = static_cast<std::uint32_t>(std::get<std::int32_t>(reading.outcome.value));
        for (std::uint32_t index = 0; index < entries; ++index)
            readings.push_back({&entry, run(entry, index), index});
        return;
    }
}

/// `told` has the failures above: one of another cause is added, one of the same is referred to.
Lines linesOf(const Reading& reading, const Presentation& form, const std::string& label,
              std::map<std::string, std::string>& told) {
    const Outcome& outcome = reading.outcome;
    if (!outcome.failed) return form.lines(outcome);
    if (outcome.bySystem) {
        Outcome counted;
        counted.value = *outcome.bySystem;
        Lines lines = form.lines(counted);
        lines.front() += fmt::format(" ({})", kBySystem);
        return lines;
    }
    const auto [first, isNew] = told.try_emplace(outcome.reason, label);
    return {isNew ? "failed: " + outcome.reason : "failed, as " + first->second};
}

} // namespace

std::string rateText(double bytesPerMillisecond) {
    const double bytesPerSecond = bytesPerMillisecond * 1000.0;
    if (!(bytesPerSecond >= 1000.0)) return fmt::format("{:.0f} B/s", bytesPerSecond);
    if (bytesPerSecond < 1e6) return fmt::format("{:.1f} kB/s", bytesPerSecond / 1e3);
    if (bytesPerSecond < 1e9) return fmt::format("{:.1f} MB/s", bytesPerSecond / 1e6);
    return fmt::format("{:.2f} GB/s", bytesPerSecond / 1e9);
}

const Presentation* presentationOf(std::string_view name) {
    for (const Presentation& row : kPresentations)
        if (row.name == name) return &row;
    return nullptr;
}

std::string asTable(const std::vector<Reading>& readings, bool described) {
    std::string table;
    const auto line = [&](std::string_view label, std::string_view value) {
        table += fmt::format("  {:<14}  {}\n", label, printable(value));
    };
    std::string_view group;
    std::map<std::string, std::string> told; // why a reading of the group failed, and which was the first
    for (const Reading& reading : readings) {
        const Presentation& form = *presentationOf(reading.entry->name);
        if (form.group != group) {
            table += fmt::format("\n{}\n", group = form.group);
            told.clear();
            for (const Fact& fact : factsOf(group))
                line(fact.label, fact.value);
            if (group == kDrives)
                for (const std::string& drive : driveTable(readings, described))
                    table += fmt::format("  {}\n", printable(drive));
        }
        const bool isNumbered = reading.entry->takesIndex() && !reading.isListFailure;
        const std::string label =
            isNumbered ? fmt::format("{} {}", form.label, reading.index) : std::string(form.label);
        const Lines lines = linesOf(reading, form, label, told);
        for (std::size_t i = 0; i < lines.size(); ++i)
            line(i == 0 ? label : "", lines[i]);
    }
    return table;
}

std::vector<Reading> readAll(std::int64_t gapMilliseconds) {
    for (const Export& entry : allExports()) {
        if (!entry.needsTwoSamples) continue;
        if (!entry.takesIndex()) {
            read(entry);
            continue;
        }
        run(*findExport(counterOf(entry.name))); // making the list takes the first sample
    }
    waitMilliseconds(gapMilliseconds);
    std::vector<Reading> readings;
    for (const Export& entry : allExports()) {
        if (entry.takesIndex())
            addIndexed(readings, entry);
        else
            readings.push_back({&entry, read(entry)});
    }
    return readings;
}

} // namespace tool
