#pragma once

#include "platform/FaultTrap.h"

namespace orv::platform {

/// Signals on an alternate stack. From the first guarded call that runs to the last one, in whatever threads,
/// the host's handlers of the four fault signals are put aside; they get what comes from other threads.
///
/// A fault of the thread itself ends the call. A fault signal that somebody sent to it does not: the call
/// goes on and ends with the signal's code.
class LinuxFaultTrap : public FaultTrap {
  public:
    void resetStack() override {} // the kernel grows no guard page that would have to be put back
    void clearFloatingPointStatus() override;

  private:
    std::uint32_t guard(const std::function<void()>& body) override;
};

/// In a forked child, which has the calling thread alone: the guarded calls of the others are over.
void forgetGuardsOfOtherThreads();

} // namespace orv::platform
