#include "battery/BatteryReport.h"

#include "json/value.h"
#include "platform/text.h"
#include "state/ProcessState.h"

namespace orv::battery {

namespace {

struct BatteryState {
    std::vector<BatteryInfo> list;
};

/// In the order of the report.
constexpr struct {
    std::uint32_t bit;
    const char* text;
} kPowerStates[] = {
    {platform::BATTERY_POWER_ON_LINE, "AC power"},
    {platform::BATTERY_DISCHARGING, "discharging"},
    {platform::BATTERY_CRITICAL, "critical"},
    {platform::BATTERY_CHARGING, "charging"},
};

/// Amperes of milliwatts and millivolts.
double current(const platform::BATTERY_STATUS& status) {
    if (status.Voltage == 0) return 0.0;
    return static_cast<double>(status.Rate) / static_cast<double>(status.Voltage);
}

} // namespace

std::vector<BatteryInfo>& batteryList() {
    return processWide<BatteryState>().list;
}

std::int32_t initialise() {
    auto& list = batteryList();
    list.clear();
    list = GetBatteryInfo();
    return static_cast<std::int32_t>(list.size());
}

std::string report(BatteryInfo& battery) {
    battery.UpdateBatteryStatus();
    const auto& status = battery.status;
    const auto& information = battery.information;
    json::value object;
    object["bias"] = information.CriticalBias;
    object["capacity"] = static_cast<std::int32_t>(status.Capacity); // unknown shows as -1
    object["cycleCount"] = information.CycleCount;
    object["designCapacity"] = static_cast<std::int32_t>(information.DesignedCapacity);
    object["electricCurrent"] = current(status);
    object["estimatedTime"] = battery.estimatedTime;
    object["fullChargedCapacity"] = static_cast<std::int32_t>(information.FullChargedCapacity);
    object["manufacturer"] = platform::wideToAnsi(battery.manufactureName);
    object["power"] = status.Rate;
    for (const auto& state : kPowerStates)
        if (status.PowerState & state.bit) object["status"].push_back(state.text);
    object["temperature"] = battery.temperature;
    object["voltage"] = status.Voltage;
    return json::dump(object);
}

} // namespace orv::battery
