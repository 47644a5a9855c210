#pragma once

#include "platform/records/AmdRc2Records.h"

namespace orv {

/// AMD_RC2t7x86.dll, once a process: it stays loaded, and outlives every search.
struct AmdRc2Library {
    bool Rc2Tried = false;  ///< the load ran to `AMD_RC2_Init`
    bool Rc2Loaded = false; ///< that gave 1

    platform::rc2::Init Init = nullptr;
    platform::rc2::GetStatus GetStatus = nullptr; ///< has to be there, and is not called
    platform::rc2::GetDrives GetDrives = nullptr;
    platform::rc2::Reload Reload = nullptr;
    platform::rc2::GetIdentify GetIdentify = nullptr;
    platform::rc2::GetSmartData GetSmartData = nullptr;
};

} // namespace orv
