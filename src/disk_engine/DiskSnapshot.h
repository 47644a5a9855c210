#pragma once

#include "disk_engine/AtaSmartInfo.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orv {

/// A flat copy of what the library reports of a drive. Texts are in the system's narrow code page.
struct DiskSnapshot {
    std::uint32_t index = 0; ///< of the record in the engine's list
    std::uint8_t SmartReadData[kSmartBytes] = {};
    std::uint8_t SmartReadThreshold[kSmartBytes] = {};
    SMART_ATTRIBUTE Attribute[kSmartEntries] = {};
    SMART_THRESHOLD Threshold[kSmartEntries] = {};
    BOOL IsSmartEnabled = 0;
    BOOL IsSmartSupported = 0;
    BOOL IsSsd = 0;
    BOOL IsNVMe = 0;
    std::int32_t PhysicalDriveId = -1;
    std::uint32_t TotalDiskSize = 0; ///< megabytes of 1,000,000 bytes
    std::int32_t DetectedPowerOnHours = kNone;
    std::uint32_t PowerOnCount = 0;
    std::int32_t Temperature = kNoTemperature; ///< degrees Celsius, before the multiplier
    double TemperatureMultiplier = 1.0;
    std::uint32_t NominalMediaRotationRate = 0;
    std::int32_t Life = kNone; ///< percent left
    std::uint32_t DriveLetterMap = 0;
    std::string Model;
    std::string SerialNumber;
    std::string CurrentTransferMode;
    std::string Interface;
};

/// Starts COM on the thread for its time, starts the engine with its first use in the process, reads every
/// drive anew and gives them in the engine's order.
std::vector<DiskSnapshot> ReadAllSnapshots();

/// Starts the engine with its first use and reads one drive anew. COM is the caller's business. Throws
/// std::out_of_range, "index out of range".
DiskSnapshot ReadSnapshot(std::uint32_t index);

} // namespace orv
