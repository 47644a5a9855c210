#include "platform/linux/drives/DiskInventory.h"

#include "platform/linux/drives/DiskFacts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <mutex>
#include <tuple>

namespace orv::platform {

namespace {

/// Order of a name among the disks: its family, then its numbers.
using Rank = std::tuple<std::size_t, std::uint64_t, std::uint64_t>;

enum class Form { letters, number, controllerAndNamespace };

struct Family {
    std::string_view prefix;
    Form form;
};

constexpr std::array kFamilies = {
    Family{"sd", Form::letters}, Family{"hd", Form::letters},  Family{"nvme", Form::controllerAndNamespace},
    Family{"vd", Form::letters}, Family{"xvd", Form::letters}, Family{"mmcblk", Form::number},
};

/// a, b, ... z, aa, ab, ... as 1, 2, ...
std::optional<std::uint64_t> letterNumber(std::string_view letters) {
    constexpr std::size_t longest = 6; // the kernel's names have fewer
    if (letters.empty() || letters.size() > longest) return std::nullopt;
    std::uint64_t number = 0;
    for (const char letter : letters) {
        if (letter < 'a' || letter > 'z') return std::nullopt;
        number = number * 26 + static_cast<std::uint64_t>(letter - 'a' + 1);
    }
    return number;
}

/// Empty for a name that is no disk's, a partition's and a hidden path's ("nvme0c1n1") included.
std::optional<Rank> rankOf(std::string_view name) {
    for (std::size_t family = 0; family < kFamilies.size(); ++family) {
        if (!name.starts_with(kFamilies[family].prefix)) continue;
        const std::string_view rest = name.substr(kFamilies[family].prefix.size());
        if (kFamilies[family].form == Form::controllerAndNamespace) {
            const auto parts = nvmeNumbers(name);
            if (parts) return Rank{family, parts->controller, parts->space};
            continue;
        }
        const auto number = kFamilies[family].form == Form::letters ? letterNumber(rest) : wholeNumber(rest);
        if (number) return Rank{family, *number, 0};
    }
    return std::nullopt;
}

/// The old IDE driver gives its optical and tape drives names of the same kind.
bool isIdeDisk(const RootedFiles& files, const std::string& name) {
    const std::string media = files.line(diskFolder(name) + "/device/media");
    return media.empty() || media == "disk";
}

/// Their folders may be gone.
std::vector<std::string> namedDisks(const RootedFiles& files) {
    std::vector<std::pair<Rank, std::string>> found;
    for (const std::string& name : files.list("/sys/block").value) {
        const auto rank = rankOf(name);
        if (!rank) continue;
        if (!name.starts_with("hd") || isIdeDisk(files, name)) found.emplace_back(*rank, name);
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> names;
    for (auto& [rank, name] : found)
        names.push_back(std::move(name));
    return names;
}

} // namespace

std::optional<std::uint64_t> wholeNumber(std::string_view text, int base) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::vector<NumberedDisk> DiskInventory::disks() {
    const std::scoped_lock hold(mutex_);
    return scan();
}

/// Numbers the present disks: those whose folders have the stamps of before keep theirs, and of the others
/// each takes the number that an absent disk of its identity had, the one of its name before any other. The
/// identity of a disk is read only when its stamp is new.
std::vector<NumberedDisk> DiskInventory::scan() {
    struct Found {
        Entry disk;
        std::size_t number;
    };
    std::vector<Found> found;
    std::vector<bool> taken(numbered_.size());
    const auto numberIf = [&](const auto& isIt) {
        std::size_t at = 0;
        while (at < taken.size() && (taken[at] || !isIt(numbered_[at])))
            ++at;
        return at;
    };
    const auto take = [&](Found& disk, std::size_t number) {
        disk.number = number;
        if (number < taken.size()) taken[number] = true;
    };
    for (std::string& name : namedDisks(files_)) {
        const auto stamp = files_.stamp(diskFolder(name));
        if (!stamp) continue;
        Found& disk = found.emplace_back(Found{{{}, std::move(name), *stamp, {}, {}}, 0});
        take(disk, numberIf([&](const Entry& known) {
                 return known.name == disk.disk.name && known.stamp == disk.disk.stamp;
             }));
    }
    const auto isNew = [&](const Found& disk) { return disk.number == taken.size(); };
    for (Found& disk : found)
        if (isNew(disk)) disk.disk.identity = diskIdentity(files_, disk.disk.name);
    for (const bool sameName : {true, false})
        for (Found& disk : found)
            if (isNew(disk))
                take(disk, numberIf([&](const Entry& known) {
                         return known.identity == disk.disk.identity &&
                                (!sameName || known.name == disk.disk.name);
                     }));
    std::vector<NumberedDisk> disks;
    for (Found& disk : found) {
        if (isNew(disk)) {
            disk.number = numbered_.size();
            numbered_.push_back(disk.disk);
        }
        Entry& entry = numbered_[disk.number];
        entry.name = disk.disk.name;
        if (entry.stamp != disk.disk.stamp) {
            entry.way.reset();
            entry.facts.reset();
        }
        entry.stamp = disk.disk.stamp;
        disks.push_back({static_cast<std::uint32_t>(disk.number), entry.name});
    }
    std::ranges::sort(disks, {}, &NumberedDisk::number);
    return disks;
}

std::string DiskInventory::nameOf(std::uint32_t number) {
    const std::scoped_lock hold(mutex_);
    if (number < numbered_.size()) {
        const Entry& entry = numbered_[number];
        if (files_.stamp(diskFolder(entry.name)) == entry.stamp) return entry.name;
    }
    for (NumberedDisk& disk : scan())
        if (disk.number == number) return std::move(disk.name);
    return {};
}

std::uint64_t DiskInventory::sectors(const NumberedDisk& disk) {
    const auto count = wholeNumber(files_.line(diskFolder(disk.name) + "/size"));
    return count && holds(disk) ? *count : 0;
}

std::optional<DiskFacts> DiskInventory::facts(const NumberedDisk& disk, bool firmwareCounts) {
    const auto way = commandWay(disk);
    if (!way) return std::nullopt;
    std::unique_lock hold(mutex_);
    std::optional<DiskFacts> facts = numbered_[disk.number].facts;
    const FolderStamp stamp = numbered_[disk.number].stamp;
    hold.unlock();
    if (!facts)
        facts = readDiskFacts(files_, disk.name);
    else if (firmwareCounts) // all that may change while it stays
        facts->firmware = nvmeFirmware(files_, *facts->nvmeController);
    if (!holds(disk)) return std::nullopt;
    hold.lock();
    Entry& entry = numbered_[disk.number];
    // A text that could not be read, without a descriptor for one, is asked for again.
    const bool whole = !facts->model.empty() && !facts->serial.empty() && !facts->pciController.empty();
    if (way->lasts && way->nvmeController && whole && entry.stamp == stamp) entry.facts = facts;
    return facts;
}

std::optional<CommandWay> DiskInventory::commandWay(const NumberedDisk& disk) {
    const auto kept = [&]() -> std::optional<CommandWay> {
        const std::scoped_lock hold(mutex_);
        const Entry& entry = numbered_[disk.number];
        return entry.name == disk.name && entry.way && entry.way->lasts ? entry.way : std::nullopt;
    };
    if (auto way = kept()) return way;
    if (!holds(disk)) return std::nullopt;
    const std::scoped_lock hold(mutex_);
    return numbered_[disk.number].way = readCommandWay(files_, disk.name);
}

DiskCounters DiskInventory::cumulative(const NumberedDisk& disk, const DiskCounters& kernels) {
    const std::scoped_lock hold(mutex_);
    if (disk.number >= numbered_.size()) return kernels;
    Entry& entry = numbered_[disk.number];
    DiskCounters counters{};
    for (std::size_t at = 0; at < kernels.size(); ++at) {
        if (kernels[at] < entry.latest[at]) entry.before[at] += entry.latest[at] - kernels[at];
        counters[at] = kernels[at] + entry.before[at];
    }
    entry.latest = kernels;
    return counters;
}

} // namespace orv::platform
