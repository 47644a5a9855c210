#pragma once

#include "disk_engine/AtaSmartInfo.h"

namespace orv {

/// What a person calls an attribute of this drive: what its dialect makes of the id, else what the id means
/// on most drives; for an NVMe drive the name of the pseudo attribute. Static text, never null.
const char* AttributeName(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute);

} // namespace orv
