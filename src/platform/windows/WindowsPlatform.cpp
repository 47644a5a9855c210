#include "platform/windows/WindowsPlatform.h"

namespace orv::platform {

std::unique_ptr<Platform> makeHostPlatform() {
    return std::make_unique<WindowsPlatform>();
}

} // namespace orv::platform
