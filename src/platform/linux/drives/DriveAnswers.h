#pragma once

// Control codes that sysfs can answer: they need no right, open no device and wake no drive.

#include "platform/linux/drives/DiskInventory.h"

#include <cstddef>
#include <optional>
#include <span>

namespace orv::platform {

/// Empty for a code that only the device itself can answer; kFileNotFound when the disk is not there. `facts`
/// keeps the disk's facts from the first code on that needs them.
std::optional<Result<std::uint32_t>> answerFromSysfs(DiskInventory& inventory, const NumberedDisk& disk,
                                                     std::optional<DiskFacts>& facts, std::uint32_t code,
                                                     std::span<const std::byte> in, std::span<std::byte> out);

} // namespace orv::platform
