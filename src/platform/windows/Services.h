#pragma once

// The services of the Windows side that need no declaration of their own outside of it.

#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/NetworkTables.h"
#include "platform/SystemFacts.h"
#include "platform/SystemServices.h"

#include <cstddef>

namespace orv::platform {

class WindowsClock : public Clock {
  public:
    std::int64_t monotonicNs() override;
    void sleepNs(std::int64_t nanoseconds) override;
};

class WindowsSystemFacts : public SystemFacts {
  public:
    Result<MemoryFacts> memoryStatus() override;
    Architecture architecture() override;
    Result<OsVersion> osVersion() override;
    std::wstring mainModule() override;
    std::wstring windowsDirectory() override;
    void showMessage(std::wstring_view title, std::wstring_view text) override;
    std::wstring errorText(ErrorCode code) override;
};

/// A frame on the thread's chain of structured exception handlers while a call runs, and nothing that another
/// thread or the process could notice. Exceptions of the languages and messages to a debugger pass.
class WindowsFaultTrap : public FaultTrap {
  public:
    void resetStack() override;
    void clearFloatingPointStatus() override;

  private:
    std::uint32_t guard(const std::function<void()>& body) override;
};

/// The service control manager.
class WindowsSystemServices : public SystemServices {
  public:
    Result<std::unique_ptr<SystemService>> open(std::wstring_view name, std::uint32_t managerAccess,
                                                std::uint32_t serviceAccess) override;
    ErrorCode runInShell(std::wstring_view program, std::wstring_view parameters) override;
};

/// IP Helper. The tables can grow between two calls, so a read is repeated a few times at most.
class WindowsNetworkTables : public NetworkTables {
  public:
    Result<std::vector<AdapterRecord>> adapters() override;
    Result<std::uint32_t> adapterAddressesSize() override;
    Result<std::vector<AdapterAddress>> adapterAddresses(std::uint32_t size) override;
    ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) override;

  private:
    std::vector<std::byte> tableMemory_; // kept from poll to poll
};

} // namespace orv::platform
