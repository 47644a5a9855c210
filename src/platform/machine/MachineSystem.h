#pragma once

#include "platform/SystemFacts.h"
#include "platform/SystemServices.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"

#include <map>
#include <optional>
#include <vector>

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
    std::wstring windowsDirectory_ = L"C:\\Windows";
    std::map<ErrorCode, std::wstring> errorTexts_;
};

inline constexpr std::wstring_view kManagementService = L"Winmgmt"; ///< that of the management data

/// A service, with what was asked of it so far.
struct MachineService {
    std::wstring name;
    std::uint32_t state = kServiceRunning;
    std::optional<std::int64_t> startsAfterNs = {}; ///< none: once asked to start it stays pending
    ErrorCode openError = kSuccess;
    ErrorCode startError = kSuccess;
    std::optional<std::int64_t> askedAtNs = {};

    std::uint32_t stateAt(std::int64_t nowNs) const;
};

/// Section "services" of a machine file. Without an entry the service of the management data runs, and no
/// other is there.
class MachineSystemServices : public SystemServices {
  public:
    MachineSystemServices(const Node& root, Requests& requests, const MachineClock& clock);
    Result<std::unique_ptr<SystemService>> open(std::wstring_view name, std::uint32_t managerAccess,
                                                std::uint32_t serviceAccess) override;
    ErrorCode runInShell(std::wstring_view program, std::wstring_view parameters) override;

    bool isRunning(std::wstring_view name) const;

  private:
    const MachineService* find(std::wstring_view name) const;

    Requests& requests_;
    const MachineClock& clock_;
    std::vector<MachineService> services_;
};

} // namespace orv::platform
