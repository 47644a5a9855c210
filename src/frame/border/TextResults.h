#pragma once

#include "frame/border/callFrame.h"
#include "state/ProcessState.h"

namespace orv::frame {

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

/// Makes the texts that failures are told in, a part of loading: from then on no export needs memory to fail.
inline void makeRoomForFailures() {
    makeRoomForExceptions();
    processWide<LastError>();
    processWide<TextResults>();
}

} // namespace orv::frame
