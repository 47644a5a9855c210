#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace orv {

struct AtaTask;

enum class BridgeOperation { identify, readData, readThresholds, control };

/// The command block of a USB bridge.
struct BridgeCdb {
    std::uint8_t length = 0;
    std::array<std::uint8_t, 16> bytes{};
    std::uint32_t dataBytes = 0;
};

/// ATA PASS-THROUGH (SAT-5, 12.2): of 16 bytes for a 48-bit command, and else of the 12 that carried the
/// others.
BridgeCdb passThroughCdb(const AtaTask& task, std::uint8_t target);

/// What a kind of bridge understands as an ATA command. `feature` is that of the control command. Empty for a
/// path that is no bridge.
std::optional<BridgeCdb> bridgeCommand(std::uint32_t commandType, BridgeOperation operation,
                                       std::uint8_t target, std::uint8_t feature = 0);

} // namespace orv
