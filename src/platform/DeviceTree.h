#pragma once

#include "platform/Result.h"
#include "platform/records/SetupApiRecords.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace orv::platform {

/// Device interface class of batteries, uninterruptible power supplies included.
inline constexpr Guid kBatteryClass = {
    0x72631E54, 0x78A4, 0x11D0, {0xBC, 0xF7, 0x00, 0xAA, 0x00, 0xB7, 0xB3, 0x2A}};

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

/// Setup class of SCSI adapters, NVMe controllers included.
inline constexpr Guid kScsiAdapterClass = {
    0x4D36E97B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

/// One property of a device (DEVPROPKEY).
struct DevicePropertyKey {
    Guid set;
    std::uint32_t id;
};

/// A device of a setup class.
class Device {
  public:
    virtual ~Device() = default;

    /// The device's instance id, which has to fit into `room` characters with its NUL.
    virtual Result<std::wstring> id(std::uint32_t room) = 0;
    /// Reads a property into `data` and gives its bytes. kModuleNotFound or kProcedureNotFound where the
    /// system has no such question.
    virtual Result<std::uint32_t> property(const DevicePropertyKey& key, std::span<std::byte> data) = 0;
};

/// The present devices of a setup class at the time of asking; released with the object.
class Devices {
  public:
    virtual ~Devices() = default;

    /// The device of an index, to be used while this object lives; kNoMoreItems past the last one.
    virtual Result<std::unique_ptr<Device>> at(std::uint32_t index) = 0;
};

class DeviceTree {
  public:
    virtual ~DeviceTree() = default;

    /// A class without a device is an empty list, not a failure.
    virtual Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) = 0;
    /// As above, by a setup class.
    virtual Result<std::unique_ptr<Devices>> devicesOf(const Guid& setupClass) = 0;
    /// A list that has the class's device of an id, if there is one. A side that finds a device by its id
    /// lists that one alone.
    virtual Result<std::unique_ptr<Devices>> devicesWith(const Guid& setupClass, std::wstring_view /*id*/) {
        return devicesOf(setupClass);
    }
};

} // namespace orv::platform
