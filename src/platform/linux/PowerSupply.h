#pragma once

#include "platform/BatteryServer.h"
#include "platform/linux/RootedFiles.h"

namespace orv::platform {

/// True for an entry of /sys/class/power_supply that is a battery or an uninterruptible power supply.
bool isBatterySupply(const RootedFiles& files, const std::string& folder);

/// What a battery's files tell now, in the units of the battery records.
BatteryFacts readPowerSupply(const RootedFiles& files, const std::string& folder);

} // namespace orv::platform
