#pragma once

#include "DriveFacts.h"
#include "Printable.h"
#include "Readings.h"
#include "disk_engine/AtaSmartInfo.h"
#include "drive_reading/ScsiReading.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace tool {

// The drives as the disk engine holds them, which is more than the exports tell: the ones behind a RAID
// driver too, and those that gave no record. The search has been run, by initDisk for one.

/// A table with a line a drive, below it the drives that do not answer and those without a record, and why;
/// the speeds are those among the readings. `described`: times are those of the machine's clock.
std::vector<std::string> driveTable(const std::vector<Reading>& readings, bool described);

/// Why drives gave no record, a line for those that share a reason; without the disks that are `told`
/// already.
std::vector<std::string> unreadDriveLines(const std::vector<orv::ScsiDisk>& told);

/// What a record says, whenever the drive told it; null where it does not know.
nlohmann::ordered_json recordJson(const orv::AtaSmartInfo& asi);

/// "drives", as they are now, each with its "reading", "scsiDisks" and "unreadDrives".
nlohmann::ordered_json drivesJson(bool described);

/// What a SCSI disk says.
nlohmann::ordered_json scsiDiskJson(const orv::ScsiDisk& disk);

/// "good", "caution", "bad" or "unknown".
const char* healthWord(std::uint32_t status);
/// "NVMe SSD", "SSD", "hard disk".
const char* kindOf(const orv::AtaSmartInfo& asi);
/// Its letters, or how else it is named.
std::string placeOf(const orv::AtaSmartInfo& asi);
/// "512 GB"; "unknown" for 0.
std::string sizeText(std::uint32_t megabytes);

} // namespace tool
