#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string>

namespace orv {

/// A drive that is there and has no record.
struct UnreadDrive {
    enum class Reason {
        noAnswer,      ///< no path gave identify data that can be used; `error` tells why, if it is known
        noAttributes,  ///< it was read but has no SMART data; `error` tells why, if they could not be read
        raidVolume,    ///< its model says that it is one
        twin,          ///< another record has its model and serial number: `twinOf`
        listFull,      ///< `vars` takes no more
        removable,     ///< left out on purpose: its medium can be taken out
        tieredStorage, ///< left out on purpose: a volume of a storage tier, which bears no drive commands
        noAtaCommands, ///< a SCSI disk, which has no ATA commands
    };
    std::int32_t physicalDriveId = -1;
    std::wstring model; ///< as the platform or the record names it; may be empty
    Reason reason = Reason::noAnswer;
    platform::ErrorCode error = platform::kSuccess; ///< of probeFailure
    std::int32_t twinOf = -1; ///< physical drive number of the record that has the drive
    std::wstring serialNumber =
        {}; ///< of a drive that found the list full; tells those without a number apart
};

/// A disk that a MegaRAID controller lists and that gave no identify data.
struct MegaRaidDisk {
    std::int32_t scsiPort = -1;
    std::int32_t deviceId = -1; ///< the firmware's number
};

/// Why a drive is not listed, behind "drive 1 is not listed: ".
std::wstring whyUnread(const UnreadDrive& drive);

} // namespace orv
