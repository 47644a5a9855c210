#pragma once

#include "Readings.h"
#include "disk_engine/AtaSmartInfo.h"
#include "platform/Result.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace tool {

// The drives as the disk engine holds them, which is more than the exports tell: the ones behind a RAID
// driver too, and those that gave no record. The search has been run, by initDisk for one.

/// A table with a line a drive, below it the drives without a record and why; the speeds are those among the
/// readings.
std::vector<std::string> driveTable(const std::vector<Reading>& readings);

/// Why drives gave no record, a line for those that share a reason.
std::vector<std::string> unreadDriveLines();

/// What a record says; null where it does not know.
nlohmann::ordered_json recordJson(const orv::AtaSmartInfo& asi);

/// "drives" and "unreadDrives".
nlohmann::ordered_json drivesJson();

/// "good", "caution", "bad" or "unknown".
const char* healthWord(std::uint32_t status);
/// "NVMe SSD", "SSD", "hard disk".
const char* kindOf(const orv::AtaSmartInfo& asi);
/// Its letters, or how else it is named.
std::string placeOf(const orv::AtaSmartInfo& asi);
/// "512 GB"; "unknown" for 0.
std::string sizeText(std::uint32_t megabytes);
/// The letters that control a terminal are shown as dots.
std::string printable(const std::wstring& text);
/// "access denied; run as root (on Windows as administrator)", "1 (Incorrect function.)".
std::string deviceErrorText(orv::platform::ErrorCode error);

} // namespace tool
