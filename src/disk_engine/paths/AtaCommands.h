#pragma once

// The four ATA commands that every path carries, and how their blocks are sent and kept (ATA/ATAPI-7, volume
// 1).

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/paths/DeviceAccess.h"
#include "platform/records/StorageRecords.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orv {

inline constexpr std::uint8_t kIdentifyDevice = 0xEC; ///< commands
inline constexpr std::uint8_t kSmart = 0xB0;
inline constexpr std::uint8_t kSmartReadData = 0xD0; ///< features of the second one
inline constexpr std::uint8_t kSmartReadThresholds = 0xD1;
inline constexpr std::uint8_t kSmartDisable = 0xD9;
inline constexpr std::uint8_t kSmartLbaMid = 0x4F; ///< every SMART command has these two
inline constexpr std::uint8_t kSmartLbaHigh = 0xC2;

inline constexpr std::size_t kAtaBytes = 512; ///< identify data and either SMART table
static_assert(kAtaBytes == kIdentifyBytes && kAtaBytes == kSmartBytes);
using AtaBlock = std::array<std::uint8_t, kAtaBytes>;

inline constexpr std::uint32_t kPassThroughSeconds = 2;
inline constexpr platform::DeviceOpening kCommandOpening = {.attributes = 0};

constexpr platform::IDEREGS smartRegisters(std::uint8_t feature, std::uint8_t target) {
    return {feature, 1, 1, kSmartLbaMid, kSmartLbaHigh, target, kSmart, 0};
}

/// Puts a table that a drive gave into the record, by the feature that asked for it, and reads it.
bool keepSmart(AtaSmartInfo& asi, std::uint8_t feature, std::span<const std::uint8_t, kAtaBytes> table);

} // namespace orv
