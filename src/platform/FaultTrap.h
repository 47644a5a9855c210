#pragma once

#include <cstdint>
#include <functional>

namespace orv::platform {

/// Turns a hardware fault inside a call into its 32-bit exception code.
class FaultTrap {
  public:
    virtual ~FaultTrap() = default;

    /// Runs `body` on this thread. Gives 0 when it returned, or the code of the hardware fault that ended
    /// it. What `body` throws passes through. A fault ends `body` where it stands: objects on its stack are
    /// not destroyed. Calls nest; nothing outside the call is touched.
    virtual std::uint32_t run(const std::function<void()>& body) = 0;

    /// Makes the stack usable again after a fault that used up its guard page.
    virtual void resetStack() = 0;

    /// Clears the sticky bits of the floating-point status word.
    virtual void clearFloatingPointStatus() = 0;
};

} // namespace orv::platform
