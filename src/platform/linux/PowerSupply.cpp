#include "platform/linux/PowerSupply.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/text.h"
#include "platform/utf16.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace orv::platform {

namespace {

constexpr double kMicroPerMilli = 1e3;
constexpr double kPicoPerMilli = 1e9; // microampere times microvolt is a picowatt
constexpr std::uint32_t kPercent = 100;
constexpr std::string_view kDeviceScope = "Device"; // a part of a mouse or a headset, not of the machine
constexpr double kLargest = 0xFFFFFFFE;             // below the values that say "unknown"
constexpr double kSecondsPerHour = 3600;
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

  private:
    const RootedFiles& files_;
    std::string folder_;
};

std::uint32_t bounded(double value) {
    return static_cast<std::uint32_t>(std::clamp(value, 0.0, kLargest));
}

/// What stands in front of "now", "full" and "full_design": a battery counts energy or charge. Of a driver
/// that has files of both kinds the kind with more of them is taken, so that no two amounts differ in it.
/// Empty for a battery that has neither.
std::string kindOf(const Supply& supply) {
    int energies = 0;
    int charges = 0;
    for (const char* amount : {"now", "full", "full_design"}) {
        energies += supply.has(std::string("energy_") + amount);
        charges += supply.has(std::string("charge_") + amount);
    }
    if (energies + charges == 0) return {};
    return energies >= charges ? "energy_" : "charge_";
}

/// mWh of an amount; of a charge at the battery's nominal voltage, or the present one where no nominal one is
/// known.
std::uint32_t energy(const Supply& supply, const std::string& kind, const char* amount) {
    const auto counted = supply.number(kind + amount);
    if (!counted) return BATTERY_UNKNOWN_CAPACITY;
    if (kind == "energy_") return bounded(static_cast<double>(*counted) / kMicroPerMilli);
    auto microvolts = supply.number("voltage_min_design");
    if (!microvolts || *microvolts <= 0) microvolts = supply.number("voltage_now");
    if (!microvolts) return BATTERY_UNKNOWN_CAPACITY;
    return bounded(static_cast<double>(*counted) * static_cast<double>(*microvolts) / kPicoPerMilli);
}

/// A battery that tells percent alone: its capacities are parts of a hundred.
bool isRelative(const Supply& supply) {
    return kindOf(supply).empty() && supply.number("capacity");
}

/// What is left; by the percentage where it is not counted.
std::uint32_t remaining(const Supply& supply) {
    const std::string kind = kindOf(supply);
    if (!kind.empty() && supply.has(kind + "now")) return energy(supply, kind, "now");
    const auto percent = supply.number("capacity");
    const std::uint32_t full = kind.empty() ? kPercent : energy(supply, kind, "full");
    if (!percent || full == BATTERY_UNKNOWN_CAPACITY) return BATTERY_UNKNOWN_CAPACITY;
    return bounded(static_cast<double>(*percent) * full / kPercent);
}

/// mW in the driver's own sign.
std::optional<double> power(const Supply& supply) {
    if (const auto microwatts = supply.number("power_now"))
        return static_cast<double>(*microwatts) / kMicroPerMilli;
    const auto microamperes = supply.number("current_now");
    const auto microvolts = supply.number("voltage_now");
    if (!microamperes || !microvolts) return std::nullopt;
    return static_cast<double>(*microamperes) * static_cast<double>(*microvolts) / kPicoPerMilli;
}

/// Some drivers give the magnitude only, some a sign of their own: the state decides where it says which way
/// the current flows.
std::int32_t rate(const Supply& supply, const std::string& state) {
    const auto milliwatts = power(supply);
    if (!milliwatts) return BATTERY_UNKNOWN_RATE;
    const auto magnitude = static_cast<std::int32_t>(std::min(std::abs(*milliwatts), double{INT32_MAX}));
    if (state == "Discharging") return -magnitude;
    return state != "Charging" && *milliwatts < 0 ? -magnitude : magnitude;
}

/// By the adapters' own word; where no adapter is known, what the battery's state lets suppose.
bool onMains(const RootedFiles& files, const std::string& folder, bool supposed) {
    const std::string parent = folder.substr(0, folder.rfind('/'));
    bool known = false;
    for (const std::string& name : files.list(parent).value) {
        const Supply other(files, parent + "/" + name);
        const std::string type = other.line("type");
        if (type != "Mains" && type != "Wireless" && !type.starts_with("USB")) continue; // "USB_PD" and so on
        if (other.line("scope") == kDeviceScope) continue; // the charger of a mouse
        known = true;
        if (other.number("online").value_or(0) > 0) return true;
    }
    return !known && supposed;
}

BATTERY_STATUS statusOf(const RootedFiles& files, const std::string& folder, const Supply& supply) {
    const std::string state = supply.line("status");
    BATTERY_STATUS status{};
    const bool draws = state == "Charging" || state == "Full" || state == "Not charging";
    if (onMains(files, folder, draws)) status.PowerState |= BATTERY_POWER_ON_LINE;
    if (state == "Discharging") status.PowerState |= BATTERY_DISCHARGING;
    if (state == "Charging") status.PowerState |= BATTERY_CHARGING;
    if (supply.line("capacity_level") == "Critical") status.PowerState |= BATTERY_CRITICAL;
    status.Capacity = remaining(supply);
    const auto microvolts = supply.number("voltage_now");
    status.Voltage =
        microvolts ? bounded(static_cast<double>(*microvolts) / kMicroPerMilli) : BATTERY_UNKNOWN_VOLTAGE;
    status.Rate = rate(supply, state);
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

/// Seconds that what is left lasts at what is drawn now; unknown while nothing is drawn.
std::optional<std::uint32_t> reckonedTime(const Supply& supply) {
    const std::string kind = kindOf(supply);
    const auto microampereHours = supply.number("charge_now");
    const auto microamperes = supply.number("current_now");
    double left = 0;
    double drawn = 0;
    if (kind == "charge_" && microampereHours && microamperes) {
        left = static_cast<double>(*microampereHours);
        drawn = std::abs(static_cast<double>(*microamperes));
    } else {
        const std::uint32_t milliwattHours = remaining(supply);
        const auto milliwatts = power(supply);
        if (kind.empty() || milliwattHours == BATTERY_UNKNOWN_CAPACITY || !milliwatts) return std::nullopt;
        left = milliwattHours;
        drawn = std::abs(*milliwatts);
    }
    if (drawn == 0 || supply.line("status") != "Discharging") return BATTERY_UNKNOWN_TIME;
    return bounded(left / drawn * kSecondsPerHour);
}

/// By the driver's own word where it has a file for it. One that cannot be read or counts below zero: the
/// battery cannot tell now.
std::optional<std::uint32_t> secondsToEmpty(const Supply& supply) {
    for (const char* file : {"time_to_empty_now", "time_to_empty_avg"}) {
        if (!supply.has(file)) continue;
        const auto seconds = supply.number(file);
        return seconds && *seconds >= 0 ? bounded(static_cast<double>(*seconds)) : BATTERY_UNKNOWN_TIME;
    }
    return reckonedTime(supply);
}

BATTERY_INFORMATION informationOf(const Supply& supply) {
    BATTERY_INFORMATION information{};
    if (supply.line("type") == "Battery" && supply.line("scope") != kDeviceScope)
        information.Capabilities = BATTERY_SYSTEM_BATTERY;
    const std::string kind = kindOf(supply);
    information.DesignedCapacity = energy(supply, kind, "full_design");
    information.FullChargedCapacity = energy(supply, kind, "full");
    if (isRelative(supply)) {
        information.Capabilities |= BATTERY_CAPACITY_RELATIVE;
        information.FullChargedCapacity = kPercent;
    }
    information.CycleCount = bounded(static_cast<double>(supply.number("cycle_count").value_or(0)));
    return information;
}

std::optional<std::uint32_t> temperatureOf(const Supply& supply) {
    const auto tenths = supply.number("temp");
    if (!tenths || *tenths <= -kZeroCelsius || *tenths > INT32_MAX) return std::nullopt;
    return static_cast<std::uint32_t>(*tenths + kZeroCelsius);
}

/// The longest head of a text whose answer, as `encode` makes it, fits in `room` bytes.
template <class Encode>
std::wstring fitting(std::wstring text, std::size_t room, Encode encode) {
    text.resize(std::min(text.size(), room));
    while (!text.empty() && encode(text) > room)
        text.pop_back();
    return text;
}

/// A name of the battery; many have none, and an empty one is an answer too.
std::wstring textOf(const Supply& supply, const char* file, std::size_t room) {
    return fitting(utf8ToWide(supply.line(file)), room,
                   [](const std::wstring& text) { return utf16WithNul(text).size(); });
}

/// The kernel has no file for it: what a battery driver would put together, or else the entry's name.
std::string uniqueIdOf(const Supply& supply, const std::string& folder) {
    std::string id = supply.line("serial_number") + supply.line("manufacturer") + supply.line("model_name");
    if (id.empty()) id = folder.substr(folder.rfind('/') + 1);
    return wideToUtf8(fitting(utf8ToWide(id), kBatteryUpdateIdRoom,
                              [](const std::wstring& text) { return wideToUtf8(text).size() + 1; }));
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
        facts.deviceName = textOf(supply, "model_name", kBatteryUpdateNameRoom);
        break;
    case BatteryManufactureDate:
        facts.manufactureDate = dateOf(supply);
        break;
    case BatteryManufactureName:
        facts.manufactureName = textOf(supply, "manufacturer", kBatteryNameRoom);
        break;
    case BatteryUniqueID:
        facts.uniqueId = uniqueIdOf(supply, folder);
        break;
    case BatterySerialNumber:
        facts.serialNumber = textOf(supply, "serial_number", kBatteryUpdateIdRoom);
        break;
    default:
        break;
    }
}

} // namespace

Result<bool> isBatterySupply(const RootedFiles& files, const std::string& folder) {
    auto content = files.read(folder + "/type");
    if (!content.ok()) return {false, saysAbsent(content.error) ? kSuccess : content.error};
    const std::string type = firstLine(std::move(content.value));
    return {type == "Battery" || type == "UPS"};
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
