#pragma once

// A request to the firmware of a MegaRAID controller: its frame (MFI) in the block of IOCTL_SCSI_MINIPORT
// under the signature "LSILOGIC". Everything is little endian.

#include "platform/records/StorageRecords.h"

#include <string_view>

namespace orv::platform {

inline constexpr std::string_view kMegaRaidSignature = "LSILOGIC";

// Frame commands.
inline constexpr std::uint8_t kMegaRaidPassThrough = 4; ///< a SCSI command to a physical drive
inline constexpr std::uint8_t kMegaRaidFirmware = 5;

inline constexpr std::uint32_t kMegaRaidDriveList = 0x02010000; ///< code of a firmware command
inline constexpr std::uint16_t kMegaRaidRead = 16;              ///< flag: the data come from the device
inline constexpr std::size_t kMegaRaidCdbBytes = 16;

#pragma pack(push, 1)

struct MegaRaidFrame {
    std::uint8_t command;
    std::uint8_t senseBytes;
    std::uint8_t status; ///< of the answer, 0 good
    std::uint8_t scsiStatus;
    std::uint8_t deviceId;
    std::uint8_t lun;
    std::uint8_t cdbLength;
    std::uint8_t scatterEntries;
    std::uint32_t context[2];
    std::uint16_t flags;
    std::uint16_t timeOut;
    std::uint32_t dataBytes;
    std::uint32_t firmwareCommand; ///< of a pass-through, where the sense data go
    std::uint32_t senseHigh;
    std::uint8_t cdb[kMegaRaidCdbBytes];
    std::uint8_t rest[80];
};
static_assert(sizeof(MegaRaidFrame) == 128 && offsetof(MegaRaidFrame, flags) == 16 &&
              offsetof(MegaRaidFrame, firmwareCommand) == 24 && offsetof(MegaRaidFrame, cdb) == 32);

/// What stands in front of the data.
struct MegaRaidHead {
    SRB_IO_CONTROL header;
    MegaRaidFrame frame;
    std::uint8_t sense[32];
};
static_assert(sizeof(MegaRaidHead) == 188 && offsetof(MegaRaidHead, frame.status) == 30 &&
              offsetof(MegaRaidHead, frame.deviceId) == 32 && offsetof(MegaRaidHead, frame.flags) == 44 &&
              offsetof(MegaRaidHead, frame.dataBytes) == 48 && offsetof(MegaRaidHead, frame.cdb) == 60);

/// Data of kMegaRaidDriveList: the head, then the entries.
struct MegaRaidListHead {
    std::uint32_t totalBytes; ///< of the whole list, which may be more than there was room for
    std::uint32_t count;
};
static_assert(sizeof(MegaRaidListHead) == 8);

struct MegaRaidListEntry {
    std::uint16_t deviceId;
    std::uint16_t enclosureId;
    std::uint8_t enclosureIndex;
    std::uint8_t slot;
    std::uint8_t deviceType; ///< SCSI's: 0 a disk
    std::uint8_t rest[17];
};
static_assert(sizeof(MegaRaidListEntry) == 24 && offsetof(MegaRaidListEntry, deviceType) == 6);

#pragma pack(pop)

} // namespace orv::platform
