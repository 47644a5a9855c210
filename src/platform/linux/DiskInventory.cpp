#include "platform/linux/DiskInventory.h"

#include "platform/linux/DiskFacts.h"

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

std::vector<std::string> presentDisks(const RootedFiles& files) {
    std::vector<std::pair<Rank, std::string>> found;
    for (const std::string& name : files.list("/sys/block").value) {
        const auto rank = rankOf(name);
        if (!rank || !files.exists(diskFolder(name))) continue;
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
    const std::vector<std::string> present = presentDisks(files_);
    const std::scoped_lock hold(mutex_);
    std::vector<NumberedDisk> disks;
    for (const std::string& name : present) {
        const auto known = std::find(numbered_.begin(), numbered_.end(), name);
        disks.push_back({static_cast<std::uint32_t>(known - numbered_.begin()), name});
        if (known == numbered_.end()) numbered_.push_back(name);
    }
    std::ranges::sort(disks, {}, &NumberedDisk::number);
    return disks;
}

std::string DiskInventory::nameOf(std::uint32_t number) {
    std::string name;
    {
        const std::scoped_lock hold(mutex_);
        if (number < numbered_.size()) name = numbered_[number];
    }
    if (!name.empty()) return files_.exists(diskFolder(name)) ? name : std::string();
    for (NumberedDisk& disk : disks())
        if (disk.number == number) return std::move(disk.name);
    return {};
}

DiskFacts DiskInventory::facts(const std::string& name) const {
    return readDiskFacts(files_, name);
}

} // namespace orv::platform
