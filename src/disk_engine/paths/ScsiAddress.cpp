#include "disk_engine/CAtaSmart.h"
#include "platform/Platform.h"

namespace orv {

std::optional<platform::SCSI_ADDRESS> GetScsiAddress(const std::wstring& path) {
    const auto file = platform::current().deviceFiles().open(path, {.attributes = 0});
    if (!file.ok()) return std::nullopt;
    platform::SCSI_ADDRESS address{};
    const auto answer = file.value->control(platform::IOCTL_SCSI_GET_ADDRESS, {},
                                            std::as_writable_bytes(std::span(&address, 1)));
    if (!answer.ok() || answer.value < sizeof address) return std::nullopt;
    return address;
}

std::wstring GetScsiPath(const std::wstring& path) {
    const auto address = GetScsiAddress(path);
    return address ? L"\\\\.\\SCSI" + std::to_wstring(address->PortNumber) + L":" : L"";
}

} // namespace orv
