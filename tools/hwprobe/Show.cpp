#include "Commands.h"
#include "Drives.h"
#include "Output.h"
#include "Readings.h"
#include "orvane/hwprobe.h"
#include "platform/CalendarTime.h"

#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kGapMilliseconds = 1000;

Json valueOf(const Outcome& outcome) {
    if (outcome.failed) return {{"error", outcome.reason}};
    if (const auto* number = std::get_if<double>(&outcome.value)) return *number;
    if (const auto* number = std::get_if<std::int32_t>(&outcome.value)) return *number;
    if (const auto* text = std::get_if<std::string>(&outcome.value)) {
        Json parsed = Json::parse(*text, nullptr, false);
        return parsed.is_discarded() ? Json(*text) : parsed;
    }
    return nullptr;
}

constexpr int kFormatVersion = 1; // of the object: raised when a key goes or changes its meaning

std::string now() {
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(orv::platform::wallClock().time_since_epoch()).count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", orv::platform::universalTime(seconds));
}

/// Export name to value; an indexed export has an array of its entries, or the reason why there is no list.
void printJson(const std::vector<Reading>& readings, bool described) {
    Json object = {{"formatVersion", kFormatVersion}, {"version", HWPROBE_VERSION}, {"time", now()}};
    for (const Export& entry : allExports())
        if (entry.takesIndex()) object[std::string(entry.name)] = Json::array();
    Json bySystem = Json::object(); // in place of exports that failed
    for (const Reading& reading : readings) {
        Json& place = object[std::string(reading.entry->name)];
        const bool isList = reading.entry->takesIndex();
        if (reading.outcome.bySystem) bySystem[std::string(reading.entry->name)] = *reading.outcome.bySystem;
        if (reading.entry->name == "getLastError")
            place = std::get<std::string>(reading.outcome.value);
        else if (reading.isListFailure)
            place = valueOf(reading.outcome);
        else if (isList)
            place.push_back(valueOf(reading.outcome));
        else
            place = valueOf(reading.outcome);
    }
    object["systemCounters"] = std::move(bySystem);
    object.update(drivesJson(described));
    put(object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

/// Whether all, some or none of the readings answered. What only looks after the library is no reading.
int statusOf(const std::vector<Reading>& readings) {
    std::size_t asked = 0;
    std::size_t failed = 0;
    for (const Reading& reading : readings) {
        if (presentationOf(reading.entry->name)->group == kLibraryGroup) continue;
        ++asked;
        failed += reading.outcome.failed;
    }
    return failed == 0 ? kExitOk : failed == asked ? kExitFailedCall : kExitSomeFailed;
}

} // namespace

int show(const std::string& title, bool json, bool described) {
    std::fprintf(stderr, "Reading twice, %.0f s apart ...\n", kGapMilliseconds / 1000.0);
    const auto readings = readAll(kGapMilliseconds);
    if (!json) {
        put(title + "\n" + asTable(readings, described));
        return kExitOk;
    }
    printJson(readings, described);
    return statusOf(readings);
}

} // namespace tool
