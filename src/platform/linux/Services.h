#pragma once

// The services of the Linux side that need no declaration of their own outside of it.

#include "platform/Clock.h"
#include "platform/SystemFacts.h"
#include "platform/SystemServices.h"
#include "platform/linux/files/PolledFile.h"

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
    std::wstring windowsDirectory() override;
    void showMessage(std::wstring_view title, std::wstring_view text) override;
    std::wstring errorText(ErrorCode code) override;

  private:
    PolledFile meminfo_;
    PolledFile statm_;
};

/// The management data are answered by this side itself, so their service "Winmgmt" always runs. There is no
/// other service, and no shell.
class LinuxSystemServices : public SystemServices {
  public:
    Result<std::unique_ptr<SystemService>> open(std::wstring_view name, std::uint32_t managerAccess,
                                                std::uint32_t serviceAccess) override;
    ErrorCode runInShell(std::wstring_view program, std::wstring_view parameters) override;
};

} // namespace orv::platform
