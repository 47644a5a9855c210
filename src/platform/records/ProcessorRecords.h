#pragma once

// Processor topology as GetLogicalProcessorInformation gives it to a 32-bit process (Windows SDK, winnt.h).

#include <cstddef>
#include <cstdint>

namespace orv::platform {

/// SYSTEM_LOGICAL_PROCESSOR_INFORMATION with its 32-bit layout.
struct LogicalProcessorRecord {
    std::uint32_t processorMask = 0;
    std::uint32_t relationship = 0; ///< 0 core, 1 NUMA node, 2 cache, 3 package
    std::uint8_t cacheLevel = 0;    ///< The cache fields count for relationship 2 only.
    std::uint8_t cacheAssociativity = 0;
    std::uint16_t cacheLineSize = 0;
    std::uint32_t cacheSize = 0; ///< bytes
    std::uint32_t cacheType = 0;
    std::uint32_t reserved = 0;
};
static_assert(sizeof(LogicalProcessorRecord) == 24 && offsetof(LogicalProcessorRecord, cacheLevel) == 8 &&
              offsetof(LogicalProcessorRecord, cacheSize) == 12);

} // namespace orv::platform
