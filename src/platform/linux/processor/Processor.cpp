#include "platform/linux/processor/Processor.h"

#include "platform/linux/ErrorCodes.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cpuid.h>
#include <map>
#include <sched.h>
#include <set>
#include <string>
#include <tuple>
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

/// Records of one relationship, each set of processors once.
class RecordList {
  public:
    void add(std::uint32_t mask, LogicalProcessorRecord record) {
        if (mask == 0) return;
        if (!seen_.insert({record.relationship, record.cacheLevel, record.cacheType, mask}).second) return;
        record.processorMask = mask;
        records_.push_back(record);
    }
    std::vector<LogicalProcessorRecord> take() { return std::move(records_); }

  private:
    std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t>> seen_;
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

std::vector<LogicalProcessorRecord> LinuxProcessor::records() {
    const auto bits = [&](const std::string& path) {
        return processors_.bitsOf(setOfWords(files_.line(path)));
    };
    RecordList list;
    for (const std::uint32_t processor : processors_.numbers()) {
        const std::string folder = processorFolder(processor);
        list.add(processors_.bitsOf(coreOf(files_, processor)), plain(kCore));
        list.add(processors_.bitsOf(packageOf(files_, processor)), plain(kPackage));
        for (const std::uint32_t index : numberedEntries(files_, folder + "/cache", "index")) {
            const std::string cache = folder + "/cache/index" + std::to_string(index);
            list.add(bits(cache + "/shared_cpu_map"), cacheRecord(files_, cache));
        }
    }
    for (const std::uint32_t node : numberedEntries(files_, kNodes, "node"))
        list.add(bits(kNodes + std::string("/node") + std::to_string(node) + "/cpumap"), plain(kNode));
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
    const AffinityMask wanted = processors_.toKernel(mask);
    CPU_ZERO(&set);
    for (std::size_t i = 0; i < wanted.size(); ++i)
        if (wanted[i]) CPU_SET(i, &set);
    if (::sched_setaffinity(0, sizeof set, &set) != 0)
        return Result<AffinityMask>::failed(errorFromErrno(errno));
    return {processors_.fromKernel(before)};
}

} // namespace orv::platform
