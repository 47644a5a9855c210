#include "platform/linux/Processor.h"

#include "platform/linux/ErrorCodes.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cpuid.h>
#include <map>
#include <sched.h>
#include <set>
#include <string>
#include <x86intrin.h>

namespace orv::platform {

namespace {

constexpr char kProcessors[] = "/sys/devices/system/cpu";
constexpr char kNodes[] = "/sys/devices/system/node";

// LOGICAL_PROCESSOR_RELATIONSHIP
constexpr std::uint32_t kCore = 0;
constexpr std::uint32_t kNode = 1;
constexpr std::uint32_t kCache = 2;
constexpr std::uint32_t kPackage = 3;

// PROCESSOR_CACHE_TYPE
const std::map<std::string, std::uint32_t> kCacheTypes = {{"Unified", 0}, {"Instruction", 1}, {"Data", 2}};

std::uint32_t number(std::string_view text) {
    std::uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

/// "32K", "8M" or plain bytes.
std::uint32_t bytesOf(const std::string& text) {
    const std::uint32_t value = number(text);
    if (text.ends_with('K')) return value << 10;
    if (text.ends_with('M')) return value << 20;
    return value;
}

/// A kernel mask, words of 32 bits with the highest first: "00000000,00000003". A record has room for 32
/// processors: a set that reaches beyond keeps its size and not its place.
std::uint32_t maskOf(std::string_view text) {
    std::uint32_t mask = 0;
    int count = 0;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        mask = 0;
        std::from_chars(text.data(), text.data() + comma, mask, 16);
        count += std::popcount(mask);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    if (std::popcount(mask) == count) return mask;
    return count >= 32 ? 0xFFFFFFFF : (1U << count) - 1;
}

/// Numbers N of the entries "prefixN" of a folder, in their order.
std::set<std::uint32_t> numbered(const RootedFiles& files, std::string_view folder, std::string_view prefix) {
    std::set<std::uint32_t> numbers;
    for (const std::string& name : files.list(folder).value) {
        const std::string_view tail =
            name.starts_with(prefix) ? std::string_view(name).substr(prefix.size()) : std::string_view();
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(tail.data(), tail.data() + tail.size(), value);
        if (error == std::errc() && end == tail.data() + tail.size()) numbers.insert(value);
    }
    return numbers;
}

/// Records of one relationship, each set of processors once.
class RecordList {
  public:
    void add(const std::string& processors, LogicalProcessorRecord record) {
        const auto key = std::to_string(record.relationship) + "/" + std::to_string(record.cacheLevel) + "/" +
                         std::to_string(record.cacheType) + "/" + processors;
        if (processors.empty() || !seen_.insert(key).second) return;
        record.processorMask = maskOf(processors);
        records_.push_back(record);
    }
    std::vector<LogicalProcessorRecord> take() { return std::move(records_); }

  private:
    std::set<std::string> seen_;
    std::vector<LogicalProcessorRecord> records_;
};

LogicalProcessorRecord cacheRecord(const RootedFiles& files, const std::string& cache) {
    LogicalProcessorRecord record;
    record.relationship = kCache;
    record.cacheLevel = static_cast<std::uint8_t>(number(files.line(cache + "/level")));
    record.cacheAssociativity =
        static_cast<std::uint8_t>(number(files.line(cache + "/ways_of_associativity")));
    record.cacheLineSize = static_cast<std::uint16_t>(number(files.line(cache + "/coherency_line_size")));
    record.cacheSize = bytesOf(files.line(cache + "/size"));
    const auto type = kCacheTypes.find(files.line(cache + "/type"));
    record.cacheType = type == kCacheTypes.end() ? 0 : type->second;
    return record;
}

LogicalProcessorRecord plain(std::uint32_t relationship) {
    LogicalProcessorRecord record;
    record.relationship = relationship;
    return record;
}

} // namespace

CpuidRegisters LinuxProcessor::cpuid(std::uint32_t leaf) {
    CpuidRegisters registers;
    __cpuid_count(leaf, 0, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

std::uint64_t LinuxProcessor::timeStampCounter() {
    return ::__rdtsc();
}

ErrorCode LinuxProcessor::findLogicalProcessorInformation() {
    return files_.list(kProcessors).error;
}

std::vector<LogicalProcessorRecord> LinuxProcessor::records() const {
    RecordList list;
    for (const std::uint32_t processor : numbered(files_, kProcessors, "cpu")) {
        const std::string folder = kProcessors + std::string("/cpu") + std::to_string(processor);
        const std::string topology = folder + "/topology/"; // missing while the processor is off line
        list.add(files_.line(topology + "thread_siblings"), plain(kCore));
        list.add(files_.line(topology + "core_siblings"), plain(kPackage));
        for (const std::uint32_t index : numbered(files_, folder + "/cache", "index")) {
            const std::string cache = folder + "/cache/index" + std::to_string(index);
            list.add(files_.line(cache + "/shared_cpu_map"), cacheRecord(files_, cache));
        }
    }
    for (const std::uint32_t node : numbered(files_, kNodes, "node"))
        list.add(files_.line(kNodes + std::string("/node") + std::to_string(node) + "/cpumap"), plain(kNode));
    return list.take();
}

ErrorCode LinuxProcessor::GetLogicalProcessorInformation(LogicalProcessorRecord* into,
                                                         std::uint32_t& length) {
    const auto all = records();
    const auto needed = static_cast<std::uint32_t>(all.size() * sizeof(LogicalProcessorRecord));
    const bool fits = needed <= length;
    length = needed;
    if (!fits) return kInsufficientBuffer;
    std::copy(all.begin(), all.end(), into);
    return kSuccess;
}

Result<AffinityMask> LinuxProcessor::SetThreadAffinityMask(const AffinityMask& mask) {
    static_assert(AffinityMask{}.size() == CPU_SETSIZE);
    cpu_set_t set;
    if (::sched_getaffinity(0, sizeof set, &set) != 0)
        return Result<AffinityMask>::failed(errorFromErrno(errno));
    AffinityMask before;
    for (std::size_t i = 0; i < before.size(); ++i)
        before[i] = CPU_ISSET(i, &set);
    CPU_ZERO(&set);
    for (std::size_t i = 0; i < mask.size(); ++i)
        if (mask[i]) CPU_SET(i, &set);
    if (::sched_setaffinity(0, sizeof set, &set) != 0)
        return Result<AffinityMask>::failed(errorFromErrno(errno));
    return {before};
}

} // namespace orv::platform
