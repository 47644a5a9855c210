#pragma once

// Admin commands to an NVMe controller. The storage query and the three miniport forms come down to this one
// way.

#include "platform/servers/DriveRequests.h"

#include <linux/nvme_ioctl.h>
#include <span>

namespace orv::platform {

/// The kernel's command of a request, without the data's address: its operation code, namespace and command
/// dwords as they stand in the block. A storage query names a log page alone; the number of dwords is added
/// to it, and no more than the health log has. A block without a time-out gets the kernel's.
///
/// Only commands whose data are surely within `data_len` are built, for a drive writes what the command says:
/// kInvalidFunction for another operation than Identify and Get Log Page, kInvalidParameter for one that
/// gives more than the block has room for.
Result<nvme_admin_cmd> nvmeCommandOf(const DriveRequest& request);

/// How an admin command ended: what the ioctl gave, and errno where that is negative. Above 0 is the status
/// that the drive or, for a command without an answer in time, the kernel gave; that is kTimedOut.
ErrorCode nvmeErrorOf(int status, int error);

/// Sends a command to an open controller or namespace; `data` has the command's data bytes.
ErrorCode sendNvme(int file, nvme_admin_cmd command, std::span<std::uint8_t> data);

} // namespace orv::platform
