#include "platform/FaultTrap.h"

#include "state/HeldMutex.h"

namespace orv::platform {

std::uint32_t FaultTrap::run(const std::function<void()>& body) {
    const int before = HeldMutex::heldCount();
    const std::uint32_t code = guard(body);
    if (code != 0) HeldMutex::releaseDownTo(before);
    return code;
}

} // namespace orv::platform
