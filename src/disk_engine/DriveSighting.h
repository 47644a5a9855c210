#pragma once

#include "disk_engine/DiskTypes.h"

#include <cstdint>
#include <string>

namespace orv {

/// What the search knows of a drive before it has answered anything. -1 is unknown.
struct DriveSighting {
    std::int32_t physicalDriveId = -1;
    std::int32_t scsiPort = -1;
    std::int32_t scsiTargetId = -1;
    std::uint32_t interfaceType = INTERFACE_TYPE_UNKNOWN;
    std::uint32_t usbVendorId = 0;
    std::uint32_t usbProductId = 0;
    std::int32_t scsiBus = -1;
    std::int32_t siliconImageType = 0; ///< model number of the controller
    BOOL isNvidiaController = 0;
    BOOL isMarvellController = 0;
    std::wstring pnpDeviceId = {};
    BOOL nvmeHint = 0; ///< the name suggests an NVMe drive behind a bridge
};

} // namespace orv
