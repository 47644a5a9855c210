#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace orv::platform {

/// An open device; closed with the object.
class DeviceFile {
  public:
    virtual ~DeviceFile() = default;

    /// A control code with its input and room for its output. Gives the number of bytes written, which may be
    /// fewer than there is room for; the rest of `out` stays as it was.
    virtual Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                          std::span<std::byte> out) = 0;
};

class DeviceFiles {
  public:
    virtual ~DeviceFiles() = default;

    /// An existing device for reading and writing, shared for both.
    virtual Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path) = 0;
};

} // namespace orv::platform
