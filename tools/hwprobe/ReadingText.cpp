#include "ReadingText.h"

#include "Drives.h"
#include "disk_engine/dialects/KnownValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>

namespace tool {

namespace {

using namespace orv;
using Json = nlohmann::ordered_json;

template <class T>
std::string valueText(const Told<T>& told, const char* unit) {
    return told ? fmt::format("{}{}", *told.value, unit) : std::string("unknown");
}
std::string bytesOrUnknown(const Told<std::uint64_t>& told) {
    return told ? bytesText(*told.value) : std::string("unknown");
}
std::string gibText(std::int32_t gib) {
    const auto known = trafficOf(gib);
    return known ? fmt::format("{} GiB", *known) : std::string("unknown");
}
template <class T>
std::string orUnknown(std::optional<T> value, const char* unit) {
    return value ? fmt::format("{}{}", *value, unit) : std::string("unknown");
}
std::optional<std::int32_t> unlessNegative(std::int32_t value) {
    return value < 0 ? std::nullopt : std::optional(value);
}

struct Line {
    const char* key; ///< as differencesFromRule names it
    const char* label;
    std::string value;
    std::string basis;
};

std::array<Line, 7> linesOf(const DriveReading& reading) {
    return {{
        {"health", "health", verdictWord(reading.health), reading.healthReason},
        {"life", "life left", valueText(reading.life, " %"), reading.life.basis},
        {"temperature", "temperature", valueText(reading.temperature, " \u00B0C"), reading.temperature.basis},
        {"powerOnHours", "power-on hours", valueText(reading.powerOnHours, ""), reading.powerOnHours.basis},
        {"powerCycles", "power cycles", valueText(reading.powerCycles, ""), reading.powerCycles.basis},
        {"hostReadBytes", "host reads", bytesOrUnknown(reading.hostReadBytes), reading.hostReadBytes.basis},
        {"hostWrittenBytes", "host writes", bytesOrUnknown(reading.hostWrittenBytes),
         reading.hostWrittenBytes.basis},
    }};
}

/// What the record tells of a value, by its key.
std::string byRule(const AtaSmartInfo& asi, std::string_view key) {
    if (key == "health") return healthWord(asi.DiskStatus);
    if (key == "life") return orUnknown(unlessNegative(asi.Life), " %");
    if (key == "temperature") return orUnknown(temperatureOf(asi), " \u00B0C");
    if (key == "powerOnHours") return orUnknown(unlessNegative(asi.DetectedPowerOnHours), "");
    if (key == "powerCycles") return orUnknown(powerCyclesOf(asi), "");
    return gibText(key == "hostReadBytes" ? asi.HostReads : asi.HostWrites);
}

std::vector<std::string> differencesOf(const DriveReading& reading, const AtaSmartInfo* asi) {
    return asi ? differencesFromRule(reading, *asi) : std::vector<std::string>();
}

template <class T>
Json orNull(const Told<T>& told) {
    return told ? Json(*told.value) : Json();
}
Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

} // namespace

std::string bytesText(std::uint64_t bytes) {
    constexpr struct {
        double size;
        const char* name;
    } units[] = {{1e15, "PB"}, {1e12, "TB"}, {1e9, "GB"}, {1e6, "MB"}};
    const auto number = static_cast<double>(bytes);
    for (const auto& [size, name] : units)
        if (number >= size) return fmt::format("{:.2f} {}", number / size, name);
    return fmt::format("{} bytes", bytes);
}

std::string readingText(const DriveReading& reading, const AtaSmartInfo* asi) {
    const std::vector<std::string> differs = differencesOf(reading, asi);
    std::string text = "\nWhat the drive says\n", against;
    for (const Line& line : linesOf(reading)) {
        std::string row = fmt::format("  {:<16}{:<26}  {}", line.label, line.value, line.basis);
        row.erase(row.find_last_not_of(' ') + 1);
        text += row + "\n";
        if (std::ranges::find(differs, line.key) == differs.end()) continue;
        against +=
            fmt::format("  {}: the rule tells {}, the drive {}{}{}\n", line.label, byRule(*asi, line.key),
                        line.value, line.basis.empty() ? "" : ", by ", line.basis);
    }
    if (!against.empty()) text += "\nWhere the two differ\n" + against;
    if (reading.disagreements.empty()) return text;
    text += "\nWhere its sources differ\n";
    for (const std::string& each : reading.disagreements)
        text += "  " + each + "\n";
    return text;
}

Json readingJson(const DriveReading& reading, const AtaSmartInfo* asi) {
    const bool known = reading.health != Verdict::unknown;
    return {
        {"life", orNull(reading.life)},
        {"health", known ? Json(verdictWord(reading.health)) : Json()},
        {"healthReason", orNull(reading.healthReason)},
        {"powerOnHours", orNull(reading.powerOnHours)},
        {"powerCycles", orNull(reading.powerCycles)},
        {"hostReadBytes", orNull(reading.hostReadBytes)},
        {"hostWrittenBytes", orNull(reading.hostWrittenBytes)},
        {"temperature", orNull(reading.temperature)},
        {"basis",
         {{"life", orNull(reading.life.basis)},
          {"health", orNull(reading.healthReason)},
          {"powerOnHours", orNull(reading.powerOnHours.basis)},
          {"powerCycles", orNull(reading.powerCycles.basis)},
          {"hostReadBytes", orNull(reading.hostReadBytes.basis)},
          {"hostWrittenBytes", orNull(reading.hostWrittenBytes.basis)},
          {"temperature", orNull(reading.temperature.basis)}}},
        {"differs", differencesOf(reading, asi)},
        {"disagreements", reading.disagreements},
    };
}

} // namespace tool
