#include "disk_engine/paths/PcieLink.h"

#include "disk_engine/ManagementSession.h"
#include "disk_engine/paths/DeviceAccess.h"
#include "platform/DeviceTree.h"
#include "platform/Platform.h"

#include <fmt/xchar.h>

#include <array>

namespace orv {

namespace {

constexpr std::uint32_t kDeviceIdRoom = 260; // characters
constexpr std::size_t kPropertyRoom = 1024;

struct LinkProperty {
    std::uint32_t id;
    std::uint32_t PcieLink::*value;
};

/// DEVPKEY_PciDevice_*
constexpr platform::Guid kPciDeviceProperties = {
    0x3AB22E31, 0x8264, 0x4B4E, {0x9A, 0xF5, 0xA8, 0xD2, 0xD8, 0xE3, 0x3E, 0x62}};
constexpr LinkProperty kLinkProperties[] = {
    {11, &PcieLink::MaxLinkSpeed},
    {12, &PcieLink::MaxLinkWidth},
    {9, &PcieLink::CurrentLinkSpeed},
    {10, &PcieLink::CurrentLinkWidth},
};

/// Of the last row that has one.
std::wstring lastDeviceId(platform::ManagementServices& services, const std::wstring& query) {
    std::wstring found;
    const auto rows = services.execQuery(query);
    if (!rows.ok()) return found;
    while (const auto row = rows.value->next(kRowMilliseconds)) {
        std::wstring id = columnText(*row, L"DeviceID");
        if (!id.empty()) found = std::move(id);
    }
    return found;
}

PcieLink linkOf(platform::Device& device) {
    PcieLink link;
    for (const LinkProperty& row : kLinkProperties) {
        std::array<std::byte, kPropertyRoom> data{};
        const auto bytes = device.property({kPciDeviceProperties, row.id}, data);
        if (bytes.ok() && bytes.value > 0) link.*row.value = std::to_integer<std::uint32_t>(data[0]);
    }
    return link;
}

} // namespace

std::wstring GetControllerDeviceId(std::int32_t physicalDriveId) {
    const ManagementSession session = connectManagement(L"\\\\.\\root\\cimv2", platform::kConnectWaitsAtMost);
    if (!session.services) return {};
    const std::wstring drive =
        lastDeviceId(*session.services, fmt::format(L"ASSOCIATORS OF {{Win32_DiskDrive.DeviceID='{}'}} WHERE "
                                                    L"ResultClass=Win32_PnPEntity",
                                                    physicalDrivePath(physicalDriveId)));
    if (drive.empty()) return {};
    return lastDeviceId(*session.services,
                        fmt::format(L"ASSOCIATORS OF {{Win32_PnPEntity.DeviceID='{}'}} WHERE "
                                    L"AssocClass=Win32_SCSIControllerDevice",
                                    drive));
}

PcieLink GetPcieLink(std::int32_t physicalDriveId) {
    const std::wstring wanted = GetControllerDeviceId(physicalDriveId);
    if (wanted.empty()) return {};
    const auto devices = platform::current().deviceTree().devicesWith(platform::kScsiAdapterClass, wanted);
    if (!devices.ok()) return {};
    for (std::uint32_t index = 0;; ++index) {
        const auto device = devices.value->at(index);
        if (!device.ok()) return {};
        if (const auto id = device.value->id(kDeviceIdRoom); id.ok() && id.value == wanted)
            return linkOf(*device.value);
    }
}

std::wstring FormatPcieLink(std::uint32_t speed, std::uint32_t width) {
    return speed == 0 || width == 0 ? L"----" : fmt::format(L"PCIe {}.0 x{}", speed, width);
}

} // namespace orv
