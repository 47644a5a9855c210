#include "WatchLines.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormatVersion = 1; // raised when a key goes or changes its meaning

std::string textOf(const Series& series) {
    return series.value->known() ? fmt::format("{:.{}f}", series.value->number, series.digits) : "unknown";
}

Json orNull(const Value& value) {
    return value.known() ? Json(value.number) : Json();
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

} // namespace

std::string WatchLines::of(const Sample& sample) {
    const std::vector<Series> all = seriesOf(sample);
    std::string legend;
    std::string heading = fmt::format("{:<{}}", "#time", sample.time.size());
    std::string line = sample.time;
    std::string told;
    for (const Series& series : all) {
        const std::string subject = series.column.substr(0, series.column.find('_'));
        if (!series.of.empty() && subject != told) legend += fmt::format("# {}: {}\n", subject, series.of);
        told = subject;
        heading += " " + series.column;
        line += fmt::format(" {:>{}}", textOf(series), series.column.size());
    }
    heading = legend + heading + "\n";
    if (heading == heading_) return line + "\n";
    heading_ = heading;
    return heading + line + "\n";
}

std::string jsonLine(const Sample& sample) {
    Json failures = Json::object();
    for (const Series& series : seriesOf(sample))
        if (!series.value->reason.empty()) failures[series.column] = series.value->reason;
    for (const auto& [list, value] :
         {std::pair{"drives", &sample.driveList}, std::pair{"batteries", &sample.batteryList},
          std::pair{"adapters", &sample.adapterList}})
        if (!value->reason.empty()) failures[list] = value->reason;
    Json drives = Json::array();
    for (const DriveSample& drive : sample.drives)
        drives.push_back({{"place", drive.place},
                          {"model", drive.model},
                          {"answering", drive.answers},
                          {"lastAnswer", orNull(drive.lastAnswer)},
                          {"reason", orNull(drive.silence)},
                          {"health", drive.health},
                          {"lifePercent", orNull(drive.life)},
                          {"temperatureCelsius", orNull(drive.temperature)},
                          {"readBytesPerSecond", orNull(drive.read)},
                          {"writeBytesPerSecond", orNull(drive.write)}});
    Json batteries = Json::array();
    for (const BatterySample& battery : sample.batteries)
        batteries.push_back({{"manufacturer", battery.name},
                             {"state", battery.states},
                             {"chargePercent", orNull(battery.charge)},
                             {"healthPercent", orNull(battery.health)},
                             {"powerWatts", orNull(battery.power)},
                             {"minutesLeft", orNull(battery.minutesLeft)},
                             {"temperatureCelsius", orNull(battery.temperature)}});
    Json adapters = Json::array();
    for (const AdapterSample& adapter : sample.adapters)
        adapters.push_back({{"model", adapter.model},
                            {"downBytesPerSecond", orNull(adapter.down)},
                            {"upBytesPerSecond", orNull(adapter.up)}});
    const Json object = {
        {"formatVersion", kFormatVersion},
        {"time", sample.time},
        {"processor",
         {{"loadPercent", orNull(sample.processor.load)},
          {"clockMHz", orNull(sample.processor.clock)},
          {"bySystemCounters", sample.processor.bySystem},
          {"temperatureCelsius", orNull(sample.processor.temperature)}}},
        {"graphics",
         {{"loadPercent", orNull(sample.gpuLoad)}, {"temperatureCelsius", orNull(sample.gpuTemperature)}}},
        {"memory", {{"usedPercent", orNull(sample.memoryLoad)}}},
        {"drives", std::move(drives)},
        {"batteries", std::move(batteries)},
        {"adapters", std::move(adapters)},
        {"failures", std::move(failures)}};
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace tool
