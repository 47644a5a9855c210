#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "platform/servers/BatteryServer.h"

namespace orv::platform {

/// True for an entry of /sys/class/power_supply that is a battery or an uninterruptible power supply, false
/// for one that is another thing or gone; a failure when it cannot be looked at.
Result<bool> isBatterySupply(const RootedFiles& files, const std::string& folder);

/// Answers a control code from what the battery's files tell now, in the units of the battery records.
Result<std::uint32_t> answerPowerSupply(const RootedFiles& files, const std::string& folder,
                                        std::uint32_t code, std::span<const std::byte> in,
                                        std::span<std::byte> out);

} // namespace orv::platform
