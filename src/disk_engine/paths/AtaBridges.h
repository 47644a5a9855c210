#pragma once

#include "disk_engine/CommandPath.h"

#include <array>
#include <cstdint>

namespace orv {

// Places of a bridge's command block that the sender fills.
inline constexpr std::uint16_t kDeviceByte = 0x100; ///< the device select
inline constexpr std::uint16_t kFeature = 0x200;    ///< of the control command

/// A SCSI command block that carries an ATA command.
struct BridgeCdb {
    std::uint8_t length = 0;
    std::array<std::uint8_t, 16> bytes{};
    std::uint32_t dataBytes = 0;
};

/// ATA PASS-THROUGH (SAT-5, 12.2): of 16 bytes for a 48-bit command, and else of the 12 that carried the
/// others.
BridgeCdb passThroughCdb(const AtaTask& task, std::uint8_t target);

} // namespace orv
