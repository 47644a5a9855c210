#include "platform/linux/PowerSupply.h"

#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

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

/// By the adapters' own word; where no adapter is known, what the battery's state lets suppose.
bool onMains(const RootedFiles& files, const std::string& folder, bool supposed) {
    const std::string parent = folder.substr(0, folder.rfind('/'));
    bool known = false;
    for (const std::string& name : files.list(parent).value) {
        const Supply other(files, parent + "/" + name);
        const std::string type = other.line("type");
        if (type != "Mains" && type != "USB") continue;
        known = true;
        if (other.number("online").value_or(0) > 0) return true;
    }
    return !known && supposed;
}

BATTERY_STATUS statusOf(const RootedFiles& files, const std::string& folder, const Supply& supply) {
    const std::string state = supply.line("status");
    const bool discharging = state == "Discharging";
    BATTERY_STATUS status{};
    const bool draws = state == "Charging" || state == "Full" || state == "Not charging";
    if (onMains(files, folder, draws)) status.PowerState |= BATTERY_POWER_ON_LINE;
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
    const auto fits = [](const auto& value, std::int64_t largest) {
        return value && *value >= 0 && *value <= largest;
    };
    if (!fits(year, UINT16_MAX) || !fits(month, UINT8_MAX) || !fits(day, UINT8_MAX)) return std::nullopt;
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

BATTERY_INFORMATION informationOf(const Supply& supply) {
    BATTERY_INFORMATION information{};
    // The battery of a mouse or a headset has the scope of its device.
    if (supply.line("type") == "Battery" && supply.line("scope") != "Device")
        information.Capabilities = BATTERY_SYSTEM_BATTERY;
    information.DesignedCapacity = energy(supply, "full_design");
    information.FullChargedCapacity = energy(supply, "full");
    information.CycleCount = bounded(static_cast<double>(supply.number("cycle_count").value_or(0)));
    return information;
}

std::optional<std::uint32_t> temperatureOf(const Supply& supply) {
    const auto tenths = supply.number("temp");
    if (!tenths || *tenths <= -kZeroCelsius || *tenths > INT32_MAX) return std::nullopt;
    return static_cast<std::uint32_t>(*tenths + kZeroCelsius);
}

std::wstring nameOf(const Supply& supply, const std::string& folder) {
    return supply.text("model_name").value_or(utf8ToWide(folder.substr(folder.rfind('/') + 1)));
}

/// Reads the files of one level: a report asks for eight of them, one after the other.
void readLevel(const Supply& supply, const std::string& folder, std::int32_t level, BatteryFacts& facts) {
    switch (level) {
    case BatteryInformation:
        facts.information = informationOf(supply);
        break;
    case BatteryTemperature:
        facts.temperature = temperatureOf(supply);
        break;
    case BatteryEstimatedTime:
        facts.estimatedTime = secondsToEmpty(supply);
        break;
    case BatteryDeviceName:
        facts.deviceName = nameOf(supply, folder);
        break;
    case BatteryManufactureDate:
        facts.manufactureDate = dateOf(supply);
        break;
    case BatteryManufactureName:
        facts.manufactureName = supply.text("manufacturer");
        break;
    case BatteryUniqueID: // the kernel has no file for it; what a battery driver would put together
        facts.uniqueId =
            supply.line("serial_number") + supply.line("manufacturer") + wideToUtf8(nameOf(supply, folder));
        break;
    case BatterySerialNumber:
        facts.serialNumber = supply.text("serial_number");
        break;
    default:
        break;
    }
}

} // namespace

bool isBatterySupply(const RootedFiles& files, const std::string& folder) {
    const std::string type = files.line(folder + "/type");
    return type == "Battery" || type == "UPS";
}

Result<std::uint32_t> answerPowerSupply(const RootedFiles& files, const std::string& folder,
                                        std::uint32_t code, std::span<const std::byte> in,
                                        std::span<std::byte> out) {
    const Supply supply(files, folder);
    BatteryFacts facts;
    if (supply.number("present") == 0) facts.tag = 0;
    BATTERY_QUERY_INFORMATION query{};
    if (code == IOCTL_BATTERY_QUERY_STATUS) facts.status = statusOf(files, folder, supply);
    if (code == IOCTL_BATTERY_QUERY_INFORMATION && in.size() >= sizeof query) {
        std::memcpy(&query, in.data(), sizeof query);
        readLevel(supply, folder, query.InformationLevel, facts);
    }
    return answerBattery(facts, code, in, out);
}

} // namespace orv::platform
