#pragma once

// The services of the Linux side that need no declaration of their own outside of it.

#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/SystemFacts.h"
#include "platform/linux/PolledFile.h"

#include <memory>

namespace orv::platform {

class LinuxClock : public Clock {
  public:
    std::int64_t monotonicNs() override;
    void sleepNs(std::int64_t nanoseconds) override;
};

class LinuxSystemFacts : public SystemFacts {
  public:
    explicit LinuxSystemFacts(const RootedFiles& files)
        : meminfo_(files, "/proc/meminfo"), statm_(files, "/proc/self/statm") {}
    Result<MemoryFacts> memoryStatus() override;
    Architecture architecture() override;
    Result<OsVersion> osVersion() override;
    std::wstring mainModule() override;
    void showMessage(std::wstring_view title, std::wstring_view text) override;
    std::wstring errorText(ErrorCode code) override;

  private:
    PolledFile meminfo_;
    PolledFile statm_;
};

/// Signals on an alternate stack. While a call runs, the host's handlers of the four fault signals are put
/// aside; they get what does not come from the guarded thread.
class LinuxFaultTrap : public FaultTrap {
  public:
    std::uint32_t run(const std::function<void()>& body) override;
    void resetStack() override {} // the kernel grows no guard page that would have to be put back
    void clearFloatingPointStatus() override;
};

} // namespace orv::platform
