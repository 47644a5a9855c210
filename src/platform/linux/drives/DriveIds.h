#pragma once

#include "platform/linux/drives/DiskInventory.h"

#include <optional>
#include <string>
#include <vector>

namespace orv::platform {

/// A disk with the names that the device tree of Windows would give it.
struct Drive {
    std::uint32_t number;
    DiskFacts facts;
    std::string id;    ///< "SCSI\DISK&VEN_NVME&PROD_...\5&00000080&0&000000", no two alike
    std::string model; ///< with what Windows adds to it, "... USB Device"
};

/// All present disks by their numbers.
std::vector<Drive> drivesOf(DiskInventory& inventory);
/// The disk of a number alone, without a look at the others where its id tells it from them. The firmware of
/// an NVMe drive may be that of an earlier look.
std::optional<Drive> driveOf(DiskInventory& inventory, std::uint32_t number);

/// "USB\VID_152D&PID_0578\SERIAL" of the USB device that a disk stands in.
std::string usbDeviceId(const RootedFiles& files, const DiskFacts& facts);

} // namespace orv::platform
