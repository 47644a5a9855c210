#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "drive_reading/DriveReading.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tool {

/// The section "What the drive says": each value with its basis, then where it differs from the rule's. `asi`
/// is null for a drive without a record.
std::string readingText(const orv::DriveReading& reading, const orv::AtaSmartInfo* asi);

/// "life", "health", "healthReason" ..., null for unknown; "basis", an object with the same keys; "differs",
/// the keys that differ from the rule's; "disagreements", sentences about sources that differ.
nlohmann::ordered_json readingJson(const orv::DriveReading& reading, const orv::AtaSmartInfo* asi);

/// "1.50 TB"; decimal, as drives are sold.
std::string bytesText(std::uint64_t bytes);

} // namespace tool
