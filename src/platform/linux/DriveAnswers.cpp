#include "platform/linux/DriveAnswers.h"

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
Answer geometry(const DiskFacts& facts, std::span<std::byte> out) {
    constexpr std::uint32_t heads = 255;
    constexpr std::uint32_t sectors = 63;
    const auto cylinders = static_cast<std::int64_t>(facts.sectors / (heads * sectors));
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

/// Fields of the file `stat` (kernel documentation, block/stat).
enum StatField {
    reads,
    readsMerged,
    readSectors,
    readMs,
    writes,
    writesMerged,
    writtenSectors,
    writeMs,
    inFlight
};

std::int64_t now100ns() {
    constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::int64_t>(now.tv_sec) + secondsFrom1601To1970) * 10'000'000 + now.tv_nsec / 100;
}

Answer performance(const RootedFiles& files, const NumberedDisk& disk, std::span<std::byte> out) {
    constexpr std::string_view manager = "PhysDisk";
    constexpr std::uint64_t ticksPerMs = 10'000;
    const auto text = files.read(diskFolder(disk.name) + "/stat");
    if (!text.ok()) return Answer::failed(text.error);
    std::array<std::uint64_t, inFlight + 1> fields{};
    std::string_view rest = text.value;
    for (std::uint64_t& field : fields) {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
        const auto end = std::min(rest.find_first_of(" \t\n"), rest.size());
        const auto number = wholeNumber(rest.substr(0, end));
        if (!number) return Answer::failed(kInvalidData);
        field = *number;
        rest.remove_prefix(end);
    }
    DISK_PERFORMANCE record{};
    record.BytesRead = static_cast<std::int64_t>(fields[readSectors] * kSectorBytes);
    record.BytesWritten = static_cast<std::int64_t>(fields[writtenSectors] * kSectorBytes);
    record.ReadTime = static_cast<std::int64_t>(fields[readMs] * ticksPerMs);
    record.WriteTime = static_cast<std::int64_t>(fields[writeMs] * ticksPerMs);
    record.ReadCount = static_cast<std::uint32_t>(fields[reads]);
    record.WriteCount = static_cast<std::uint32_t>(fields[writes]);
    record.QueueDepth = static_cast<std::uint32_t>(fields[inFlight]);
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

std::optional<Answer> answerFromSysfs(const RootedFiles& files, const NumberedDisk& disk,
                                      const std::function<const DiskFacts&()>& facts, std::uint32_t code,
                                      std::span<const std::byte> in, std::span<std::byte> out) {
    switch (code) {
    case IOCTL_DISK_PERFORMANCE:
        return performance(files, disk, out);
    case IOCTL_DISK_GET_DRIVE_GEOMETRY:
        return geometry(facts(), out);
    case IOCTL_SCSI_GET_ADDRESS:
        return address(facts(), out);
    case IOCTL_STORAGE_QUERY_PROPERTY:
        if (!asksForDescriptor(in)) return std::nullopt;
        return descriptor(facts(), out);
    default:
        return std::nullopt;
    }
}

} // namespace orv::platform
