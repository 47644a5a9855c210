#include "platform/machine/processor/MachineProcessor.h"

#include "platform/machine/Node.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <set>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kAny16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t kAny8 = std::numeric_limits<std::uint8_t>::max();
constexpr std::uint64_t kLastProcessor = 31; // of those that a mask can name
constexpr std::uint64_t kFastestTscKHz = 100'000'000;

constexpr std::uint32_t kRangeOfLeaf = 0xC0000000; // the bits that tell the ranges of leaves apart
constexpr std::uint32_t kExtendedLeaves = 0x80000000;
constexpr std::uint32_t kBrandLeaves = 0x80000002; // three leaves of 16 characters
constexpr std::size_t kBrandSize = 48;
constexpr std::size_t kVendorSize = 12;
constexpr std::uint32_t kApicIdShift = 24; // leaf 1, EBX 31:24

constexpr std::uint32_t kCoreRecord = 0, kPackageRecord = 3; // relationship of a topology record
constexpr std::uint32_t kEbxOfIntel = 0x756E6547;            // "Genu"

constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::int64_t kNsPerPerformanceTick = 100; // a counter of 10 MHz

std::uint32_t field32(const Node& node, std::string_view key) {
    return static_cast<std::uint32_t>(node.number(key, kAny32, 0));
}

} // namespace

MachineProcessor::MachineProcessor(const Node& root, Requests& requests, const MachineClock& clock)
    : requests_(requests), clock_(clock) {
    const auto processor = root.find("processor");
    if (!processor) return;
    tscKHz_ = processor->number("tscKHz", kFastestTscKHz, 0);
    loadLeaves(*processor);
    for (const Node& entry : processor->list("apicIds"))
        apicIds_.push_back(static_cast<std::uint8_t>(entry.asNumber(kAny8)));
    placeThread(*processor);
    loadRecords(*processor);
    processor->done();
}

void MachineProcessor::placeThread(const Node& processor) {
    present_ = AffinityMask(processor.number("present", kAny32, kAny32));
    affinity_ = present_;
    for (std::size_t i = apicIds_.size(); !apicIds_.empty() && i < affinity_.size(); ++i)
        affinity_.reset(i);
    if (affinity_.none())
        processor.fail(fmt::format("present and apicIds do not agree: {:#x} names none of the {} logical "
                                   "processors that apicIds has",
                                   present_.to_ullong() & kAny32, apicIds_.size()));
}

void MachineProcessor::loadLeaves(const Node& processor) {
    for (const Node& entry : processor.list("leaves")) {
        const auto number = static_cast<std::uint32_t>(entry.number("leaf", kAny32));
        CpuidRegisters* leaf = &leaves_[number];
        if (entry.has("processor"))
            leaf =
                &ownLeaves_[{static_cast<std::uint32_t>(entry.number("processor", kLastProcessor)), number}];
        *leaf = {field32(entry, "eax"), field32(entry, "ebx"), field32(entry, "ecx"), field32(entry, "edx")};
        entry.done();
    }
    const std::string vendor = processor.text("vendor", "");
    if (!vendor.empty()) {
        if (vendor.size() != kVendorSize) processor.fail("vendor must have 12 characters");
        CpuidRegisters& leaf = leaves_[0];
        std::memcpy(&leaf.ebx, &vendor[0], sizeof leaf.ebx);
        std::memcpy(&leaf.edx, &vendor[4], sizeof leaf.edx);
        std::memcpy(&leaf.ecx, &vendor[8], sizeof leaf.ecx);
    }
    if (processor.has("brand")) setBrand(processor.text("brand"));
    // The first leaf of each range names the last one of it.
    for (const auto& [number, leaf] : leaves_) {
        const std::uint32_t first = number & kRangeOfLeaf;
        leaves_[first].eax = std::max(leaves_[first].eax, number);
    }
    if (processor.has("highestLeaf")) leaves_[0].eax = field32(processor, "highestLeaf");
}

void MachineProcessor::setBrand(const std::string& brand) {
    char text[kBrandSize] = {};
    brand.copy(text, kBrandSize);
    for (std::uint32_t i = 0; i < 3; ++i)
        std::memcpy(&leaves_[kBrandLeaves + i], &text[i * sizeof(CpuidRegisters)], sizeof(CpuidRegisters));
    leaves_.try_emplace(kExtendedLeaves);
}

void MachineProcessor::loadRecords(const Node& processor) {
    for (const Node& entry : processor.list("records")) {
        LogicalProcessorRecord record;
        record.relationship = static_cast<std::uint32_t>(entry.number("relationship", kAny32));
        record.processorMask = field32(entry, "mask");
        record.cacheLevel = static_cast<std::uint8_t>(entry.number("level", kAny8, 0));
        record.cacheLineSize = static_cast<std::uint16_t>(entry.number("lineSize", kAny16, 0));
        record.cacheSize = field32(entry, "size");
        record.cacheType = field32(entry, "type");
        entry.done();
        records_.push_back(record);
    }
}

/// An Intel processor's leaves say how an id divides into package, core and thread.
void MachineProcessor::compareIntelLeaves(std::size_t cores, std::vector<std::string>& found) const {
    const auto version = leaves_.find(1), cache = leaves_.find(4);
    if (version == leaves_.end() || leaves_.at(0).ebx != kEbxOfIntel) return;
    const std::uint32_t ids = version->second.ebx >> 16 & 0xFF; // of a package
    if (apicIds_.size() > std::max(ids, 1U))
        found.push_back(fmt::format("leaf 1 and apicIds: EBX 23:16 has room for {} ids, there are {}", ids,
                                    apicIds_.size()));
    const std::uint32_t room = cache == leaves_.end() ? 1 : (cache->second.eax >> 26 & 0x3F) + 1;
    if (cores > room)
        found.push_back(
            fmt::format("leaf 4 and records: EAX 31:26 has room for {} cores, there are {}", room, cores));
}

std::vector<std::string> MachineProcessor::contradictions() const {
    std::vector<std::string> found;
    const auto leafZero = leaves_.find(0);
    if (leafZero != leaves_.end() && leafZero->second.ebx != 0 && leafZero->second.eax == 0)
        found.emplace_back("vendor and leaves: without a leaf 1 the vendor counts as unknown");

    std::uint32_t inCores = 0; // logical processors
    std::size_t cores = 0, packages = 0;
    for (const LogicalProcessorRecord& record : records_) {
        if (record.relationship == kPackageRecord) ++packages;
        if (record.relationship != kCoreRecord) continue;
        if (const std::uint32_t twice = inCores & record.processorMask)
            found.push_back(fmt::format("records: the logical processors {:#x} stand in two cores", twice));
        inCores |= record.processorMask;
        ++cores;
    }
    if (cores == 0) return found;
    if (packages <= 1) compareIntelLeaves(cores, found);

    const auto logical = static_cast<std::size_t>(std::popcount(inCores));
    const std::set<std::uint8_t> ids(apicIds_.begin(), apicIds_.end());
    if (!apicIds_.empty() && apicIds_.size() != logical && present_.count() >= logical)
        found.push_back(fmt::format("apicIds and records: {} ids, and {} logical processors in the cores",
                                    apicIds_.size(), logical));
    if (ids.size() != apicIds_.size()) found.emplace_back("apicIds: an id stands there twice");
    if (apicIds_.empty() && ownLeaves_.empty() && cores > 1)
        found.push_back(fmt::format("records and apicIds: {} cores, and no ids that tell them apart", cores));
    if (const auto absent = inCores & ~static_cast<std::uint32_t>(present_.to_ullong() & kAny32))
        found.push_back(fmt::format(
            "records and present: the cores have the logical processors {:#x}, which present leaves out",
            absent));
    return found;
}

CpuidRegisters MachineProcessor::cpuid(std::uint32_t number) {
    requests_.enter("cpuid", [&] { return fmt::format("{:#x}", number); });
    const std::uint32_t processor = running();
    const auto own = ownLeaves_.find({processor, number});
    const auto found = leaves_.find(number);
    if (found == leaves_.end()) return {};
    CpuidRegisters leaf = own == ownLeaves_.end() ? found->second : own->second;
    if (number == 1 && !apicIds_.empty()) {
        const std::size_t last = apicIds_.size() - 1;
        leaf.ebx |= std::uint32_t{apicIds_[std::min<std::size_t>(processor, last)]} << kApicIdShift;
    }
    return leaf;
}

/// The logical processor that the thread is on: the lowest one that it may be on.
std::uint32_t MachineProcessor::running() const {
    std::uint32_t processor = 0;
    while (processor + 1 < affinity_.size() && !affinity_[processor])
        ++processor;
    return processor;
}

std::uint64_t MachineProcessor::timeStampCounter() {
    // kHz times nanoseconds, split so that hours of clock fit.
    const auto now = static_cast<std::uint64_t>(clock_.now());
    return now / kNsPerMillisecond * tscKHz_ + now % kNsPerMillisecond * tscKHz_ / kNsPerMillisecond;
}

ErrorCode MachineProcessor::findLogicalProcessorInformation() {
    return requests_.enter("findLogicalProcessorInformation");
}

ErrorCode MachineProcessor::GetLogicalProcessorInformation(LogicalProcessorRecord* records,
                                                           std::uint32_t& length) {
    if (const ErrorCode error = requests_.enter("GetLogicalProcessorInformation")) return error;
    const auto needed = static_cast<std::uint32_t>(records_.size() * sizeof(LogicalProcessorRecord));
    const bool fits = needed <= length;
    length = needed;
    if (!fits) return kInsufficientBuffer;
    std::copy(records_.begin(), records_.end(), records);
    return kSuccess;
}

Result<AffinityMask> MachineProcessor::SetThreadAffinityMask(const AffinityMask& mask) {
    const ErrorCode error = requests_.enter("SetThreadAffinityMask", [&] {
        static const AffinityMask shown(std::numeric_limits<std::uint64_t>::max());
        return fmt::format("{:#x}", (mask & shown).to_ullong());
    });
    if (error != kSuccess) return Result<AffinityMask>::failed(error);
    if ((mask & present_).none()) return Result<AffinityMask>::failed(kInvalidParameter);
    return {std::exchange(affinity_, mask & present_)};
}

Result<TimerPeriods> MachineTimers::timeGetDevCaps() {
    if (const ErrorCode error = requests_.enter("timeGetDevCaps")) return Result<TimerPeriods>::failed(error);
    return {{1, 1'000'000}}; // as the common Windows systems have it
}

void MachineTimers::timeBeginPeriod(std::uint32_t milliseconds) {
    requests_.enter("timeBeginPeriod", [&] { return std::to_string(milliseconds); });
}

void MachineTimers::timeEndPeriod(std::uint32_t milliseconds) {
    requests_.enter("timeEndPeriod", [&] { return std::to_string(milliseconds); });
}

std::uint32_t MachineTimers::timeGetTime() {
    return static_cast<std::uint32_t>(clock_.monotonicNs() / kNsPerMillisecond);
}

Result<std::int64_t> MachineTimers::queryPerformanceFrequency() {
    if (const ErrorCode error = requests_.enter("queryPerformanceFrequency"))
        return Result<std::int64_t>::failed(error);
    return {1'000'000'000 / kNsPerPerformanceTick};
}

std::int64_t MachineTimers::queryPerformanceCounter() {
    return clock_.monotonicNs() / kNsPerPerformanceTick;
}

void MachineTimers::setPriorities(const Priorities& priorities) {
    requests_.enter("setPriorities",
                    [&] { return fmt::format("{:#x} {}", priorities.processClass, priorities.thread); });
    priorities_ = priorities;
}

} // namespace orv::platform
