#pragma once

// Control codes that sysfs can answer: they need no right, open no device and wake no drive.

#include "platform/linux/DiskInventory.h"

#include <cstddef>
#include <functional>
#include <span>

namespace orv::platform {

/// Empty for a code that only the device itself can answer. `facts` gives the disk's facts, for the codes
/// that need them.
std::optional<Result<std::uint32_t>> answerFromSysfs(const RootedFiles& files, const NumberedDisk& disk,
                                                     const std::function<const DiskFacts&()>& facts,
                                                     std::uint32_t code, std::span<const std::byte> in,
                                                     std::span<std::byte> out);

} // namespace orv::platform
