#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/WideText.h"
#include "disk_engine/search/SearchStages.h"
#include "platform/Platform.h"

#include <algorithm>
#include <array>

namespace orv {

namespace {

constexpr std::size_t kNumberedDisks = 256;
constexpr platform::DeviceOpening kAlone = {.shareRead = false, .shareWrite = false};

using LetterMasks = std::array<std::uint32_t, kNumberedDisks>; // by disk number, bit 0 for A

bool holdsLetter(std::uint32_t driveType, wchar_t letter, bool removableToo) {
    return driveType == platform::kFixedVolume ||
           (driveType == platform::kRemovableVolume && removableToo && letter >= L'C');
}

/// Marks the disks that a volume lies on. One of four disks or more is on none.
void mark(LetterMasks& masks, wchar_t letter, const platform::VOLUME_DISK_EXTENTS& volume) {
    if (volume.NumberOfDiskExtents >= std::size(volume.Extents)) return;
    for (std::uint32_t i = 0; i < volume.NumberOfDiskExtents; ++i) {
        const platform::DISK_EXTENT& extent = volume.Extents[i];
        if (extent.ExtentLength != 0 && extent.DiskNumber < masks.size())
            masks[extent.DiskNumber] |= 1U << (letter - L'A');
    }
}

void readVolume(LetterMasks& masks, wchar_t letter, bool removableToo) {
    platform::DeviceFiles& devices = platform::current().deviceFiles();
    const std::wstring name = std::wstring(1, letter) + L":";
    if (!holdsLetter(devices.driveType(name + L"\\"), letter, removableToo)) {
        DebugPrint(L"Drive Letter Mapping - != DRIVE_FIXED");
        return;
    }
    const auto volume = devices.open(LR"(\\.\)" + name, kAlone);
    if (!volume.ok()) {
        endWithoutDescriptors(volume.error);
        DebugPrint(L"Drive Letter Mapping - INVALID_HANDLE_VALUE");
        return;
    }
    platform::VOLUME_DISK_EXTENTS extents{}; // what an answer leaves out has no length
    const auto answer = volume.value->control(platform::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {},
                                              std::as_writable_bytes(std::span(&extents, 1)));
    if (answer.ok())
        mark(masks, letter, extents);
    else
        DebugPrint(L"Drive Letter Mapping - bResult == FALSE");
}

} // namespace

void mapDriveLetters(std::vector<AtaSmartInfo>& vars, bool removableToo) {
    DebugPrint(L"Drive Letter Mapping - Start");
    LetterMasks masks{};
    for (wchar_t letter = L'A'; letter <= L'Z'; ++letter)
        readVolume(masks, letter, removableToo);
    for (AtaSmartInfo& asi : vars) {
        if (asi.PhysicalDriveId < 0 || static_cast<std::size_t>(asi.PhysicalDriveId) >= masks.size())
            continue;
        const std::uint32_t mask = masks[static_cast<std::size_t>(asi.PhysicalDriveId)];
        for (wchar_t letter = L'A'; letter <= L'Z'; ++letter)
            if (mask >> (letter - L'A') & 1) asi.DriveMap += std::wstring(1, letter) + L": ";
        asi.DriveLetterMap |= mask;
        TrimRight(asi.DriveMap);
    }
    DebugPrint(L"Drive Letter Mapping - End");
}

} // namespace orv
