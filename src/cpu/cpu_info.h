#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace orv {

enum class CpuVendor { unknown = 0, intel = 1, amd = 2 };

/// What detection found out about the processor.
struct CpuInfo {
    CpuVendor vendor = CpuVendor::unknown;
    std::uint32_t processorPackageCount = 0;
    std::uint32_t numaNodeCount = 0;
    std::uint32_t processorCoreCount = 0;
    std::uint32_t logicalProcessorCount = 0;
    std::uint32_t processorL1CacheSize = 0; ///< Bytes, over all caches of the level.
    std::uint32_t processorL2CacheSize = 0;
    std::uint32_t processorL3CacheSize = 0;
    std::uint32_t model = 0;     ///< Base model with the extended model in front.
    std::uint32_t family = 0;    ///< Base family plus extended family.
    std::uint64_t frequency = 0; ///< Base clock, MHz.
    std::string name;
};

/// Takes over half a second the first time in a process: it measures the clock. Throws HWException when the
/// topology cannot be read.
CpuInfo GetCpuInfo();

CpuVendor GetCpuVendor();

/// The brand text with its blanks; zero bytes on a processor without one.
std::array<char, 48> GetCpuName();

/// The number of the core, within its package, that the logical processors of the mask belong to; -1 for an
/// unknown vendor. Moves the calling thread for the length of the call.
std::int32_t GetCoreIdByAffinityMask(std::uint32_t mask);

} // namespace orv
