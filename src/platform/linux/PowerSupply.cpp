#include "platform/linux/PowerSupply.h"

#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace orv::platform {

namespace {

constexpr double kMicroPerMilli = 1e3;
constexpr double kPicoPerMilli = 1e9;       // microampere times microvolt is a picowatt
constexpr double kLargest = 0xFFFFFFFE;     // below the values that say "unknown"
constexpr std::int64_t kZeroCelsius = 2731; // tenths of a kelvin

/// The files of one entry.
class Supply {
  public:
    Supply(const RootedFiles& files, const std::string& folder) : files_(files), folder_(folder + "/") {}

    bool has(const std::string& file) const { return files_.exists(folder_ + file); }
    std::string line(const std::string& file) const { return files_.line(folder_ + file); }

    std::optional<std::int64_t> number(const std::string& file) const {
        const std::string text = line(file);
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
        return value;
    }
    std::optional<std::wstring> text(const std::string& file) const {
        if (!has(file)) return std::nullopt;
        return utf8ToWide(line(file));
    }

  private:
    const RootedFiles& files_;
    std::string folder_;
};

std::uint32_t bounded(double value) {
    return static_cast<std::uint32_t>(std::clamp(value, 0.0, kLargest));
}

/// mWh of energy_SUFFIX, or of charge_SUFFIX at the battery's nominal voltage (the present one where no
/// nominal one is known).
std::uint32_t energy(const Supply& supply, const std::string& suffix) {
    if (const auto microwattHours = supply.number("energy_" + suffix))
        return bounded(static_cast<double>(*microwattHours) / kMicroPerMilli);
    const auto microampereHours = supply.number("charge_" + suffix);
    auto microvolts = supply.number("voltage_min_design");
    if (!microvolts || *microvolts <= 0) microvolts = supply.number("voltage_now");
    if (!microampereHours || !microvolts) return BATTERY_UNKNOWN_CAPACITY;
    return bounded(static_cast<double>(*microampereHours) * static_cast<double>(*microvolts) / kPicoPerMilli);
}

/// mW, negative while discharging: some drivers give the magnitude only, some a sign of their own.
std::int32_t rate(const Supply& supply, bool discharging) {
    double milliwatts = 0;
    if (const auto microwatts = supply.number("power_now")) {
        milliwatts = static_cast<double>(*microwatts) / kMicroPerMilli;
    } else {
        const auto microamperes = supply.number("current_now");
        const auto microvolts = supply.number("voltage_now");
        if (!microamperes || !microvolts) return BATTERY_UNKNOWN_RATE;
        milliwatts = static_cast<double>(*microamperes) * static_cast<double>(*microvolts) / kPicoPerMilli;
    }
    const auto magnitude = static_cast<std::int32_t>(std::min(std::abs(milliwatts), double{INT32_MAX}));
    return discharging ? -magnitude : magnitude;
}

bool onMains(const RootedFiles& files, const std::string& folder, bool discharging) {
    const std::string parent = folder.substr(0, folder.rfind('/'));
    bool known = false;
    for (const std::string& name : files.list(parent).value) {
        const Supply other(files, parent + "/" + name);
        const std::string type = other.line("type");
        if (type != "Mains" && type != "USB") continue;
        known = true;
        if (other.number("online").value_or(0) > 0) return true;
    }
    return !known && !discharging;
}

BATTERY_STATUS statusOf(const RootedFiles& files, const std::string& folder, const Supply& supply) {
    const std::string state = supply.line("status");
    const bool discharging = state == "Discharging";
    BATTERY_STATUS status{};
    if (!state.empty() && state != "Unknown" && onMains(files, folder, discharging))
        status.PowerState |= BATTERY_POWER_ON_LINE;
    if (discharging) status.PowerState |= BATTERY_DISCHARGING;
    if (state == "Charging") status.PowerState |= BATTERY_CHARGING;
    if (supply.line("capacity_level") == "Critical") status.PowerState |= BATTERY_CRITICAL;
    status.Capacity = energy(supply, "now");
    const auto microvolts = supply.number("voltage_now");
    status.Voltage =
        microvolts ? bounded(static_cast<double>(*microvolts) / kMicroPerMilli) : BATTERY_UNKNOWN_VOLTAGE;
    status.Rate = rate(supply, discharging);
    return status;
}

std::optional<BATTERY_MANUFACTURE_DATE> dateOf(const Supply& supply) {
    const auto year = supply.number("manufacture_year");
    const auto month = supply.number("manufacture_month");
    const auto day = supply.number("manufacture_day");
    if (!year || !month || !day) return std::nullopt;
    return BATTERY_MANUFACTURE_DATE{static_cast<std::uint8_t>(*day), static_cast<std::uint8_t>(*month),
                                    static_cast<std::uint16_t>(*year)};
}

/// A file that is there but cannot be read or counts below zero: the battery cannot tell now.
std::optional<std::uint32_t> secondsToEmpty(const Supply& supply) {
    for (const char* file : {"time_to_empty_now", "time_to_empty_avg"}) {
        if (!supply.has(file)) continue;
        const auto seconds = supply.number(file);
        return seconds && *seconds >= 0 ? bounded(static_cast<double>(*seconds)) : BATTERY_UNKNOWN_TIME;
    }
    return std::nullopt;
}

} // namespace

bool isBatterySupply(const RootedFiles& files, const std::string& folder) {
    const std::string type = files.line(folder + "/type");
    return type == "Battery" || type == "UPS";
}

BatteryFacts readPowerSupply(const RootedFiles& files, const std::string& folder) {
    const Supply supply(files, folder);
    BatteryFacts facts;
    if (supply.number("present") == 0) facts.tag = 0;
    // The battery of a mouse or a headset has the scope of its device.
    if (supply.line("type") == "Battery" && supply.line("scope") != "Device")
        facts.information.Capabilities = BATTERY_SYSTEM_BATTERY;
    facts.information.DesignedCapacity = energy(supply, "full_design");
    facts.information.FullChargedCapacity = energy(supply, "full");
    facts.information.CycleCount = bounded(static_cast<double>(supply.number("cycle_count").value_or(0)));
    facts.status = statusOf(files, folder, supply);

    const auto temperature = supply.number("temp");
    if (temperature && *temperature > -kZeroCelsius && *temperature < INT32_MAX)
        facts.temperature = static_cast<std::uint32_t>(*temperature + kZeroCelsius);
    facts.estimatedTime = secondsToEmpty(supply);
    facts.manufactureDate = dateOf(supply);
    facts.deviceName = supply.text("model_name");
    if (!facts.deviceName) facts.deviceName = utf8ToWide(folder.substr(folder.rfind('/') + 1));
    facts.manufactureName = supply.text("manufacturer");
    facts.serialNumber = supply.text("serial_number");
    // The kernel has no file for it; what a battery driver would put together.
    facts.uniqueId =
        supply.line("serial_number") + supply.line("manufacturer") + wideToUtf8(*facts.deviceName);
    return facts;
}

} // namespace orv::platform
