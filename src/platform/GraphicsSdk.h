#pragma once

#include "platform/Libraries.h"

#include <cstdint>

namespace orv::platform {

/// NVAPI, the library of NVIDIA's graphics driver, whose functions are found by a 32-bit interface id. Their
/// records stand in records/NvapiRecords.h.
class GraphicsSdk {
  public:
    virtual ~GraphicsSdk() = default;

    /// kModuleNotFound when the driver's library is not there, kProcedureNotFound when it does not know the
    /// id.
    virtual Result<LibraryFunction> function(std::uint32_t interfaceId) = 0;
};

} // namespace orv::platform
