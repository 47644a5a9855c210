#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/dialects/Explanation.h"
#include "drive_reading/DriveReading.h"
#include "drive_reading/ScsiReading.h"

#include <string>
#include <vector>

namespace tool {

// What drives say themselves, for every surface: the standards' logs are asked for at most every five
// seconds, and what a drive refuses is not asked again in the process. Like the library, not for several
// threads at once.

/// What a drive says now, by its record and its logs: nothing while it does not answer.
orv::DriveReading currentReading(const orv::AtaSmartInfo& asi);

/// The rules that gave an ATA drive's record its values, found by making them anew.
orv::Explanation rulesOf(const orv::AtaSmartInfo& asi);

/// The SCSI disks among the drives without a record.
const std::vector<orv::ScsiDisk>& scsiDisks();
/// "drive 3", "port 0 disk 12".
std::string placeOf(const orv::ScsiDisk& disk);
/// Vendor and product.
std::string modelOf(const orv::ScsiDisk& disk);
/// "SCSI SSD", "SCSI hard disk".
const char* kindOf(const orv::ScsiDisk& disk);

/// Seconds since 1970, which bound the age of a drive.
std::int64_t unixNow();

} // namespace tool
