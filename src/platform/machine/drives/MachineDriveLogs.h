#pragma once

#include "platform/machine/drives/MachineDrives.h"
#include "platform/records/StorageRecords.h"

#include <optional>

namespace orv::platform {

/// The keys "deviceStatistics" and "returnStatus" of a drive (docs/machine/disk.md).
void readDriveLogs(const Node& node, bool nvme, DriveFacts& facts);

/// A drive with logs says so in the words 84 and 87 of its identify block; a check sum is not mended.
void tellOfLogs(DriveBlock& identify);

/// A page of a general purpose log of a drive that has these statistics; empty when it has no such page.
DriveBlock logPage(const DriveBlock& deviceStatistics, std::uint8_t log, std::uint16_t page);

/// What SMART RETURN STATUS leaves in the registers.
std::optional<IDEREGS> registersOf(DriveStatus status);

} // namespace orv::platform
