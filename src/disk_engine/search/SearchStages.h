#pragma once

#include "disk_engine/ManagementSession.h"

#include <limits>
#include <new>
#include <string>
#include <vector>

namespace orv {

class CAtaSmart;
struct AtaSmartInfo;
struct UnreadDrive;

// Stages of the search for drives, in the order in which it runs them. What they find goes into the engine's
// lists. One that gives false met a query that failed, which ends the road of the management data.

/// A search without a descriptor left ends like one without memory: as a whole, for a part of the drives is
/// no list, and the next call runs it anew.
class TooManyOpenFiles : public std::bad_alloc {
  public:
    const char* what() const noexcept override { return "too many open files"; }
};
/// Throws it for that code, a system's or an HRESULT.
void endWithoutDescriptors(platform::ErrorCode error);

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

/// Of two failures in their order the one that says more: a right that was refused, a time-out, the later
/// one.
platform::ErrorCode tellingMore(platform::ErrorCode earlier, platform::ErrorCode later);

/// Why a drive is not listed, behind "drive 1 is not listed: ".
std::wstring whyUnread(const UnreadDrive& drive);

} // namespace orv
