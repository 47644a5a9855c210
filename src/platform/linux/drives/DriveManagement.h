#pragma once

#include "platform/linux/drives/DriveIds.h"
#include "platform/servers/ManagementRows.h"

#include <optional>
#include <vector>

namespace orv::platform {

/// The rows of a query on disks and their controllers, in the form of Windows: the classes Win32_DiskDrive,
/// Win32_IDEController, Win32_SCSIController, Win32_USBController, Win32_PnPSignedDriver (which has no rows
/// here), and their associators. Empty for another query. `latest` is the disk that such a query was last
/// answered with: the next one is mostly about it.
std::optional<std::vector<ManagementColumns>>
answerDriveQuery(DiskInventory& inventory, const ManagementQuery& query, std::optional<Drive>& latest);

} // namespace orv::platform
