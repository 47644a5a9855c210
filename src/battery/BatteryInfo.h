#pragma once

#include "platform/records/BatteryRecords.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orv::battery {

/// One system battery with what it told at the last read.
struct BatteryInfo {
    std::wstring deviceName;
    std::wstring manufactureName;
    std::uint32_t index = 0; ///< Position in the interface list; a UPS takes a position but has no record.
    platform::BATTERY_INFORMATION information{};
    platform::BATTERY_QUERY_INFORMATION query{};
    platform::BATTERY_STATUS status{}; ///< zero until the first update
    std::uint32_t estimatedTime = 0;   ///< seconds; 0 when the battery cannot tell
    platform::BATTERY_MANUFACTURE_DATE manufactureDate{};
    std::string serialNumber;
    std::uint32_t temperature = 0; ///< degrees Celsius, modulo 2^32 below zero; 0 when not supported
    std::string uniqueId;

    /// Asks the battery that has this index now. Throws HWException on what a report cannot do without; the
    /// fields read so far stay changed.
    void UpdateBatteryStatus();
};

/// The system batteries in interface order. A battery that fails is left out with a warning.
/// Throws HWException when the interface list cannot be opened.
std::vector<BatteryInfo> GetBatteryInfo();

/// Degrees Celsius of tenths of a kelvin; 0 stays 0.
std::uint32_t celsius(std::uint32_t raw);

} // namespace orv::battery
