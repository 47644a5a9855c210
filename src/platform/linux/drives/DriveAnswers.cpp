#include "platform/linux/drives/DriveAnswers.h"

#include "platform/linux/drives/DiskFacts.h"
#include "platform/records/StorageRecords.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;

constexpr std::uint32_t kSectorBytes = 512; // the unit of the files `size` and `stat`
constexpr std::uint32_t kRemovableMedia = 11;

template <class T>
Answer give(const T& record, std::span<std::byte> out) {
    if (out.size() < sizeof record) return Answer::failed(kInsufficientBuffer);
    std::memcpy(out.data(), &record, sizeof record);
    return {static_cast<std::uint32_t>(sizeof record)};
}

/// The cylinders that fit whole, of the 255 heads and 63 sectors that every disk is taken to have.
Answer geometry(std::uint64_t size, const DiskFacts& facts, std::span<std::byte> out) {
    constexpr std::uint32_t heads = 255;
    constexpr std::uint32_t sectors = 63;
    const auto cylinders = static_cast<std::int64_t>(size / (heads * sectors));
    const std::uint32_t medium = facts.removable ? kRemovableMedia : kFixedMedia;
    return give(DISK_GEOMETRY{cylinders, medium, heads, sectors, kSectorBytes}, out);
}

/// An address has a byte for each number, and ports from 128 on are NVMe controllers.
Answer address(const DiskFacts& facts, std::span<std::byte> out) {
    constexpr std::uint64_t most = 255;
    if (!facts.place) return Answer::failed(kInvalidFunction);
    const ScsiPlace& place = *facts.place;
    const std::uint64_t mostPort = facts.nvmeController ? most : kFirstNvmePort - 1;
    if (place.port > mostPort || place.channel > most || place.target > most || place.lun > most)
        return Answer::failed(kNotSupported);
    const auto byte = [](std::uint64_t number) { return static_cast<std::uint8_t>(number); };
    return give(SCSI_ADDRESS{sizeof(SCSI_ADDRESS), byte(place.port), byte(place.channel), byte(place.target),
                             byte(place.lun)},
                out);
}

/// As much of the descriptor as there is room for, its first eight bytes at least, which tell its whole size.
Answer descriptor(const DiskFacts& facts, std::span<std::byte> out) {
    constexpr std::size_t least = 8;
    STORAGE_DEVICE_DESCRIPTOR head{};
    std::string texts;
    const auto place = [&](const std::string& text) -> std::uint32_t {
        if (text.empty()) return 0;
        const auto at = static_cast<std::uint32_t>(sizeof head + texts.size());
        texts += text;
        texts.push_back('\0');
        return at;
    };
    const bool tellsVendor = facts.vendor != "ATA"; // which is no vendor, but what kind of a disk it is
    head.Version = sizeof head;
    head.RemovableMedia = facts.removable ? 1 : 0;
    head.VendorIdOffset = tellsVendor ? place(facts.vendor) : 0;
    head.ProductIdOffset = place(facts.model);
    head.ProductRevisionOffset = place(facts.firmware);
    head.SerialNumberOffset = place(facts.serial);
    head.BusType = facts.bus;
    head.Size = static_cast<std::uint32_t>(sizeof head + texts.size());
    if (out.size() < least) return Answer::failed(kInsufficientBuffer);
    std::string block(sizeof head, '\0');
    std::memcpy(block.data(), &head, sizeof head);
    block += texts;
    const std::size_t given = std::min(block.size(), out.size());
    std::memcpy(out.data(), block.data(), given);
    return {static_cast<std::uint32_t>(given)};
}

struct DiskStat {
    DiskCounters counters{};
    std::uint64_t inFlight = 0;
};

Result<DiskStat> statOf(const RootedFiles& files, std::string_view name) {
    using Stat = Result<DiskStat>;
    const auto text = files.read(diskFolder(name) + "/stat");
    if (!text.ok()) return Stat::failed(text.error);
    std::string_view rest = text.value;
    const auto next = [&] {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
        const auto end = std::min(rest.find_first_of(" \t\n"), rest.size());
        const auto number = wholeNumber(rest.substr(0, end));
        rest.remove_prefix(end);
        return number;
    };
    DiskStat stat;
    for (std::uint64_t& counter : stat.counters) {
        const auto number = next();
        if (!number) return Stat::failed(kInvalidData);
        counter = *number;
    }
    const auto inFlight = next();
    if (!inFlight) return Stat::failed(kInvalidData);
    stat.inFlight = *inFlight;
    return {stat};
}

/// Of a namespace with several paths older kernels, and those that were told to count nothing for it, count
/// on the paths alone.
DiskStat sumOfPaths(const RootedFiles& files, const NvmeNumbers& space) {
    DiskStat sum;
    for (const std::string& name : files.list("/sys/block").value) {
        const auto path = isPathOf(space, name) ? statOf(files, name) : Result<DiskStat>();
        for (std::size_t at = 0; path.ok() && at < sum.counters.size(); ++at)
            sum.counters[at] += path.value.counters[at];
        sum.inFlight += path.value.inFlight;
    }
    return sum;
}

std::int64_t now100ns() {
    constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::int64_t>(now.tv_sec) + secondsFrom1601To1970) * 10'000'000 + now.tv_nsec / 100;
}

Answer performance(DiskInventory& inventory, const NumberedDisk& disk, std::span<std::byte> out) {
    constexpr std::string_view manager = "PhysDisk";
    constexpr std::uint64_t ticksPerMs = 10'000;
    auto stat = statOf(inventory.files(), disk.name);
    if (!stat.ok()) return Answer::failed(stat.error);
    if (const auto space = nvmeNumbers(disk.name); space && stat.value.counters == DiskCounters{})
        stat.value = sumOfPaths(inventory.files(), *space);
    if (!inventory.holds(disk)) return Answer::failed(kFileNotFound);
    const DiskCounters fields = inventory.cumulative(disk, stat.value.counters);
    DISK_PERFORMANCE record{};
    record.BytesRead = static_cast<std::int64_t>(fields[readSectors] * kSectorBytes);
    record.BytesWritten = static_cast<std::int64_t>(fields[writtenSectors] * kSectorBytes);
    record.ReadTime = static_cast<std::int64_t>(fields[readMs] * ticksPerMs);
    record.WriteTime = static_cast<std::int64_t>(fields[writeMs] * ticksPerMs);
    record.ReadCount = static_cast<std::uint32_t>(fields[reads]);
    record.WriteCount = static_cast<std::uint32_t>(fields[writes]);
    record.QueueDepth = static_cast<std::uint32_t>(stat.value.inFlight);
    record.QueryTime = now100ns();
    record.StorageDeviceNumber = disk.number;
    std::copy(manager.begin(), manager.end(), record.StorageManagerName);
    return give(record, out);
}

/// Property 0 asked for by its standard query.
bool asksForDescriptor(std::span<const std::byte> in) {
    std::uint32_t query[2] = {};
    if (in.size() < sizeof query) return false;
    std::memcpy(query, in.data(), sizeof query);
    return query[0] == 0 && query[1] == 0;
}

} // namespace

std::optional<Answer> answerFromSysfs(DiskInventory& inventory, const NumberedDisk& disk,
                                      std::optional<DiskFacts>& facts, std::uint32_t code,
                                      std::span<const std::byte> in, std::span<std::byte> out) {
    if (code == IOCTL_DISK_PERFORMANCE) return performance(inventory, disk, out);
    const bool descriptorAsked = code == IOCTL_STORAGE_QUERY_PROPERTY && asksForDescriptor(in);
    if (!descriptorAsked && code != IOCTL_DISK_GET_DRIVE_GEOMETRY && code != IOCTL_SCSI_GET_ADDRESS)
        return std::nullopt;
    const bool aged = descriptorAsked && facts && facts->nvmeController; // maybe its firmware is
    if (aged || (facts && !inventory.holds(disk))) facts.reset();
    if (!facts) facts = inventory.facts(disk, descriptorAsked);
    if (!facts) return Answer::failed(kFileNotFound);
    if (descriptorAsked) return descriptor(*facts, out);
    if (code == IOCTL_SCSI_GET_ADDRESS) return address(*facts, out);
    return geometry(inventory.sectors(disk), *facts, out);
}

} // namespace orv::platform
