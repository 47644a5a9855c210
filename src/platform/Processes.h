#pragma once

#include "platform/Result.h"

#include <string>

namespace orv::platform {

class Processes {
  public:
    virtual ~Processes() = default;

    /// Starts a program without arguments and without a window, waits until it has ended, however long that
    /// takes, and lets go of it. Its exit code is not looked at. A failure is the start's.
    virtual ErrorCode runAndWait(const std::wstring& program) = 0;
};

} // namespace orv::platform
