#include "platform/servers/DevicePaths.h"

namespace orv::platform {

namespace {
constexpr std::uint32_t kActive = 1; // SPINT_ACTIVE
} // namespace

std::uint32_t detailBytes(std::wstring_view path) {
    return static_cast<std::uint32_t>(sizeof(std::uint32_t) + 2 * (path.size() + 1));
}

Result<SP_DEVICE_INTERFACE_DATA> PathInterfaces::at(std::uint32_t index) {
    if (index >= paths_.size()) return Result<SP_DEVICE_INTERFACE_DATA>::failed(kNoMoreItems);
    return {{sizeof(SP_DEVICE_INTERFACE_DATA), class_, kActive, index}};
}

const std::wstring* PathInterfaces::pathOf(const SP_DEVICE_INTERFACE_DATA& data) const {
    return data.cbSize == sizeof data && data.Reserved < paths_.size() ? &paths_[data.Reserved] : nullptr;
}

Result<std::uint32_t> PathInterfaces::detailSize(const SP_DEVICE_INTERFACE_DATA& data) {
    const std::wstring* path = pathOf(data);
    if (!path) return Result<std::uint32_t>::failed(kInvalidParameter);
    return {detailBytes(*path), kInsufficientBuffer};
}

Result<std::wstring> PathInterfaces::detail(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t size) {
    const std::wstring* path = pathOf(data);
    if (!path) return Result<std::wstring>::failed(kInvalidParameter);
    if (size < detailBytes(*path)) return Result<std::wstring>::failed(kInsufficientBuffer);
    return {*path};
}

} // namespace orv::platform
