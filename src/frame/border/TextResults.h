#pragma once

#include "frame/lastError.h"
#include "state/ProcessState.h"

#include <exception>
#include <string>

namespace orv::frame {

/// The two buffers of a text export: a pointer to one stays valid while the other is written.
struct TextResult {
    TextResult() { failure.reserve(kFailureRoom); }

    std::string success;
    std::string failure;
};

/// Result texts of the text exports, a pair each.
struct TextResults {
    TextResult memoryManufacturerAndModel;
    TextResult allDiskType;
    TextResult diskReadWriteSpeed;
    TextResult diskNameWhichOsInstalled;
    TextResult batteryAllMessage;
    TextResult netCardMessage;
    TextResult netCurrentSpeed;
};

/// The C++ run-time library's own record of this thread's exceptions. In a host written in C the system makes
/// it when first asked for, and ends the process when it has no memory: so it is asked for by each call, not
/// by the first failure.
inline void makeRoomForExceptions() noexcept {
    // What looks into it; the value is kept so that the call is.
    [[maybe_unused]] volatile const int found = std::uncaught_exceptions();
}

/// Makes the texts that failures are told in, a part of loading: from then on no export needs memory to fail.
inline void makeRoomForFailures() {
    makeRoomForExceptions();
    processWide<LastError>();
    processWide<TextResults>();
}

} // namespace orv::frame
