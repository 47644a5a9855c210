#pragma once

#include "platform/Result.h"
#include "platform/records/StorageRecords.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orv::platform {

/// The forms in which a command to a drive travels in a control code.
enum class DrivePath {
    ataPassThrough,  ///< IOCTL_ATA_PASS_THROUGH
    idePassThrough,  ///< IOCTL_IDE_PASS_THROUGH
    smartReceive,    ///< SMART_RCV_DRIVE_DATA
    smartSend,       ///< SMART_SEND_DRIVE_COMMAND
    scsiDisk,        ///< miniport "SCSIDISK"
    siliconImage,    ///< miniport "CMD_IDE "
    scsiPassThrough, ///< IOCTL_SCSI_PASS_THROUGH
    storageQuery,    ///< IOCTL_STORAGE_QUERY_PROPERTY for NVMe data
    nvmeMini,        ///< miniport "NvmeMini"
    nvmeRaid,        ///< miniport "NvmeRAID"
    intelNvm,        ///< miniport "IntelNvm"
};

/// A command to a drive, read out of the block of a control code.
struct DriveRequest {
    DrivePath path = DrivePath::ataPassThrough;
    IDEREGS ata{};     ///< the ATA paths
    IDEREGS ataHigh{}; ///< of a 48-bit command: what stands above the low bytes
    bool is48Bit = false;
    std::uint8_t target = 0;     ///< drive or target number that a miniport block names
    std::uint8_t pathId = 0;     ///< of "NvmeRAID" and "IntelNvm"
    std::uint8_t nvmeOpcode = 0; ///< the NVMe paths, with the three below
    std::uint32_t namespaceId = 0;
    std::uint32_t commandDword10 = 0;
    std::uint32_t commandDword11 = 0;
    std::array<std::uint8_t, 16> cdb{}; ///< scsiPassThrough, with cdbLength
    std::uint8_t cdbLength = 0;
    bool toDevice = false;            ///< the data go to the device
    std::uint32_t timeOutSeconds = 0; ///< 0 where the block has none
    std::size_t dataAt = 0;           ///< of the data in the output block, or in the input when they go out
    std::size_t dataBytes = 0;
    std::size_t senseAt = 0; ///< of the sense data in the output block, 0 for none
    std::size_t senseBytes = 0;

    bool isAta() const { return path <= DrivePath::siliconImage; }
    bool isNvme() const { return path >= DrivePath::storageQuery; }
};

/// Reads a block; empty when the code carries no command to a drive, its block is too short, its signature is
/// none of those above, or its data do not fit into `out` bytes of output.
std::optional<DriveRequest> readDriveRequest(std::uint32_t code, std::span<const std::byte> in,
                                             std::size_t out);

/// SMART RETURN STATUS, which has its answer in the registers.
bool asksForStatus(const IDEREGS& registers);

/// Writes the registers that a command left into the answer of an ATA pass-through; does nothing to others.
void writeAtaRegisters(const DriveRequest& request, const IDEREGS& registers, std::span<std::byte> out);

/// The registers of a command of which nothing is known but that it ended well.
inline constexpr IDEREGS kEndedWell = {0, 0, 0, 0, 0, 0, 0x50, 0};

/// Writes the answer as the system's driver does: the head of the block, and `data` where the request wants
/// them. Gives the bytes written; kInsufficientBuffer when they do not fit.
Result<std::uint32_t> writeDriveAnswer(const DriveRequest& request, std::span<const std::byte> in,
                                       std::span<const std::uint8_t> data, std::span<std::byte> out);

} // namespace orv::platform
