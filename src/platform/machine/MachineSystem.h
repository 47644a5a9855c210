#pragma once

#include "platform/SystemFacts.h"
#include "platform/SystemServices.h"
#include "platform/machine/Requests.h"

#include <map>

namespace orv::platform {

class Node;

/// Sections "system" and "memory" of a machine file.
class MachineSystemFacts : public SystemFacts {
  public:
    MachineSystemFacts(const Node& root, Requests& requests);

    Result<MemoryFacts> memoryStatus() override;
    Architecture architecture() override;
    Result<OsVersion> osVersion() override;
    std::wstring mainModule() override;
    std::wstring windowsDirectory() override;
    void showMessage(std::wstring_view title, std::wstring_view text) override;
    std::wstring errorText(ErrorCode code) override;

  private:
    Requests& requests_;
    MemoryFacts memory_;
    Architecture architecture_;
    OsVersion version_ = kTakenForWindows;
    std::map<ErrorCode, std::wstring> errorTexts_;
};

/// The service manager.
class MachineSystemServices : public SystemServices {
  public:
    explicit MachineSystemServices(Requests& requests) : requests_(requests) {}
    Result<std::unique_ptr<SystemService>> open(std::wstring_view name, std::uint32_t managerAccess,
                                                std::uint32_t serviceAccess) override;
    ErrorCode runInShell(std::wstring_view program, std::wstring_view parameters) override;

  private:
    Requests& requests_;
};

} // namespace orv::platform
