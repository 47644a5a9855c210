#pragma once

#include "platform/Result.h"

namespace orv::platform {

/// The Windows code for an errno value; ERROR_GEN_FAILURE for one without a counterpart, 0 for 0.
ErrorCode errorFromErrno(int value);

/// The errno that a Windows code stands for; 0 when there is none.
int errnoFromError(ErrorCode code);

} // namespace orv::platform
