#pragma once

#include "drive_reading/DriveReading.h"

namespace orv {

/// Fills `health` and `healthReason` by the standards' own words, after the life of the reading is known.
void judgeHealth(DriveReading& reading, const AtaSmartInfo& asi, const Explanation& why,
                 std::optional<bool> saysItFails);

} // namespace orv
