#pragma once

#include "platform/machine/drives/MachineDrives.h"
#include "platform/servers/DriveRequests.h"

namespace orv::platform {

/// A command to a drive, freed from the form in which it came.
struct DriveCommand {
    DriveWay way = DriveWay::ataPassThrough;
    DriveOperation operation = DriveOperation::identify;
    std::optional<std::uint8_t> target; ///< the device byte, where the form has one
    std::uint8_t feature = 0;           ///< of a control command
    /// What the outgoing half of a pair asks for.
    std::optional<DriveOperation> asked;
    std::uint8_t log = 0; ///< address of a log, with the page of it
    std::uint16_t page = 0;
};

/// Reads a command block as a bridge of the drive does; empty when none of them knows it.
std::optional<DriveCommand> readBridgeCommand(const MachineDrive& drive, const DriveRequest& request,
                                              std::span<const std::byte> in);

} // namespace orv::platform
