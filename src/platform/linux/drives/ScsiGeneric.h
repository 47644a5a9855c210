#pragma once

// Commands to a drive through the kernel's SCSI layer (SG_IO), ATA commands as ATA PASS-THROUGH (16) of the
// SCSI / ATA translation (SAT-5, 12.2.3).

#include "platform/servers/DriveRequests.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace orv::platform {

enum class DataWay { none, fromDevice, toDevice };

struct ScsiCommand {
    std::array<std::uint8_t, 16> cdb{};
    std::uint8_t cdbLength = 0;
    DataWay way = DataWay::none;
    std::size_t dataBytes = 0;
    std::uint32_t milliseconds = 0;
};

/// How a command ended.
struct ScsiOutcome {
    std::uint8_t status = 0; ///< of the drive: 0 good, 2 check condition
    std::uint16_t hostStatus = 0;
    std::uint16_t driverStatus = 0;
    std::size_t transferred = 0;
    std::vector<std::uint8_t> sense = {};
};

inline constexpr std::uint8_t kScsiCheckCondition = 2;
inline constexpr std::size_t kAtaSectorBytes = 512;

/// The command of a request by task file or command block; a request without a time-out gets a minute.
/// Data of an ATA command come in whole sectors.
ScsiCommand scsiCommandOf(const DriveRequest& request);

/// True when sense data carry the registers of an ATA command that ended with an error or a device fault.
bool tellsAtaError(std::span<const std::uint8_t> sense);

/// Success, kTimedOut where the drive did not answer in time, or ERROR_IO_DEVICE. A task file has to end
/// well. A command block's own check condition is no failure, since the block takes the sense data back,
/// unless it tells of an ATA error.
ErrorCode errorOf(const DriveRequest& request, const ScsiOutcome& outcome);

/// The data bytes that count: none of a command that ended with an error, whatever length the host tells.
std::size_t dataOf(const ScsiOutcome& outcome);

/// Writes the answer of a command that ended so, or gives its error: the data that count of `data`, and for a
/// command block the drive's status and sense data too.
Result<std::uint32_t> writeScsiAnswer(const DriveRequest& request, const ScsiOutcome& outcome,
                                      std::span<const std::byte> in, std::span<const std::uint8_t> data,
                                      std::span<std::byte> out);

/// Sends a command to an open device; `data` has the command's data bytes.
Result<ScsiOutcome> sendScsi(int file, const ScsiCommand& command, std::span<std::uint8_t> data);

} // namespace orv::platform
