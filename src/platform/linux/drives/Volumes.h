#pragma once

// Mounted file systems as volumes with letters. All of it comes from the mount table and sysfs: no device is
// opened and no drive woken.

#include "platform/DeviceFiles.h"
#include "platform/linux/drives/DiskInventory.h"
#include "platform/records/StorageRecords.h"

#include <memory>
#include <string_view>
#include <vector>

namespace orv::platform {

/// A file system that lies on disks of the inventory.
struct Volume {
    wchar_t letter;                   ///< C to Z
    std::vector<DISK_EXTENT> extents; ///< the parts of disks below it, at least one
};

/// The volumes by their letters: C is the root file system and no other, even where that lies on no disk; the
/// others follow in the order of the mount table.
std::vector<Volume> volumes(DiskInventory& inventory);

/// Of the root folder "C:\", whatever the letter's case; kNoRootFolder for anything else than a volume's.
std::uint32_t volumeType(DiskInventory& inventory, std::wstring_view root);

/// Opens "\\.\C:", whatever the letter's case. kFileNotFound for any other path, and for a letter without a
/// volume.
Result<std::unique_ptr<DeviceFile>> openVolume(DiskInventory& inventory, std::wstring_view path);

} // namespace orv::platform
