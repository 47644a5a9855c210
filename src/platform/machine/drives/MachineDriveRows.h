#pragma once

#include "platform/machine/drives/MachineDrives.h"

namespace orv::platform {

/// Rows of the management data that drives and controllers fill in, in the order of the file. Empty for a
/// class that they know nothing of.
std::optional<std::vector<ManagementColumns>> answerDriveQuery(const MachineDrives& drives,
                                                               const ManagementQuery& query);

} // namespace orv::platform
