#pragma once

// The services of the Linux side that need no declaration of their own outside of it.

#include "platform/Clock.h"
#include "platform/SystemFacts.h"
#include "platform/linux/PolledFile.h"

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

} // namespace orv::platform
