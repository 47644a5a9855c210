#include "cpu/cpu_info.h"

#include "cpu/cpuFrequency.h"
#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Processor.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <vector>

namespace orv {

namespace {

using platform::CpuidRegisters;
using platform::LogicalProcessorRecord;

// LOGICAL_PROCESSOR_RELATIONSHIP
constexpr std::uint32_t kRelationCore = 0;
constexpr std::uint32_t kRelationNumaNode = 1;
constexpr std::uint32_t kRelationCache = 2;
constexpr std::uint32_t kRelationPackage = 3;

// CPUID leaves, by the names of the vendors' manuals
constexpr std::uint32_t kLeafVendor = 0;              // largest standard function, vendor string
constexpr std::uint32_t kLeafVersion = 1;             // family, model, stepping; initial APIC id
constexpr std::uint32_t kLeafCacheParameters = 4;     // deterministic cache parameters
constexpr std::uint32_t kLeafExtended = 0x80000000;   // largest extended function
constexpr std::uint32_t kLeafBrandFirst = 0x80000002; // processor name string
constexpr std::uint32_t kLeafBrandLast = 0x80000004;
constexpr std::uint32_t kExtendedSizes = 8; // 0x80000008: size identifiers, ApicIdCoreIdSize
constexpr std::uint32_t kMostLeaves = 1024;

/// The clock does not change: a detection that fails and is tried again does not time it once more.
struct BaseClock {
    OnceCell<std::uint32_t> mhz;
};

constexpr std::uint32_t kBytesPerRecord = sizeof(LogicalProcessorRecord);
constexpr int kMostAttempts = 16; // the table can grow between two calls, but not for ever

CpuidRegisters cpuid(std::uint32_t leaf) {
    return platform::current().processor().cpuid(leaf);
}

std::uint32_t bitsOf(std::uint32_t value) {
    return static_cast<std::uint32_t>(std::bit_width(value));
}

std::vector<LogicalProcessorRecord> topologyRecords() {
    platform::Processor& processor = platform::current().processor();
    if (const auto error = processor.findLogicalProcessorInformation())
        throwHW(L"GetProcAddress(GetLogicalProcessorInformation) failed with error: {}",
                getSystemErrorText(error));
    std::vector<LogicalProcessorRecord> records;
    std::uint32_t length = 0;
    auto error = processor.GetLogicalProcessorInformation(nullptr, length);
    for (int attempt = 0; error == platform::kInsufficientBuffer && attempt < kMostAttempts; ++attempt) {
        records.resize(length / kBytesPerRecord);
        length = static_cast<std::uint32_t>(records.size()) * kBytesPerRecord;
        error = processor.GetLogicalProcessorInformation(records.data(), length);
    }
    if (error != platform::kSuccess) throwHW(L"Error: {}", getSystemErrorText(error));
    records.resize(std::min<std::size_t>(records.size(), length / kBytesPerRecord));
    return records;
}

void count(CpuInfo& info, const LogicalProcessorRecord& record) {
    switch (record.relationship) {
    case kRelationCore:
        ++info.processorCoreCount;
        info.logicalProcessorCount += static_cast<std::uint32_t>(std::popcount(record.processorMask));
        break;
    case kRelationNumaNode:
        ++info.numaNodeCount;
        break;
    case kRelationCache:
        if (record.cacheLevel == 1) info.processorL1CacheSize += record.cacheSize;
        if (record.cacheLevel == 2) info.processorL2CacheSize += record.cacheSize;
        if (record.cacheLevel == 3) info.processorL3CacheSize += record.cacheSize;
        break;
    case kRelationPackage:
        ++info.processorPackageCount;
        break;
    default:
        throwHW(L"Error: Unsupported LOGICAL_PROCESSOR_RELATIONSHIP value: {}", record.relationship);
    }
}

/// Binds the thread to a mask for a scope.
class ThreadOn {
  public:
    explicit ThreadOn(std::uint32_t mask)
        : before_(platform::current().processor().SetThreadAffinityMask(platform::AffinityMask(mask))) {}
    ~ThreadOn() {
        if (before_.ok()) platform::current().processor().SetThreadAffinityMask(before_.value);
    }
    ThreadOn(const ThreadOn&) = delete;
    ThreadOn& operator=(const ThreadOn&) = delete;

  private:
    platform::Result<platform::AffinityMask> before_;
};

/// The leaves of a range, from its first one, which names the last, up to a bound.
std::vector<CpuidRegisters> leavesFrom(std::uint32_t first) {
    const CpuidRegisters head = cpuid(first);
    const std::uint32_t last = head.eax < first ? 0 : std::min(head.eax - first, kMostLeaves);
    std::vector<CpuidRegisters> leaves{head};
    for (std::uint32_t i = 1; i <= last; ++i)
        leaves.push_back(cpuid(first + i));
    return leaves;
}

/// How the bits of an APIC id divide, from the lowest.
struct ApicIdBits {
    std::uint32_t thread = 0;
    std::uint32_t core = 0;
};

ApicIdBits intelBits(const std::vector<CpuidRegisters>& leaves) {
    const std::uint32_t logical = leaves[kLeafVersion].ebx >> 16 & 0xFF; // addressable ids in the package
    std::uint32_t cores = 1;
    if (leaves.size() > kLeafCacheParameters) cores = (leaves[kLeafCacheParameters].eax >> 26 & 0x3F) + 1;
    const std::uint32_t threads = logical / cores;
    return {threads == 0 ? 0 : bitsOf(threads - 1), bitsOf(cores - 1)};
}

ApicIdBits amdBits(const std::vector<CpuidRegisters>& extended) {
    if (extended.size() <= kExtendedSizes) return {}; // a processor of that age has one core
    const std::uint32_t size = extended[kExtendedSizes].ecx >> 12 & 0xF; // ApicIdCoreIdSize
    return {0, size >= 4 && size <= 6 ? size : 0};
}

} // namespace

CpuInfo GetCpuInfo() {
    log::entry(cpuInfoLogger, L"orv::GetCpuInfo");
    CpuInfo info;
    for (const LogicalProcessorRecord& record : topologyRecords())
        count(info, record);
    const std::uint32_t version = cpuid(kLeafVersion).eax;
    info.frequency = processWide<BaseClock>().mhz.get(CCpuInfo::GetCPUSpeed);
    log::info(cpuInfoLogger, L"GetCpuInfo: Ok");
    info.vendor = GetCpuVendor();
    const auto name = GetCpuName();
    info.name.assign(name.data(), ::strnlen(name.data(), name.size()));
    info.model = (version >> 12 & 0xF0) + (version >> 4 & 0xF);
    info.family = (version >> 20 & 0xFF) + (version >> 8 & 0xF);
    return info;
}

CpuVendor GetCpuVendor() {
    const CpuidRegisters leaf = cpuid(kLeafVendor);
    if (leaf.eax == 0) return CpuVendor::unknown;
    char letters[12];
    std::memcpy(&letters[0], &leaf.ebx, 4);
    std::memcpy(&letters[4], &leaf.edx, 4);
    std::memcpy(&letters[8], &leaf.ecx, 4);
    const std::string_view vendor(letters, sizeof letters);
    log::info(cpuInfoLogger, L"GetCpuVendor: Ok. Vendor: {}", EncodedText(std::string(vendor)).wide);
    if (vendor == "GenuineIntel") return CpuVendor::intel;
    if (vendor == "AuthenticAMD") return CpuVendor::amd;
    return CpuVendor::unknown;
}

std::array<char, 48> GetCpuName() {
    std::array<char, 48> name{};
    if (cpuid(kLeafExtended).eax < kLeafBrandLast) return name;
    for (std::uint32_t leaf = kLeafBrandFirst; leaf <= kLeafBrandLast; ++leaf) {
        const CpuidRegisters part = cpuid(leaf);
        std::memcpy(&name[(leaf - kLeafBrandFirst) * sizeof part], &part, sizeof part);
    }
    log::info(cpuInfoLogger, L"GetCpuName: Ok. Name: {}",
              EncodedText(std::string(name.data(), ::strnlen(name.data(), name.size()))).wide);
    return name;
}

std::int32_t GetCoreIdByAffinityMask(std::uint32_t mask) {
    log::entry(cpuInfoLogger, L"orv::GetCoreIdByAffinityMask");
    const ThreadOn scope(mask);
    const auto leaves = leavesFrom(0);
    const auto extended = leavesFrom(kLeafExtended);
    const CpuVendor vendor = GetCpuVendor();
    if (vendor == CpuVendor::unknown || leaves.size() <= kLeafVersion) return -1;
    const ApicIdBits bits = vendor == CpuVendor::intel ? intelBits(leaves) : amdBits(extended);
    const std::uint32_t apicId = leaves[kLeafVersion].ebx >> 24; // initial APIC id
    const std::uint32_t package = apicId >> (bits.thread + bits.core);
    const auto coreId = static_cast<std::int32_t>((apicId >> bits.thread) - (package << bits.core));
    log::info(cpuInfoLogger, L"GetCoreIdByAffinityMask: Ok. CoreId: {}", coreId);
    return coreId;
}

} // namespace orv
