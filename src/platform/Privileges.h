#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace orv::platform {

/// A locally unique number of a privilege.
using PrivilegeId = std::uint64_t;

/// The access token of this process, open for adjusting privileges; closed with the object.
class ProcessToken {
  public:
    virtual ~ProcessToken() = default;

    /// Enables all. The code that the system left behind, also where the call itself succeeded: a process
    /// that does not hold each of them gets ERROR_NOT_ALL_ASSIGNED (1300).
    virtual ErrorCode enable(std::span<const PrivilegeId> privileges) = 0;
};

class Privileges {
  public:
    virtual ~Privileges() = default;

    virtual Result<std::unique_ptr<ProcessToken>> openProcessToken() = 0;
    virtual Result<PrivilegeId> lookup(std::wstring_view name) = 0;
};

} // namespace orv::platform
