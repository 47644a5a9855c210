#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace orv::platform {

/// How a device is opened, in the words of CreateFileW. It exists already.
struct DeviceOpening {
    bool write = true; ///< for reading and writing; otherwise for reading alone
    bool shareRead = true;
    bool shareWrite = true;
    std::uint32_t attributes = 0x80; ///< FILE_ATTRIBUTE_NORMAL
};

/// An open device; closed with the object.
class DeviceFile {
  public:
    virtual ~DeviceFile() = default;

    /// A control code with its input and room for its output. Gives the number of bytes written, which may be
    /// fewer than there is room for; the rest of `out` stays as it was.
    virtual Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                          std::span<std::byte> out) = 0;

    /// Reads from `offset`, bytes from the device's start. Gives the number of bytes read.
    virtual Result<std::uint32_t> read(std::uint64_t offset, std::span<std::byte> into) = 0;
};

// GetDriveTypeW
inline constexpr std::uint32_t kNoRootFolder = 1;
inline constexpr std::uint32_t kRemovableVolume = 2;
inline constexpr std::uint32_t kFixedVolume = 3;

class DeviceFiles {
  public:
    virtual ~DeviceFiles() = default;

    virtual Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path,
                                                     const DeviceOpening& opening = {}) = 0;

    /// What kind of a volume has its root there ("C:\\"); kNoRootFolder for none. The volume itself opens as
    /// "\\.\C:".
    virtual std::uint32_t driveType(std::wstring_view root) = 0;

    /// Gives the device `target` of the system's own names the name "\\.\NAME" (DefineDosDeviceW with
    /// DDD_RAW_TARGET_PATH).
    virtual ErrorCode defineDosDevice(std::wstring_view name, std::wstring_view target) = 0;
};

} // namespace orv::platform
