#include "platform/linux/drives/Volumes.h"

#include "platform/linux/drives/DiskFacts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

namespace orv::platform {

namespace {

constexpr std::string_view kBlockDevices = "/sys/class/block";

std::string deviceFolder(std::string_view name) {
    return std::string(kBlockDevices) + "/" + std::string(name);
}

std::string_view lastOf(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// Takes what stands before the next separator, and the separator.
std::string_view take(std::string_view& rest, char separator) {
    const auto end = std::min(rest.find(separator), rest.size());
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return taken;
}

/// A line of /proc/self/mountinfo, as far as letters need it.
struct Mount {
    std::string_view device; ///< major and minor number, "8:1"
    std::string_view point;
    std::string_view type;
    std::string_view source; ///< with blanks and backslashes as octal numbers
};

/// Lines that are too short are left out.
std::vector<Mount> mountsIn(std::string_view table) {
    std::vector<Mount> mounts;
    while (!table.empty()) {
        std::string_view line = take(table, '\n');
        std::array<std::string_view, 6> words; // id, parent, device, root, mount point, options
        for (std::string_view& word : words)
            word = take(line, ' ');
        while (!line.empty() && take(line, ' ') != "-") {
        }
        const std::string_view type = take(line, ' ');
        if (!type.empty()) mounts.push_back({words[2], words[4], type, take(line, ' ')});
    }
    return mounts;
}

/// The text with each "\040" as the character of that octal number.
std::string withoutEscapes(std::string_view text) {
    constexpr std::size_t digits = 3;
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto number =
            text[at] == '\\' ? wholeNumber(text.substr(at + 1, digits), 8) : std::optional<std::uint64_t>();
        plain.push_back(number ? static_cast<char>(*number) : text[at]);
        if (number) at += digits;
    }
    return plain;
}

/// The kernel's name of a device by its node. Nodes of the device mapper are links, or nodes of their own
/// where nothing makes links.
std::string deviceOfNode(const RootedFiles& files, const std::string& node) {
    if (node.starts_with("/dev/mapper/"))
        for (std::string& name : files.list(kBlockDevices).value)
            if (name.starts_with("dm-") && files.line(deviceFolder(name) + "/dm/name") == lastOf(node))
                return std::move(name);
    const auto real = files.resolved(node);
    return std::string(lastOf(real.ok() ? real.value : node));
}

/// btrfs has a device number that is no block device's, and may lie on several of them.
std::vector<std::string> btrfsDevices(const RootedFiles& files, std::string_view source) {
    constexpr std::string_view fileSystems = "/sys/fs/btrfs/";
    std::string name = deviceOfNode(files, withoutEscapes(source));
    for (const std::string& id : files.list(fileSystems).value) {
        auto devices = files.list(std::string(fileSystems) + id + "/devices");
        if (std::ranges::find(devices.value, name) != devices.value.end()) return std::move(devices.value);
    }
    return {std::move(name)};
}

/// The block devices right below a file system, by the kernel's names of them; none for one without any.
std::vector<std::string> devicesBelow(const RootedFiles& files, const Mount& mount) {
    if (mount.type == "btrfs") return btrfsDevices(files, mount.source);
    std::string name = files.linkName("/sys/dev/block/" + std::string(mount.device));
    return name.empty() ? std::vector<std::string>() : std::vector{std::move(name)};
}

/// The device that a partition is of, in whose folder its own lies; any other device itself.
std::string wholeDevice(const RootedFiles& files, const std::string& device) {
    if (!files.exists(deviceFolder(device) + "/partition")) return device;
    const std::string folder = files.resolved(deviceFolder(device)).value;
    return std::string(lastOf(std::string_view(folder).substr(0, folder.rfind('/'))));
}

/// The number by which a disk is told. Namespaces of one NVMe controller have its model and serial number,
/// and only the first of them to be searched, that of the lowest number, becomes a drive of its own: that one
/// stands for all.
std::uint32_t numberFor(const std::vector<NumberedDisk>& disks, const NumberedDisk& disk) {
    const auto space = nvmeNumbers(disk.name);
    const auto first = std::ranges::find_if(disks, [&](const NumberedDisk& other) {
        const auto numbers = nvmeNumbers(other.name);
        return space && numbers && numbers->controller == space->controller;
    });
    return first == disks.end() ? disk.number : first->number;
}

DISK_EXTENT extentOn(const RootedFiles& files, std::uint32_t number, const std::string& device) {
    constexpr std::uint64_t sectorBytes = 512;
    const auto bytes = [&](const char* file) {
        const auto sectors = wholeNumber(files.line(deviceFolder(device) + file));
        return static_cast<std::int64_t>(sectors.value_or(0) * sectorBytes);
    };
    return {number, 0, bytes("/start"), bytes("/size")}; // a whole disk has no start
}

/// The disks and partitions of disks that devices are built of in the end: the device mapper and md name what
/// is right below them. Each device counts once, so that a circle ends.
std::vector<DISK_EXTENT> extentsOf(const RootedFiles& files, const std::vector<NumberedDisk>& disks,
                                   std::vector<std::string> devices) {
    std::vector<DISK_EXTENT> extents;
    std::set<std::string> known(devices.begin(), devices.end());
    for (std::size_t at = 0; at < devices.size(); ++at) {
        const std::string whole = wholeDevice(files, devices[at]);
        const auto disk = std::ranges::find(disks, whole, &NumberedDisk::name);
        if (disk != disks.end()) {
            extents.push_back(extentOn(files, numberFor(disks, *disk), devices[at]));
            continue;
        }
        for (const std::string& below : files.list(deviceFolder(whole) + "/slaves").value)
            if (known.insert(below).second) devices.push_back(below);
    }
    return extents;
}

/// The letter that is all the path between a prefix and an end, as an upper case one; 0 for another path.
wchar_t letterIn(std::wstring_view path, std::wstring_view prefix, std::wstring_view end) {
    if (path.size() != prefix.size() + 1 + end.size()) return 0;
    if (!path.starts_with(prefix) || !path.ends_with(end)) return 0;
    const wchar_t letter = path[prefix.size()];
    return letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - L'a' + L'A') : letter;
}

std::vector<DISK_EXTENT> extentsOfLetter(DiskInventory& inventory, wchar_t letter) {
    if (letter < L'C' || letter > L'Z') return {};
    for (Volume& volume : volumes(inventory))
        if (volume.letter == letter) return std::move(volume.extents);
    return {};
}

class VolumeFile : public DeviceFile {
  public:
    explicit VolumeFile(std::vector<DISK_EXTENT> extents) : extents_(std::move(extents)) {}

    /// Where there is no room for all extents, as many as fit and the number of all.
    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte>,
                                  std::span<std::byte> out) override {
        using Answer = Result<std::uint32_t>;
        constexpr std::size_t headBytes = offsetof(VOLUME_DISK_EXTENTS, Extents);
        if (code != IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS) return Answer::failed(kInvalidFunction);
        if (out.size() < headBytes + sizeof(DISK_EXTENT)) return Answer::failed(kInsufficientBuffer);
        const std::size_t fitting = std::min(extents_.size(), (out.size() - headBytes) / sizeof(DISK_EXTENT));
        const std::uint32_t head[] = {static_cast<std::uint32_t>(extents_.size()), 0};
        static_assert(sizeof head == headBytes);
        std::memcpy(out.data(), head, sizeof head);
        std::memcpy(out.data() + headBytes, extents_.data(), fitting * sizeof(DISK_EXTENT));
        if (fitting < extents_.size()) return Answer::failed(kMoreData);
        return {static_cast<std::uint32_t>(headBytes + fitting * sizeof(DISK_EXTENT))};
    }
    Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override {
        return Result<std::uint32_t>::failed(kInvalidFunction);
    }

  private:
    std::vector<DISK_EXTENT> extents_;
};

} // namespace

std::vector<Volume> volumes(DiskInventory& inventory) {
    const RootedFiles& files = inventory.files();
    const std::string table = files.read("/proc/self/mountinfo").value;
    const std::vector<Mount> mounts = mountsIn(table);
    const std::vector<NumberedDisk> disks = inventory.disks();
    std::vector<Volume> found;
    std::set<std::string_view> known; // a file system that is mounted several times has one letter
    wchar_t letter = L'C';
    const auto add = [&](const Mount& mount) {
        if (!known.insert(mount.device).second) return false;
        auto extents = extentsOf(files, disks, devicesBelow(files, mount));
        if (extents.empty()) return false;
        found.push_back({letter, std::move(extents)});
        return true;
    };
    // Of several file systems mounted at the root the last one hides the others.
    const auto root =
        std::find_if(mounts.rbegin(), mounts.rend(), [](const Mount& mount) { return mount.point == "/"; });
    if (root != mounts.rend()) add(*root);
    ++letter;
    for (const Mount& mount : mounts)
        if (letter <= L'Z' && add(mount)) ++letter;
    return found;
}

std::uint32_t volumeType(DiskInventory& inventory, std::wstring_view root) {
    const auto extents = extentsOfLetter(inventory, letterIn(root, L"", L":\\"));
    if (extents.empty()) return kNoRootFolder;
    const RootedFiles& files = inventory.files();
    const bool removable = std::ranges::any_of(extents, [&](const DISK_EXTENT& extent) {
        return files.line(diskFolder(inventory.nameOf(extent.DiskNumber)) + "/removable") == "1";
    });
    return removable ? kRemovableVolume : kFixedVolume;
}

Result<std::unique_ptr<DeviceFile>> openVolume(DiskInventory& inventory, std::wstring_view path) {
    auto extents = extentsOfLetter(inventory, letterIn(path, LR"(\\.\)", L":"));
    if (extents.empty()) return Result<std::unique_ptr<DeviceFile>>::failed(kFileNotFound);
    return {std::make_unique<VolumeFile>(std::move(extents))};
}

} // namespace orv::platform
