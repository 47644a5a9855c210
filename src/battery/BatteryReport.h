#pragma once

#include "battery/BatteryInfo.h"

namespace orv::battery {

/// The process's batteries, filled by initialise.
std::vector<BatteryInfo>& batteryList();

/// Enumerates anew; gives the number of batteries. The list is empty after a failure.
std::int32_t initialise();

/// The report of getBatteryAllMessage: a fresh reading of one battery.
std::string report(BatteryInfo& battery);

} // namespace orv::battery
