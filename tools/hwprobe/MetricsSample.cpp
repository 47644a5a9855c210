#include "MetricsSample.h"

#include "Drives.h"
#include "SystemCounters.h"
#include "battery/BatteryReport.h"
#include "disk_engine/CAtaSmart.h"
#include "orvane/hwprobe.h"
#include "state/ProcessState.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <set>

namespace tool {

namespace {

using namespace orv;
using Json = nlohmann::json;
using battery::BatteryInfo;
using enum MetricFamily::Type;

constexpr std::int64_t kFirstGapMilliseconds = 1000;
constexpr std::chrono::seconds kPatience{10};
// A search without a drive asks every controller, so it is not made for each scrape.
constexpr std::chrono::minutes kSearchAgain{1};

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kNoLimit = std::numeric_limits<double>::infinity();
// No part of a machine is beyond these: what is beyond stands for "unknown", 4294967295 or -1000 for two.
constexpr double kColdest = -273.0;
constexpr double kHottest = 1000.0;

constexpr double kBytesPerGibibyte = 1024.0 * 1024.0 * 1024.0;
constexpr double kJoulesPerMilliwattHour = 3.6;
constexpr double kPerMillisecond = 1000.0; // to per second

double within(double value, double lowest, double highest) {
    return value >= lowest && value <= highest ? value : kUnknown;
}

/// An export that gives one number.
struct NumberMetric {
    std::string_view name;
    MetricFamily family;
    double scale;
    double lowest; // what is outside of these is a sentinel
    double highest;
};

constexpr std::array kNumbers = {
    NumberMetric{
        "getCpuLoad",
        {"hwprobe_cpu_load_ratio", "ratio", gauge, "Load of the processor since the reading before."},
        1.0,
        0.0,
        kNoLimit},
    NumberMetric{"getCpuTemperature",
                 {"hwprobe_cpu_temperature_celsius", "celsius", gauge, "Temperature of the processor."},
                 1.0,
                 kColdest,
                 kHottest},
    NumberMetric{"getCpuFrequency",
                 {"hwprobe_cpu_frequency_hertz", "hertz", gauge, "Clock of the processor."},
                 1e6,
                 1.0,
                 kNoLimit},
    NumberMetric{
        "getCpuBaseFrequency",
        {"hwprobe_cpu_base_frequency_hertz", "hertz", gauge, "Measured base clock of the processor."},
        1e6,
        1.0,
        kNoLimit},
    NumberMetric{"getGpuLoad",
                 {"hwprobe_gpu_load_ratio", "ratio", gauge, "Load of the first usable graphics adapter."},
                 1.0,
                 0.0,
                 kNoLimit},
    NumberMetric{"getGpuTemperature",
                 {"hwprobe_gpu_temperature_celsius", "celsius", gauge,
                  "Temperature of the first usable graphics adapter."},
                 1.0,
                 kColdest,
                 kHottest},
    NumberMetric{"getMemoryLoad",
                 {"hwprobe_memory_used_ratio", "ratio", gauge, "Physical memory in use."},
                 0.01,
                 0.0,
                 kNoLimit},
};

constexpr MetricFamily kBySystemCounters{
    "hwprobe_cpu_by_system_counters", "", gauge,
    "1 where load and clock are the system's, for the library does not know the processor, else 0."};
constexpr MetricFamily kTool{"hwprobe", "", info, "Version of the library."};
constexpr MetricFamily kFailures{"hwprobe_failures", "", counter, "Calls of an export that failed."};
constexpr MetricFamily kModule{"hwprobe_memory_module", "", info, "A memory module."};
constexpr MetricFamily kCard{"hwprobe_network_card", "", info, "A physical network card."};
constexpr MetricFamily kReceive{"hwprobe_network_receive_bytes_per_second", "bytes_per_second", gauge,
                                "Received by an adapter since the reading before."};
constexpr MetricFamily kTransmit{"hwprobe_network_transmit_bytes_per_second", "bytes_per_second", gauge,
                                 "Sent by an adapter since the reading before."};

constexpr MetricFamily kDisks{"hwprobe_disks", "", gauge, "Drives in the library's list."};
constexpr MetricFamily kUnreadDisks{"hwprobe_disks_unread", "", gauge, "Drives that gave no SMART data."};
constexpr MetricFamily kUnreadDisk{"hwprobe_disk_unread", "", info, "A drive without a record, and why."};
constexpr MetricFamily kAnswering{"hwprobe_disk_answering", "", gauge,
                                  "1 for a drive that gave its SMART data when it was last asked, else 0."};
constexpr MetricFamily kLastAnswer{"hwprobe_disk_last_answer_timestamp_seconds", "seconds", gauge,
                                   "When a drive last gave its SMART data, since 1970."};
constexpr MetricFamily kSystemDisk{"hwprobe_system_disk", "", info,
                                   "The drive that the system is installed on."};
constexpr MetricFamily kDisk{"hwprobe_disk", "", info, "A drive."};
constexpr MetricFamily kDiskHealth{"hwprobe_disk_health", "", gauge,
                                   "1 for the state of a drive that holds, 0 for the others."};
constexpr MetricFamily kDiskSize{"hwprobe_disk_size_bytes", "bytes", gauge, "Size of a drive."};
constexpr MetricFamily kDiskRead{"hwprobe_disk_read_bytes_per_second", "bytes_per_second", gauge,
                                 "Read from a drive since the reading before."};
constexpr MetricFamily kDiskWrite{"hwprobe_disk_write_bytes_per_second", "bytes_per_second", gauge,
                                  "Written to a drive since the reading before."};

struct DriveMetric {
    MetricFamily family;
    double (*value)(const DriveFacts& facts); // NaN: unknown
};

template <auto fact>
double scaled(const DriveFacts& facts, double scale) {
    return facts.*fact ? *(facts.*fact) * scale : kUnknown;
}
double unlessZero(std::uint32_t value, double scale) {
    return value == 0 ? kUnknown : value * scale;
}

constexpr std::array kDriveMetrics = {
    DriveMetric{{"hwprobe_disk_temperature_celsius", "celsius", gauge, "Temperature of a drive."},
                [](const DriveFacts& facts) { return scaled<&DriveFacts::temperature>(facts, 1.0); }},
    DriveMetric{{"hwprobe_disk_life_ratio", "ratio", gauge, "What is left of a drive's life."},
                [](const DriveFacts& facts) { return scaled<&DriveFacts::life>(facts, 0.01); }},
    DriveMetric{
        {"hwprobe_disk_power_on_seconds", "seconds", counter, "Time that a drive was on, in hours' steps."},
        [](const DriveFacts& facts) { return scaled<&DriveFacts::powerOnHours>(facts, 3600.0); }},
    DriveMetric{{"hwprobe_disk_power_cycles", "", counter, "How often a drive was switched on."},
                [](const DriveFacts& facts) { return scaled<&DriveFacts::powerCycles>(facts, 1.0); }},
    DriveMetric{
        {"hwprobe_disk_host_read_bytes", "bytes", counter, "Read from a drive in its life."},
        [](const DriveFacts& facts) { return scaled<&DriveFacts::hostReads>(facts, kBytesPerGibibyte); }},
    DriveMetric{
        {"hwprobe_disk_host_written_bytes", "bytes", counter, "Written to a drive in its life."},
        [](const DriveFacts& facts) { return scaled<&DriveFacts::hostWrites>(facts, kBytesPerGibibyte); }},
    DriveMetric{
        {"hwprobe_disk_flash_written_bytes", "bytes", counter,
         "Written by a drive to its flash memory in its life."},
        [](const DriveFacts& facts) { return scaled<&DriveFacts::nandWrites>(facts, kBytesPerGibibyte); }},
};

constexpr MetricFamily kBatteries{"hwprobe_batteries", "", gauge, "System batteries."};
constexpr MetricFamily kBattery{"hwprobe_battery", "", info, "A battery."};
constexpr MetricFamily kBatteryState{"hwprobe_battery_state", "", gauge,
                                     "1 for each state of a battery that holds, 0 for the others."};

constexpr std::array<std::pair<std::uint32_t, const char*>, 4> kBatteryStates = {{
    {platform::BATTERY_POWER_ON_LINE, "ac_power"},
    {platform::BATTERY_DISCHARGING, "discharging"},
    {platform::BATTERY_CHARGING, "charging"},
    {platform::BATTERY_CRITICAL, "critical"},
}};

struct BatteryMetric {
    MetricFamily family;
    double (*value)(const BatteryInfo& battery); // NaN: unknown
};

double capacity(std::uint32_t value) {
    return value == platform::BATTERY_UNKNOWN_CAPACITY ? kUnknown : value;
}
double share(std::uint32_t part, std::uint32_t whole) {
    return whole == 0 ? kUnknown : capacity(part) / capacity(whole);
}
/// None of a battery that tells capacities in percent alone.
double joules(const BatteryInfo& battery, std::uint32_t milliwattHours) {
    if (battery.information.Capabilities & platform::BATTERY_CAPACITY_RELATIVE) return kUnknown;
    return milliwattHours == 0 ? kUnknown : capacity(milliwattHours) * kJoulesPerMilliwattHour;
}

constexpr std::array kBatteryMetrics = {
    BatteryMetric{
        {"hwprobe_battery_charge_ratio", "ratio", gauge, "Charge of a battery, of the full charge."},
        [](const BatteryInfo& battery) {
            return share(battery.status.Capacity, battery.information.FullChargedCapacity);
        }},
    BatteryMetric{{"hwprobe_battery_health_ratio", "ratio", gauge,
                   "Full charge of a battery, of the one that it was designed for."},
                  [](const BatteryInfo& battery) {
                      return share(battery.information.FullChargedCapacity,
                                   battery.information.DesignedCapacity);
                  }},
    BatteryMetric{{"hwprobe_battery_energy_joules", "joules", gauge, "Charge of a battery."},
                  [](const BatteryInfo& battery) { return joules(battery, battery.status.Capacity); }},
    BatteryMetric{
        {"hwprobe_battery_full_energy_joules", "joules", gauge, "Full charge of a battery."},
        [](const BatteryInfo& battery) { return joules(battery, battery.information.FullChargedCapacity); }},
    BatteryMetric{
        {"hwprobe_battery_design_energy_joules", "joules", gauge,
         "Full charge that a battery was designed for."},
        [](const BatteryInfo& battery) { return joules(battery, battery.information.DesignedCapacity); }},
    BatteryMetric{{"hwprobe_battery_cycles", "", counter, "Charge cycles of a battery."},
                  [](const BatteryInfo& battery) { return unlessZero(battery.information.CycleCount, 1.0); }},
    BatteryMetric{{"hwprobe_battery_power_watts", "watts", gauge,
                   "Power into a battery, negative while it discharges."},
                  [](const BatteryInfo& battery) {
                      return battery.status.Rate == platform::BATTERY_UNKNOWN_RATE
                                 ? kUnknown
                                 : battery.status.Rate * 1e-3;
                  }},
    BatteryMetric{{"hwprobe_battery_voltage_volts", "volts", gauge, "Voltage of a battery."},
                  [](const BatteryInfo& battery) {
                      return battery.status.Voltage == platform::BATTERY_UNKNOWN_VOLTAGE
                                 ? kUnknown
                                 : unlessZero(battery.status.Voltage, 1e-3);
                  }},
    BatteryMetric{{"hwprobe_battery_remaining_seconds", "seconds", gauge, "Time that a battery will last."},
                  [](const BatteryInfo& battery) {
                      return battery.estimatedTime == platform::BATTERY_UNKNOWN_TIME
                                 ? kUnknown
                                 : unlessZero(battery.estimatedTime, 1.0);
                  }},
    BatteryMetric{{"hwprobe_battery_temperature_celsius", "celsius", gauge, "Temperature of a battery."},
                  [](const BatteryInfo& battery) {
                      return battery.temperature == 0
                                 ? kUnknown
                                 : within(static_cast<std::int32_t>(battery.temperature), kColdest, kHottest);
                  }},
};

double numberOf(const Outcome& outcome) {
    if (const auto* number = std::get_if<double>(&outcome.value)) return *number;
    return std::get<std::int32_t>(outcome.value);
}

/// An empty list where the text is none.
Json listOf(const std::optional<Outcome>& outcome) {
    Json list = outcome ? Json::parse(std::get<std::string>(outcome->value), nullptr, false) : Json();
    return list.is_array() ? list : Json::array();
}

std::string textOf(const Json& object, const char* key) {
    return object.is_object() && object.contains(key) && object[key].is_string()
               ? object[key].get<std::string>()
               : std::string();
}

/// Bytes per second of a report's bytes per millisecond; unknown when the counter began anew.
double rateOf(const Json& object, const char* key) {
    if (!object.is_object() || !object.contains(key) || !object[key].is_number()) return kUnknown;
    return within(object[key].get<double>() * kPerMillisecond, 0.0, kNoLimit);
}

/// Names of which no two are alike: the second of a name is "NAME #2".
class UniqueNames {
  public:
    std::string operator()(const std::string& name) {
        std::string unique = name;
        for (int count = 2; !taken_.insert(unique).second; ++count)
            unique = fmt::format("{} #{}", name, count);
        return unique;
    }

  private:
    std::set<std::string> taken_;
};

/// What comes of its SMART data has no series while a drive does not answer or cannot be `asked`, and its
/// health is unknown.
void addDrive(Exposition& to, const AtaSmartInfo& asi, const MetricLabels& labels, bool asked) {
    const DriveAnswer answer = answerOf(asi, false);
    to.add(kAnswering, labels, answer.answers ? 1.0 : 0.0);
    to.add(kLastAnswer, labels, answer.last.value_or(kUnknown));
    to.add(kDiskSize, labels, unlessZero(asi.TotalDiskSize, 1e6));
    const DriveFacts facts = asked ? currentFacts(asi) : DriveFacts{};
    for (const DriveMetric& metric : kDriveMetrics)
        to.add(metric.family, labels, metric.value(facts));
    for (std::uint32_t state = 0; state <= DISK_STATUS_BAD; ++state) {
        MetricLabels withState = labels;
        withState.emplace_back("state", healthWord(state));
        to.add(kDiskHealth, withState, facts.health == state ? 1.0 : 0.0);
    }
}

/// Those without a number may be alike.
void addUnread(Exposition& to, const std::vector<UnreadDrive>& drives) {
    to.add(kUnreadDisks, {}, static_cast<double>(drives.size()));
    UniqueNames models;
    for (const UnreadDrive& drive : drives) {
        const std::string number = drive.physicalDriveId < 0 ? "" : std::to_string(drive.physicalDriveId);
        to.add(kUnreadDisk,
               {{"number", number},
                {"model", models(printable(drive.model))},
                {"reason", reasonWord(drive.reason)}},
               1.0);
    }
}

} // namespace

MetricsSampler::MetricsSampler(std::int64_t intervalMilliseconds, bool described)
    : interval_(intervalMilliseconds), described_(described) {
    for (const Export& entry : allExports())
        if (entry.needsTwoSamples && !entry.takesIndex()) tool::read(entry);
    findDrives(); // their counters count from here
    waitMilliseconds(kFirstGapMilliseconds);
    latest_ = std::make_shared<const Exposition>(read());
    readAt_ = Clock::now();
}

std::shared_ptr<const Exposition> MetricsSampler::latest() {
    std::unique_lock lock(mutex_, kPatience);
    if (!lock) return nullptr;
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - readAt_);
    if (age >= interval_) {
        if (described_) waitMilliseconds(age.count());
        latest_ = std::make_shared<const Exposition>(read());
        readAt_ = Clock::now();
    }
    return latest_;
}

std::optional<Outcome> MetricsSampler::ask(std::string_view name, std::uint32_t index) {
    Outcome outcome = tool::read(*findExport(name), index);
    std::uint64_t& failures = failures_[name];
    std::string& told = told_[{name, index}];
    if (outcome.failed) {
        ++failures;
        if (told != outcome.reason)
            std::fprintf(stderr, "%.*s: %s\n", static_cast<int>(name.size()), name.data(),
                         printable(outcome.reason).c_str());
    }
    told = outcome.reason;
    if (outcome.bySystem)
        outcome.value = *outcome.bySystem;
    else if (outcome.failed)
        return std::nullopt;
    return outcome;
}

void MetricsSampler::readNumbers(Exposition& to) {
    bool bySystem = false;
    for (const NumberMetric& metric : kNumbers)
        if (const auto outcome = ask(metric.name)) {
            bySystem |= outcome->bySystem.has_value();
            to.add(metric.family, {},
                   within(numberOf(*outcome), metric.lowest, metric.highest) * metric.scale);
        }
    to.add(kBySystemCounters, {}, bySystem ? 1.0 : 0.0);
}

/// Once: it takes long and stays the same.
void MetricsSampler::readMemoryModules(Exposition& to) {
    if (!modules_) {
        modules_.emplace();
        const auto outcome = ask("getMemoryManufacturerAndModel");
        const Json report =
            outcome ? Json::parse(std::get<std::string>(outcome->value), nullptr, false) : Json();
        if (report.is_object() && report.contains("data"))
            for (const Json& module : report["data"])
                modules_->push_back({{"module", std::to_string(modules_->size())},
                                     {"manufacturer", textOf(module, "manufacturer")},
                                     {"model", textOf(module, "model")}});
    }
    for (const MetricLabels& labels : *modules_)
        to.add(kModule, labels, 1.0);
}

void MetricsSampler::findDrives() {
    const auto now = Clock::now();
    if (drives_.value_or(0) > 0 || (searchedAt_ && now - *searchedAt_ < kSearchAgain)) return;
    searchedAt_ = now;
    drives_.reset();
    if (const auto count = ask("initDisk")) drives_ = std::get<std::int32_t>(count->value);
}

/// Through the export where one has it in its list; the number is taken from the record.
bool MetricsSampler::renewDrive(std::uint32_t index, bool listed) {
    if (listed) return ask("getDiskTemperature", index).has_value();
    unlisted_.renew(index);
    return true;
}

void MetricsSampler::readDrives(Exposition& to) {
    findDrives();
    const auto& engine = processWide<CAtaSmart>();
    const auto listed = static_cast<std::uint32_t>(drives_.value_or(0));
    if (drives_) to.add(kDisks, {}, *drives_);
    addUnread(to, engine.unreadDrives);
    Json types;
    if (listed > 0) {
        types = listOf(ask("getAllDiskType"));
        if (const auto system = ask("getDiskNameWhichOsInstalled"))
            to.add(kSystemDisk,
                   {{"model",
                     textOf(Json::parse(std::get<std::string>(system->value), nullptr, false), "diskName")}},
                   1.0);
    }
    // The engine's records are more than the list, which fails as a whole for one drive without counters.
    for (std::uint32_t i = 0; i < engine.vars.size(); ++i) {
        const bool asked = renewDrive(i, i < listed);
        const AtaSmartInfo& asi = engine.vars[i];
        const MetricLabels labels = {{"drive", std::to_string(i)},
                                     {"model", printable(asi.Model)},
                                     {"serial", printable(asi.SerialNumber)}};
        MetricLabels facts = labels;
        facts.emplace_back("type", i < types.size() ? textOf(types[i], "type") : asi.IsSsd ? "SSD" : "HDD");
        facts.emplace_back("firmware", printable(asi.FirmwareRev));
        facts.emplace_back("interface", printable(asi.Interface));
        facts.emplace_back("letters", printable(asi.DriveMap));
        to.add(kDisk, facts, 1.0);
        addDrive(to, asi, labels, asked);
        const auto speed = i < listed ? ask("getDiskReadWriteSpeed", i) : std::nullopt;
        if (!speed) continue;
        const Json rates = Json::parse(std::get<std::string>(speed->value), nullptr, false);
        to.add(kDiskRead, labels, rateOf(rates, "read"));
        to.add(kDiskWrite, labels, rateOf(rates, "write"));
    }
}

void MetricsSampler::readBatteries(Exposition& to) {
    const auto count = ask("initBattery");
    if (!count) return;
    const auto batteries = static_cast<std::uint32_t>(std::get<std::int32_t>(count->value));
    to.add(kBatteries, {}, batteries);
    for (std::uint32_t i = 0; i < batteries; ++i) {
        if (!ask("getBatteryAllMessage", i)) continue;
        const BatteryInfo& battery = battery::batteryList()[i]; // what the call has read
        const MetricLabels labels = {{"battery", std::to_string(i)}};
        to.add(kBattery, {labels.front(), {"manufacturer", printable(battery.manufactureName)}}, 1.0);
        for (const auto& [bit, state] : kBatteryStates)
            to.add(kBatteryState, {labels.front(), {"state", state}},
                   battery.status.PowerState & bit ? 1.0 : 0.0);
        for (const BatteryMetric& metric : kBatteryMetrics)
            to.add(metric.family, labels, metric.value(battery));
    }
}

void MetricsSampler::readNetwork(Exposition& to) {
    UniqueNames cards;
    for (const Json& card : listOf(ask("getNetCardMessage")))
        to.add(kCard,
               {{"adapter", cards(textOf(card, "model"))},
                {"type", textOf(card, "type")},
                {"mac", textOf(card, "macAddress")},
                {"manufacturer", textOf(card, "manufacture")}},
               1.0);
    UniqueNames adapters;
    for (const Json& adapter : listOf(ask("getNetCurrentSpeed"))) {
        const MetricLabels labels = {{"adapter", adapters(textOf(adapter, "model"))}};
        to.add(kReceive, labels, rateOf(adapter, "down"));
        to.add(kTransmit, labels, rateOf(adapter, "up"));
    }
}

Exposition MetricsSampler::read() {
    Exposition to;
    to.add(kTool, {{"version", HWPROBE_VERSION}}, 1.0);
    readNumbers(to);
    readMemoryModules(to);
    readDrives(to);
    readBatteries(to);
    readNetwork(to);
    for (const auto& [name, count] : failures_)
        to.add(kFailures, {{"export", std::string(name)}}, static_cast<double>(count));
    return to;
}

} // namespace tool
