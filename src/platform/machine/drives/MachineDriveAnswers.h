#pragma once

#include "platform/machine/drives/MachineDrives.h"
#include "platform/servers/DriveRequests.h"

#include <optional>
#include <span>

namespace orv::platform {

/// Answers a control code that was sent to a drive itself.
Result<std::uint32_t> answerDrive(MachineDrive& drive, std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out);

/// Answers a control code that was sent to a port with these drives.
Result<std::uint32_t> answerPort(const std::vector<MachineDrive*>& drives, std::uint32_t code,
                                 std::span<const std::byte> in, std::span<std::byte> out);

/// The descriptor of the file, with what it leaves out as the drive itself tells it: no value is missing.
DriveDescriptor toldDescriptor(const MachineDrive& drive);
/// What a drive gave to an ATA command that a RAID driver handed on.
struct DriveData {
    DriveBlock data;
    std::optional<std::uint32_t> bytes; ///< the length to tell in place of the right one
    std::optional<IDEREGS> registers;   ///< that the command left, where the drive's path tells them
};
/// Of the request only the registers, the data's length and the time-out count.
Result<DriveData> performAta(MachineDrive& drive, DriveWay way, const DriveRequest& request);

/// How a command block ended that came to a drive with the key "scsi".
Result<ScsiReply> performScsi(MachineDrive& drive, DriveWay way, std::span<const std::uint8_t> cdb,
                              std::uint32_t timeOutSeconds);

/// Reads the medium, which is empty.
Result<std::uint32_t> readDrive(MachineDrive& drive, std::span<std::byte> into);

} // namespace orv::platform
