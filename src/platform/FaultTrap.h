#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace orv::platform {

/// Turns a hardware fault inside a call into its 32-bit exception code.
class FaultTrap {
  public:
    virtual ~FaultTrap() = default;

    /// Runs `body` on this thread. Gives 0 when it returned, or the code of the hardware fault that ended
    /// it. What `body` throws passes through. A fault ends `body` where it stands: objects on its stack are
    /// not destroyed, and the mutexes of the library that it took are released. Calls nest, and may overlap
    /// in several threads; nothing outside the call is touched.
    std::uint32_t run(const std::function<void()>& body);

    /// Makes the stack usable again after a fault that used up its guard page.
    virtual void resetStack() = 0;

    /// Clears the sticky bits of the floating-point status word.
    virtual void clearFloatingPointStatus() = 0;

  private:
    virtual std::uint32_t guard(const std::function<void()>& body) = 0;
};

/// The trap of the system that this build runs on, for whoever meets real faults on it.
std::unique_ptr<FaultTrap> makeHostFaultTrap();

/// A real hardware fault on this thread: a guarded call ends with exactly this code, and without one the
/// system ends the process.
[[noreturn]] void raiseFault(std::uint32_t code);

} // namespace orv::platform
