#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace orv::platform {

inline constexpr std::uint32_t kRegistryText = 1; // REG_SZ; UTF-16, its end may be missing

struct RegistryValueInfo {
    std::uint32_t type = 0;
    std::uint32_t size = 0; ///< bytes
};

/// An open key; closed with the object.
class RegistryKey {
  public:
    virtual ~RegistryKey() = default;

    /// Name of the subkey of an index, which has to fit into `room` characters with its NUL; kNoMoreItems
    /// past the last one.
    virtual Result<std::wstring> subkey(std::uint32_t index, std::uint32_t room) = 0;
    virtual Result<RegistryValueInfo> valueInfo(std::wstring_view name) = 0;
    /// Reads a value into `data`; kMoreData when it is larger.
    virtual ErrorCode value(std::wstring_view name, std::span<std::byte> data) = 0;
};

class Registry {
  public:
    virtual ~Registry() = default;

    /// A key below HKEY_LOCAL_MACHINE.
    virtual Result<std::unique_ptr<RegistryKey>> open(std::wstring_view path, std::uint32_t access) = 0;
};

} // namespace orv::platform
