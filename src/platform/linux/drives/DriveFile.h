#pragma once

#include "platform/DeviceFiles.h"
#include "platform/linux/drives/DiskInventory.h"

#include <memory>
#include <string_view>

namespace orv::platform {

/// Opens "\\.\PhysicalDriveN", the inventory's N-th disk, or "\\.\ScsiN:", a SCSI host or (from 128 on) an
/// NVMe controller; letters count whatever their case. No device is opened by that: one is when a request
/// needs it, for the time of the request. kFileNotFound for any other path, and for what is not there.
Result<std::unique_ptr<DeviceFile>> openDrive(DiskInventory& inventory, std::wstring_view path);

} // namespace orv::platform
