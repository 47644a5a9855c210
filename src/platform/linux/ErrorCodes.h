#pragma once

#include "platform/Result.h"

namespace orv::platform {

/// The Windows code for an errno value; ERROR_GEN_FAILURE for one without a counterpart, 0 for 0.
ErrorCode errorFromErrno(int value);

/// True for a code which says that a thing is not there, as against one that cannot be looked at.
bool saysAbsent(ErrorCode code);

/// The errno that a Windows code stands for; 0 when there is none.
int errnoFromError(ErrorCode code);

} // namespace orv::platform
