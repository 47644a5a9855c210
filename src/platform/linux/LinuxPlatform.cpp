#include "platform/linux/LinuxPlatform.h"

namespace orv::platform {

std::unique_ptr<Platform> makeHostPlatform() {
    return std::make_unique<LinuxPlatform>();
}

} // namespace orv::platform
