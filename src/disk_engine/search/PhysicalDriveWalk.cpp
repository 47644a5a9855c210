#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/WideText.h"
#include "disk_engine/search/SearchStages.h"

#include <fmt/xchar.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace orv {

namespace {

constexpr std::size_t kDescriptorRoom = 4096;
constexpr std::uint32_t kUnknownUsbVendor = 0xFFFF; // no such vendor: the general order of the bridges

/// What the drive's driver tells of it without asking the drive.
struct Descriptor {
    std::uint32_t busType = 0;
    std::wstring vendor;
    std::wstring model;
    std::wstring firmware;
};

/// A disk of the SCSI protocol itself. An ATA disk that is attached so has the vendor "ATA", or none.
bool isScsiDisk(const Descriptor& drive) {
    constexpr std::uint32_t buses[] = {platform::kBusTypeScsi, platform::kBusTypeFibre,
                                       platform::kBusTypeIscsi, platform::kBusTypeSas};
    std::wstring vendor = drive.vendor;
    TrimRight(vendor);
    return std::ranges::find(buses, drive.busType) != std::end(buses) && !vendor.empty() && vendor != L"ATA";
}

std::wstring textAt(std::span<const std::byte> block, std::uint32_t at) {
    std::wstring text;
    if (at == 0) return text;
    for (std::size_t i = at; i < block.size() && block[i] != std::byte{0}; ++i)
        text.push_back(std::to_integer<wchar_t>(block[i]));
    return text;
}

} // namespace

bool CAtaSmart::SearchPhysicalDrive(std::int32_t physicalDriveId) {
    forgetProbe();
    const auto isKnown = [&](const AtaSmartInfo& asi) { return asi.PhysicalDriveId == physicalDriveId; };
    if (std::ranges::any_of(vars, isKnown)) return false;
    auto file = OpenPhysicalDrive(physicalDriveId);
    if (!file) {
        if (probeFailure() != platform::kFileNotFound) noteUnread(physicalDriveId, {});
        return false;
    }

    platform::DISK_GEOMETRY geometry{};
    const auto measured = devices.control(*file, platform::IOCTL_DISK_GET_DRIVE_GEOMETRY, {},
                                          std::as_writable_bytes(std::span(&geometry, 1)));
    if (!measured.ok() || measured.value != sizeof geometry) return false;
    if (geometry.MediaType != platform::kFixedMedia) {
        devices.noteFailure(platform::kNotSupported);
        noteUnread({physicalDriveId, {}, UnreadDrive::Reason::removable});
        return false;
    }

    DriveSighting drive{.physicalDriveId = physicalDriveId};
    Descriptor descriptor;
    const auto read = [&] {
        const std::array<std::uint32_t, 3> query{}; // property 0, query type 0, padding
        std::array<std::byte, kDescriptorRoom> room{};
        const auto answer = devices.control(*file, platform::IOCTL_STORAGE_QUERY_PROPERTY,
                                            std::as_bytes(std::span(query)), room);
        platform::STORAGE_DEVICE_DESCRIPTOR head;
        std::memcpy(&head, room.data(), sizeof head);
        descriptor = {head.BusType, textAt(room, head.VendorIdOffset), textAt(room, head.ProductIdOffset),
                      textAt(room, head.ProductRevisionOffset)};
        return answer.ok();
    };
    if (!read()) {
        noteUnread(physicalDriveId, {});
        return false;
    }
    if (descriptor.busType == platform::kBusTypeNvme) drive.interfaceType = INTERFACE_TYPE_NVME;
    if (mayNotBeRead(descriptor.model, descriptor.firmware, SkipHd204uiOldFirmware != 0)) {
        devices.noteFailure(platform::kNotSupported);
        if (isTieredStorage(descriptor.model))
            noteUnread({physicalDriveId, descriptor.model, UnreadDrive::Reason::tieredStorage});
        return false;
    }
    DebugPrint(L"USB-HDD Check");
    if (read()) {
        DebugPrint(L"Check Bus Type");
        if (descriptor.busType == platform::kBusTypeUsb) {
            DebugPrint(L"Bus Type = USB");
            drive.interfaceType = INTERFACE_TYPE_USB;
            drive.usbVendorId = kUnknownUsbVendor;
        }
    }
    file.reset();

    DebugPrint(L"DO:GetDiskInfo");
    if (!GetDiskInfo(drive)) {
        // A right or a time-out says why there was no answer; any other failure is what such a disk gives.
        if (isScsiDisk(descriptor) && probed_.reason == UnreadDrive::Reason::noAnswer &&
            probeFailure() != platform::kAccessDenied && probeFailure() != platform::kTimedOut)
            probed_.reason = UnreadDrive::Reason::noAtaCommands;
        noteUnread(physicalDriveId, descriptor.model);
        return false;
    }
    DebugPrint(L"OK:GetDiskInfo");
    AtaSmartInfo& asi = vars.back();
    checkReverse(asi);
    if (drive.interfaceType == INTERFACE_TYPE_USB) asi.Interface = fmt::format(L"USB ({})", asi.Interface);
    return true;
}

} // namespace orv
