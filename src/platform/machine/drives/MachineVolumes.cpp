#include "platform/machine/drives/MachineVolumes.h"

#include "platform/DeviceFiles.h"
#include "platform/machine/Node.h"
#include "platform/servers/ManagementRows.h"

#include <algorithm>
#include <cstring>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;

DISK_EXTENT readExtent(const Node& entry) {
    DISK_EXTENT extent{};
    extent.DiskNumber = static_cast<std::uint32_t>(entry.number("disk", kAny32));
    extent.StartingOffset = static_cast<std::int64_t>(entry.number("start", INT64_MAX, 0));
    extent.ExtentLength = static_cast<std::int64_t>(entry.number("length", INT64_MAX));
    entry.done();
    return extent;
}

MachineVolume readVolume(const Node& entry) {
    constexpr std::uint64_t largestType = 6; // DRIVE_RAMDISK
    MachineVolume volume;
    const std::string letter = entry.text("letter");
    if (letter.size() != 1 || letter < "A" || letter > "Z") entry.at("letter").fail("must be one of A to Z");
    volume.letter = static_cast<wchar_t>(letter.front());
    volume.type = static_cast<std::uint32_t>(entry.number("type", largestType, kFixedVolume));
    volume.openError = static_cast<ErrorCode>(entry.number("openError", kAny32, kSuccess));
    if (entry.has("extents")) {
        volume.extents.emplace();
        for (const Node& extent : entry.list("extents"))
            volume.extents->push_back(readExtent(extent));
    }
    entry.done();
    return volume;
}

} // namespace

MachineVolumes::MachineVolumes(const Node& root) {
    for (const Node& entry : root.list("volumes")) {
        const MachineVolume volume = readVolume(entry);
        if (std::ranges::find(volumes_, volume.letter, &MachineVolume::letter) != volumes_.end())
            entry.at("letter").fail("another volume has this letter");
        volumes_.push_back(volume);
    }
}

const MachineVolume* MachineVolumes::byLetter(std::wstring_view letter) const {
    for (const MachineVolume& volume : volumes_)
        if (sameName(letter, std::wstring_view(&volume.letter, 1))) return &volume;
    return nullptr;
}

const MachineVolume* MachineVolumes::byRoot(std::wstring_view root) const {
    return root.size() == 3 && root.ends_with(LR"(:\)") ? byLetter(root.substr(0, 1)) : nullptr;
}

const MachineVolume* MachineVolumes::byDevice(std::wstring_view path) const {
    constexpr std::wstring_view prefix = LR"(\\.\)";
    const bool fits = path.size() == prefix.size() + 2 && path.starts_with(prefix) && path.ends_with(L':');
    return fits ? byLetter(path.substr(prefix.size(), 1)) : nullptr;
}

Result<std::uint32_t> answerVolume(const MachineVolume& volume, std::uint32_t code,
                                   std::span<std::byte> out) {
    using Answer = Result<std::uint32_t>;
    constexpr std::size_t head = offsetof(VOLUME_DISK_EXTENTS, Extents);
    if (code != IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS || !volume.extents)
        return Answer::failed(kInvalidFunction);
    if (out.size() < head + sizeof(DISK_EXTENT)) return Answer::failed(kInsufficientBuffer);
    VOLUME_DISK_EXTENTS record{};
    record.NumberOfDiskExtents = static_cast<std::uint32_t>(volume.extents->size());
    std::memcpy(out.data(), &record, head);
    const std::size_t fitting = std::min(volume.extents->size(), (out.size() - head) / sizeof(DISK_EXTENT));
    if (fitting != 0) std::memcpy(out.data() + head, volume.extents->data(), fitting * sizeof(DISK_EXTENT));
    if (fitting < volume.extents->size()) return Answer::failed(kMoreData);
    return {static_cast<std::uint32_t>(head + fitting * sizeof(DISK_EXTENT))};
}

} // namespace orv::platform
