#include "platform/linux/graphics/GraphicsSdk.h"

namespace orv::platform {

Result<LibraryFunction> LinuxGraphicsSdk::function(std::uint32_t interfaceId) {
    if (!isLoaded_) {
        isLoaded_ = files_.isRunningSystem() && nvml_.load(); // a captured tree has no driver
        if (!isLoaded_) return Result<LibraryFunction>::failed(kModuleNotFound);
        nvml_.serve();
    }
    const LibraryFunction found = servedNvapiFunction(interfaceId);
    if (!found) return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {found};
}

} // namespace orv::platform
