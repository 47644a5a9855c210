#pragma once

// Control codes that sysfs can answer: they need no right, open no device and wake no drive.

#include "platform/linux/DiskInventory.h"

#include <cstddef>
#include <span>

namespace orv::platform {

/// Empty for a code that only the device itself can answer.
std::optional<Result<std::uint32_t>> answerFromSysfs(const DiskInventory& inventory, const NumberedDisk& disk,
                                                     std::uint32_t code, std::span<const std::byte> in,
                                                     std::span<std::byte> out);

} // namespace orv::platform
