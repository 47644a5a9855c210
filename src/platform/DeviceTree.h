#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace orv::platform {

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
    bool operator==(const Guid&) const = default;
};

/// Device interface class of batteries, uninterruptible power supplies included.
inline constexpr Guid kBatteryClass = {
    0x72631E54, 0x78A4, 0x11D0, {0xBC, 0xF7, 0x00, 0xAA, 0x00, 0xB7, 0xB3, 0x2A}};

/// One device interface in a list, as a 32-bit process has it (setupapi.h).
struct SP_DEVICE_INTERFACE_DATA {
    std::uint32_t cbSize;
    Guid InterfaceClassGuid;
    std::uint32_t Flags;
    std::uint32_t Reserved; ///< the platform's own
};
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 28 && offsetof(SP_DEVICE_INTERFACE_DATA, Flags) == 20 &&
              offsetof(SP_DEVICE_INTERFACE_DATA, Reserved) == 24);

/// The present device interfaces of a class at the time of asking; released with the object.
class DeviceInterfaces {
  public:
    virtual ~DeviceInterfaces() = default;

    /// The interface of an index; kNoMoreItems past the last one.
    virtual Result<SP_DEVICE_INTERFACE_DATA> at(std::uint32_t index) = 0;
    /// The question for an interface's detail without a buffer. It tells the bytes that the detail needs and
    /// always leaves a code: kInsufficientBuffer when all is well.
    virtual Result<std::uint32_t> detailSize(const SP_DEVICE_INTERFACE_DATA& data) = 0;
    /// The device path, asked for with a buffer of `size` bytes.
    virtual Result<std::wstring> detail(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t size) = 0;
};

class DeviceTree {
  public:
    virtual ~DeviceTree() = default;

    /// A class without a device is an empty list, not a failure.
    virtual Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) = 0;
};

} // namespace orv::platform
