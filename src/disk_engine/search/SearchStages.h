#pragma once

#include "disk_engine/ManagementSession.h"

#include <limits>
#include <string>
#include <vector>

namespace orv {

class CAtaSmart;
struct AtaSmartInfo;

// Stages of the search for drives, in the order in which it runs them. What they find goes into the engine's
// lists. One that gives false met a query that failed, which ends the road of the management data.

inline constexpr std::size_t kAnyNumberOfRows = std::numeric_limits<std::size_t>::max();

/// Sets `version` to major x 10 + minor of AMD's RAID driver at each row that tells one.
void readAmdRaidDriverVersion(platform::ManagementServices& services, int& version);

bool readIdeControllers(CAtaSmart& engine, platform::ManagementServices& services);
bool readScsiControllers(CAtaSmart& engine, platform::ManagementServices& services);
bool readUsbDevices(CAtaSmart& engine, platform::ManagementServices& services);

/// Probes what Win32_DiskDrive lists. `removableTargetSeen` is set when a stick counted as a drive.
void searchDiskRows(CAtaSmart& engine, platform::ManagementServices& services, bool& removableTargetSeen);

/// Gives each record the letters of the volumes on its drive; those of removable ones too, from C on, if
/// `removableToo`.
void mapDriveLetters(std::vector<AtaSmartInfo>& vars, bool removableToo);

/// Drives whose firmware loses data when identify data are read, and volumes that only look like drives.
bool mayNotBeRead(const std::wstring& model, const std::wstring& firmware, bool skipOldFirmware);
/// Of these the volumes.
bool isTieredStorage(const std::wstring& model);

} // namespace orv
