#pragma once

#include "platform/DeviceTree.h"

#include <span>
#include <vector>

namespace orv::platform {

/// The bytes that the detail record of a path needs: its own size field, the text and its NUL.
std::uint32_t detailBytes(std::wstring_view path);

/// A list of device interfaces that are known by their paths, for the sides without a device tree to ask.
class PathInterfaces : public DeviceInterfaces {
  public:
    PathInterfaces(const Guid& deviceClass, std::vector<std::wstring> paths)
        : class_(deviceClass), paths_(std::move(paths)) {}

    Result<SP_DEVICE_INTERFACE_DATA> at(std::uint32_t index) override;
    Result<std::uint32_t> detailSize(const SP_DEVICE_INTERFACE_DATA& data) override;
    Result<std::wstring> detail(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t size) override;

  private:
    /// Null when the record is none of this list's.
    const std::wstring* pathOf(const SP_DEVICE_INTERFACE_DATA& data) const;

    Guid class_;
    std::vector<std::wstring> paths_;
};

} // namespace orv::platform
