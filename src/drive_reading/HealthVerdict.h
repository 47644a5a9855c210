#pragma once

#include "drive_reading/DriveReading.h"

namespace orv {

/// The worst finding so far; of two that are as bad, the first.
struct Finding {
    Verdict verdict = Verdict::unknown;
    std::string reason;

    void take(Verdict found, std::string why);
};

/// Worn out, little left, or good; nothing where the life is unknown.
void judgeLife(Finding& finding, const Told<std::int32_t>& life);

/// Fills `health` and `healthReason` by the standards' own words, after the life of the reading is known.
void judgeHealth(DriveReading& reading, const AtaSmartInfo& asi, const Explanation& why,
                 std::optional<bool> saysItFails);

} // namespace orv
