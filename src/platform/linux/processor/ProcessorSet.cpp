#include "platform/linux/processor/ProcessorSet.h"

#include <algorithm>
#include <charconv>

namespace orv::platform {

namespace {

constexpr char kProcessors[] = "/sys/devices/system/cpu";
constexpr std::size_t kWordBits = 32;

/// The processors that this process may run on; all of them where the kernel does not say.
AffinityMask permitted(const RootedFiles& files) {
    constexpr std::string_view key = "Cpus_allowed:";
    const std::string status = files.read("/proc/self/status").value;
    const auto at = status.find(key);
    if (at == status.npos) return AffinityMask().set();
    std::string_view text = std::string_view(status).substr(at + key.size());
    text = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return setOfWords(text);
}

AffinityMask onLine(const RootedFiles& files) {
    const std::string text = files.line(kProcessors + std::string("/online"));
    return text.empty() ? AffinityMask().set() : setOfRanges(text);
}

/// A set by its present name, else by the one that older kernels have alone and newer ones may leave out.
AffinityMask sharing(const RootedFiles& files, std::uint32_t number, const char* name,
                     const char* olderName) {
    const std::string folder = processorFolder(number) + "/topology/";
    const std::string text = files.line(folder + name);
    return setOfWords(text.empty() ? files.line(folder + olderName) : text);
}

} // namespace

AffinityMask coreOf(const RootedFiles& files, std::uint32_t number) {
    return sharing(files, number, "core_cpus", "thread_siblings");
}

AffinityMask packageOf(const RootedFiles& files, std::uint32_t number) {
    return sharing(files, number, "package_cpus", "core_siblings");
}

std::string processorFolder(std::uint32_t number) {
    return kProcessors + std::string("/cpu") + std::to_string(number);
}

std::vector<std::uint32_t> numberedEntries(const RootedFiles& files, std::string_view folder,
                                           std::string_view prefix) {
    std::vector<std::uint32_t> numbers;
    for (const std::string& name : files.list(folder).value) {
        if (!name.starts_with(prefix)) continue;
        const std::string_view tail = std::string_view(name).substr(prefix.size());
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(tail.data(), tail.data() + tail.size(), value);
        if (error == std::errc() && end == tail.data() + tail.size()) numbers.push_back(value);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

AffinityMask setOfWords(std::string_view text) {
    AffinityMask set;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        std::uint32_t word = 0;
        std::from_chars(text.data(), text.data() + comma, word, 16);
        set = set << kWordBits | AffinityMask(word);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return set;
}

AffinityMask setOfRanges(std::string_view text) {
    AffinityMask set;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        const char* const end = text.data() + comma;
        std::size_t first = 0;
        const auto [stop, error] = std::from_chars(text.data(), end, first);
        std::size_t last = first;
        if (stop != end && *stop == '-') std::from_chars(stop + 1, end, last);
        if (error == std::errc())
            for (std::size_t i = first; i <= last && i < set.size(); ++i)
                set.set(i);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return set;
}

void ProcessorSet::find() {
    const AffinityMask usable = permitted(files_) & onLine(files_);
    for (const std::uint32_t number : numberedEntries(files_, kProcessors, "cpu")) {
        if (number >= usable.size() || !usable[number]) continue;
        const AffinityMask package = packageOf(files_, number);
        if (package.none()) continue; // as it is while the processor is off line
        inside_ = package & usable;
        break;
    }
    if (inside_.none()) inside_ = AffinityMask(0xFFFFFFFF);
    for (std::size_t i = 0; i < inside_.size(); ++i) {
        if (!inside_[i]) continue;
        if (numbers_.size() < kMost)
            numbers_.push_back(static_cast<std::uint32_t>(i));
        else
            inside_.reset(i);
    }
    for (const std::uint32_t number : numbers_)
        cores_.push_back(bitsOf(coreOf(files_, number)));
}

const std::vector<std::uint32_t>& ProcessorSet::numbers() {
    if (numbers_.empty()) find();
    return numbers_;
}

std::optional<std::size_t> ProcessorSet::lowestBit(std::uint32_t mask) {
    for (std::size_t i = 0; i < numbers().size(); ++i)
        if ((mask >> i & 1) != 0) return i;
    return std::nullopt;
}

/// Each pair of a bit and a number of the kernel.
template <class Visit>
void ProcessorSet::eachSlot(Visit visit) {
    for (std::size_t i = 0; i < numbers().size(); ++i)
        visit(i, numbers_[i]);
    std::size_t slot = kMost;
    for (std::size_t number = 0; number < inside_.size() && slot < inside_.size(); ++number)
        if (!inside_[number]) visit(slot++, number);
}

std::uint32_t ProcessorSet::bitsOf(const AffinityMask& kernelSet) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < numbers().size(); ++i)
        bits |= std::uint32_t{kernelSet[numbers_[i]]} << i;
    return bits;
}

std::optional<std::size_t> ProcessorSet::standInFor(std::size_t bit) {
    const std::uint32_t usable = bitsOf(onLine(files_));
    if ((usable >> bit & 1) != 0) return std::nullopt;
    const std::uint32_t ofCore = usable & cores_[bit];
    return lowestBit(ofCore != 0 ? ofCore : usable);
}

AffinityMask ProcessorSet::toKernel(const AffinityMask& mask) {
    AffinityMask kernelSet;
    eachSlot([&](std::size_t bit, std::size_t number) { kernelSet[number] = mask[bit]; });
    return kernelSet;
}

AffinityMask ProcessorSet::fromKernel(const AffinityMask& kernelSet) {
    AffinityMask mask;
    eachSlot([&](std::size_t bit, std::size_t number) { mask[bit] = kernelSet[number]; });
    return mask;
}

} // namespace orv::platform
