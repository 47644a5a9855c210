#include "WatchSample.h"

#include "CurrentReading.h"
#include "Drives.h"
#include "SystemCounters.h"
#include "battery/BatteryReport.h"
#include "cpu/cpu_info.h"
#include "disk_engine/CAtaSmart.h"
#include "platform/CalendarTime.h"
#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "state/ProcessState.h"

#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <limits>

namespace tool {

namespace {

using namespace orv;
using Json = nlohmann::json;

constexpr double kPerMillisecond = 1000.0; // to per second
constexpr double kNoLimit = std::numeric_limits<double>::max();
// No part of a machine is beyond these: what is beyond stands for "unknown".
constexpr double kColdest = -273.0;
constexpr double kHottest = 1000.0;

Value within(double value, double lowest, double highest) {
    return value >= lowest && value <= highest ? Value::of(value) : Value::none();
}

Value degrees(const Value& value) {
    return value.known() ? within(value.number, kColdest, kHottest) : value;
}

/// Unknown when the counter began anew.
Value rate(const Json& object, const char* key) {
    if (!object.is_object() || !object.contains(key) || !object[key].is_number()) return Value::none();
    return within(object[key].get<double>() * kPerMillisecond, 0.0, kNoLimit);
}

Json parsed(const Outcome& outcome) {
    return Json::parse(std::get<std::string>(outcome.value), nullptr, false);
}

/// Facts that no export gives. A hardware fault on the way leaves them unknown.
template <class Fact>
void quietly(Fact&& fact) {
    platform::current().faultTrap().run(fact);
}

template <class T>
Value toldValue(const Told<T>& told) {
    return told ? Value::of(static_cast<double>(*told.value)) : Value::none();
}

std::string processorName() {
    std::array<char, 48> brand{};
    quietly([&] { brand = GetCpuName(); });
    std::string name = printable(std::string_view(brand.data(), ::strnlen(brand.data(), brand.size())));
    name.erase(0, name.find_first_not_of(' '));
    name.erase(name.find_last_not_of(' ') + 1);
    return name;
}

Value share(std::uint32_t part, std::uint32_t whole) {
    const auto unknown = platform::BATTERY_UNKNOWN_CAPACITY;
    if (whole == 0 || whole == unknown || part == unknown) return Value::none();
    return Value::of(100.0 * part / whole);
}

constexpr std::pair<std::uint32_t, const char*> kPowerStates[] = {
    {platform::BATTERY_CHARGING, "charging"},
    {platform::BATTERY_DISCHARGING, "discharging"},
    {platform::BATTERY_CRITICAL, "critical"},
    {platform::BATTERY_POWER_ON_LINE, "on mains"},
};

BatterySample sampleOf(const battery::BatteryInfo& battery) {
    const auto& status = battery.status;
    BatterySample sample;
    for (const auto& [bit, word] : kPowerStates)
        if (status.PowerState & bit) sample.states += (sample.states.empty() ? "" : ", ") + std::string(word);
    if (sample.states.empty()) sample.states = "idle";
    sample.charge = share(status.Capacity, battery.information.FullChargedCapacity);
    sample.health = share(battery.information.FullChargedCapacity, battery.information.DesignedCapacity);
    sample.power =
        status.Rate == platform::BATTERY_UNKNOWN_RATE ? Value::none() : Value::of(status.Rate / 1000.0);
    sample.minutesLeft = battery.estimatedTime == 0 || battery.estimatedTime == platform::BATTERY_UNKNOWN_TIME
                             ? Value::none()
                             : Value::of(battery.estimatedTime / 60.0);
    sample.temperature = battery.temperature == 0
                             ? Value::none()
                             : within(static_cast<std::int32_t>(battery.temperature), kColdest, kHottest);
    return sample;
}

void setTime(Sample& sample, bool described) {
    const std::int64_t ns = watchClockNs(described);
    const std::int64_t seconds = ns / 1'000'000'000;
    const std::int64_t milliseconds = ns / 1'000'000 % 1000;
    sample.time = described ? fmt::format("{}.{:03}", seconds, milliseconds)
                            : fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", platform::universalTime(seconds),
                                          milliseconds);
    sample.shownTime =
        described ? sample.time + " s" : fmt::format("{:%H:%M:%S}", platform::localTime(seconds));
}

} // namespace

std::int64_t watchClockNs(bool described) {
    using namespace std::chrono;
    if (described) return platform::current().clock().monotonicNs();
    return duration_cast<nanoseconds>(platform::wallClock().time_since_epoch()).count();
}

Value Sampler::valueOf(const Export& entry, const Outcome& outcome, double scale) const {
    if (outcome.failed && !outcome.bySystem) return Value::none(printable(outcome.reason));
    if (first_ && entry.needsTwoSamples) return {};
    if (outcome.bySystem) return Value::of(*outcome.bySystem * scale);
    const auto* number = std::get_if<double>(&outcome.value);
    return Value::of((number ? *number : std::get<std::int32_t>(outcome.value)) * scale);
}

Value Sampler::number(std::string_view name, double scale, std::uint32_t index) {
    const Export& entry = *findExport(name);
    return valueOf(entry, run(entry, index), scale);
}

void Sampler::takeProcessor() {
    ProcessorSample& processor = sample_.processor;
    processor.bySystem = false;
    const auto counted = [&](std::string_view name, double scale) {
        const Export& entry = *findExport(name);
        const Outcome outcome = read(entry);
        processor.bySystem |= outcome.bySystem.has_value();
        return valueOf(entry, outcome, scale);
    };
    processor.load = counted("getCpuLoad", 100.0);
    processor.clock = counted("getCpuFrequency", 1.0);
    if (first_) processor.baseClock = number("getCpuBaseFrequency");
    processor.temperature = number("getCpuTemperature");
    const bool refused = processor.temperature.known() && processor.temperature.number > kHottest;
    processor.temperature =
        refused ? Value::none("the processor refused the register read") : degrees(processor.temperature);
}

void Sampler::takeMemory() {
    sample_.memoryLoad = number("getMemoryLoad");
    if (!first_) return;
    sample_.memoryBytes = Value::none();
    quietly([&] {
        const auto facts = platform::current().systemFacts().memoryStatus();
        if (facts.ok()) sample_.memoryBytes = Value::of(static_cast<double>(facts.value.totalPhys));
    });
}

/// What the drive's record says now, after it was read anew.
void Sampler::takeRecord(std::size_t index, bool listed) {
    DriveSample& drive = sample_.drives[index];
    Value called = Value::of(0);
    if (listed)
        called = number("getDiskTemperature", 1.0, static_cast<std::uint32_t>(index));
    else
        unlisted_.renew(index);
    const AtaSmartInfo& asi = processWide<CAtaSmart>().vars[index];
    const DriveAnswer answer = answerOf(asi, described_);
    const DriveReading reading = called.known() ? currentReading(asi) : DriveReading{};
    drive.place = placeOf(asi);
    drive.model = printable(asi.Model);
    drive.kind = kindOf(asi) + std::string(" ") + sizeText(asi.TotalDiskSize);
    drive.answers = answer.answers;
    drive.lastAnswer = lastAnswerText(answer, described_);
    drive.silence = answer.reason;
    drive.health = verdictWord(reading.health);
    drive.life = toldValue(reading.life);
    drive.temperature = !called.known()   ? called
                        : !answer.answers ? Value::none(silenceText(answer, described_))
                                          : toldValue(reading.temperature);
}

/// SCSI disks stand behind the drives with a record. No export counts their bytes.
void Sampler::takeScsiDisks() {
    for (const ScsiDisk& disk : scsiDisks()) {
        DriveSample& drive = sample_.drives.emplace_back();
        drive.place = placeOf(disk);
        drive.model = modelOf(disk);
        drive.kind = kindOf(disk) + std::string(" ") +
                     sizeText(static_cast<std::uint32_t>(disk.sizeBytes / 1'000'000));
        drive.answers = disk.reading.health != Verdict::unknown || disk.fault.empty();
        drive.silence = printable(disk.fault);
        drive.health = verdictWord(disk.reading.health);
        drive.life = toldValue(disk.reading.life);
        drive.temperature = toldValue(disk.reading.temperature);
        drive.read = drive.write = Value::none();
    }
}

/// The list stays what it was at first. A drive that is gone gives failures.
void Sampler::takeDrives(const std::atomic<bool>& stop) {
    if (first_) {
        sample_.driveList = number("initDisk");
        sample_.unreadDrives = unreadDriveLines(scsiDisks());
    }
    const auto listed = static_cast<std::size_t>(sample_.driveList.known() ? sample_.driveList.number : 0);
    sample_.drives.resize(processWide<CAtaSmart>().vars.size());
    for (std::size_t i = 0; i < sample_.drives.size() && !stop; ++i) {
        takeRecord(i, i < listed);
        DriveSample& drive = sample_.drives[i];
        if (i >= listed) {
            drive.read = drive.write = Value::none();
        } else if (!first_) {
            const Outcome speed = run(*findExport("getDiskReadWriteSpeed"), static_cast<std::uint32_t>(i));
            const Json rates = speed.failed ? Json() : parsed(speed);
            drive.read = speed.failed ? Value::none(printable(speed.reason)) : rate(rates, "read");
            drive.write = speed.failed ? drive.read : rate(rates, "write");
        }
    }
    if (!stop) takeScsiDisks();
}

/// Anew each time: they come and go.
void Sampler::takeBatteries() {
    sample_.batteryList = number("initBattery");
    const auto count = static_cast<std::size_t>(sample_.batteryList.known() ? sample_.batteryList.number : 0);
    sample_.batteries.assign(count, {});
    for (std::size_t i = 0; i < count; ++i) {
        const Outcome outcome = run(*findExport("getBatteryAllMessage"), static_cast<std::uint32_t>(i));
        const battery::BatteryInfo& battery = battery::batteryList()[i]; // as the call has read it
        BatterySample& sample = sample_.batteries[i];
        if (outcome.failed) {
            sample.charge = sample.health = sample.power = sample.temperature = sample.minutesLeft =
                Value::none(printable(outcome.reason));
            sample.states = "unknown";
        } else {
            sample = sampleOf(battery);
        }
        sample.name = printable(battery.manufactureName);
    }
}

void Sampler::takeAdapters() {
    const Outcome outcome = run(*findExport("getNetCurrentSpeed"));
    sample_.adapters.clear();
    sample_.adapterList = outcome.failed ? Value::none(printable(outcome.reason)) : Value::of(0);
    if (outcome.failed) return;
    const Json list = parsed(outcome);
    for (const Json& entry : list.is_array() ? list : Json::array()) {
        AdapterSample& adapter = sample_.adapters.emplace_back();
        if (entry.contains("model") && entry["model"].is_string())
            adapter.model = printable(entry["model"].get<std::string>());
        if (first_) continue;
        adapter.down = rate(entry, "down");
        adapter.up = rate(entry, "up");
    }
    sample_.adapterList.number = static_cast<double>(sample_.adapters.size());
}

const Sample& Sampler::take(const std::atomic<bool>& stop,
                            const std::function<void(const Sample&)>& progress) {
    setTime(sample_, described_);
    if (first_) sample_.processor.name = processorName();
    // What is there at once goes first: the clock takes half a second to measure, some drives longer to
    // answer.
    const std::function<void()> groups[] = {
        [&] { takeMemory(); },
        [&] { takeAdapters(); },
        [&] { takeBatteries(); },
        [&] {
            sample_.gpuLoad = number("getGpuLoad", 100.0);
            sample_.gpuTemperature = degrees(number("getGpuTemperature"));
        },
        [&] { takeProcessor(); },
        [&] { takeDrives(stop); },
    };
    for (const auto& group : groups) {
        if (stop) return sample_;
        group();
        progress(sample_);
    }
    first_ = false;
    return sample_;
}

std::vector<Series> seriesOf(const Sample& sample) {
    const std::string counted =
        sample.processor.bySystem ? fmt::format("load and clock by {}", kBySystem) : std::string();
    std::vector<Series> all = {
        {"cpu_load_%", counted, &sample.processor.load, 1},
        {"cpu_clock_MHz", counted, &sample.processor.clock, 0},
        {"cpu_temp_C", "", &sample.processor.temperature, 1},
        {"gpu_load_%", "", &sample.gpuLoad, 1},
        {"gpu_temp_C", "", &sample.gpuTemperature, 1},
        {"mem_used_%", "", &sample.memoryLoad, 0},
    };
    const auto add = [&](const char* list, std::size_t i, const char* what, std::string of,
                         const Value& value, int digits) {
        all.push_back({fmt::format("{}{}_{}", list, i, what), std::move(of), &value, digits});
    };
    for (std::size_t i = 0; i < sample.drives.size(); ++i) {
        const DriveSample& drive = sample.drives[i];
        const std::string of = drive.place + " " + drive.model;
        add("drive", i, "temp_C", of, drive.temperature, 1);
        add("drive", i, "read_B/s", of, drive.read, 0);
        add("drive", i, "write_B/s", of, drive.write, 0);
    }
    for (std::size_t i = 0; i < sample.batteries.size(); ++i) {
        const BatterySample& battery = sample.batteries[i];
        add("bat", i, "charge_%", battery.name, battery.charge, 1);
        add("bat", i, "power_W", battery.name, battery.power, 2);
        add("bat", i, "temp_C", battery.name, battery.temperature, 1);
    }
    for (std::size_t i = 0; i < sample.adapters.size(); ++i) {
        add("net", i, "down_B/s", sample.adapters[i].model, sample.adapters[i].down, 0);
        add("net", i, "up_B/s", sample.adapters[i].model, sample.adapters[i].up, 0);
    }
    return all;
}

} // namespace tool
