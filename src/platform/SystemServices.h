#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace orv::platform {

inline constexpr std::uint32_t kServiceRunning = 4; // SERVICE_RUNNING

/// An open service of the system's service manager; closed with the object.
class SystemService {
  public:
    virtual ~SystemService() = default;

    /// SERVICE_STATUS.dwCurrentState
    virtual Result<std::uint32_t> state() = 0;
    /// Asks for the start and does not wait for it.
    virtual ErrorCode start() = 0;
};

class SystemServices {
  public:
    virtual ~SystemServices() = default;

    /// Opens the service manager of this machine, and a service of it, with the access bits for each.
    virtual Result<std::unique_ptr<SystemService>> open(std::wstring_view name, std::uint32_t managerAccess,
                                                        std::uint32_t serviceAccess) = 0;

    /// Runs a program through the shell, without a window, and does not wait for it.
    virtual ErrorCode runInShell(std::wstring_view program, std::wstring_view parameters) = 0;
};

} // namespace orv::platform
