#pragma once

// Samples, formats and status codes of performance counters (Windows SDK, pdh.h and pdhmsg.h).

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>

namespace orv::platform {

/// PDH_RAW_COUNTER with its 32-bit layout.
struct RawCounter {
    std::uint32_t status = 0;
    std::uint32_t timeStampLow = 0;
    std::uint32_t timeStampHigh = 0;
    std::uint32_t padding = 0;
    std::int64_t firstValue = 0;
    std::int64_t secondValue = 0;
    std::uint32_t multiCount = 0;
    std::uint32_t tail = 0;
};
static_assert(sizeof(RawCounter) == 40 && offsetof(RawCounter, firstValue) == 16 &&
              offsetof(RawCounter, multiCount) == 32);

// PDH_FMT_*
inline constexpr std::uint32_t kFormatDouble = 0x200;
inline constexpr std::uint32_t kFormatLarge = 0x400;

// PDH_* codes that a platform without PDH answers with.
inline constexpr ErrorCode kCounterNotFound = 0xC0000BB9;      // PDH_CSTATUS_NO_COUNTER
inline constexpr ErrorCode kCounterInvalidHandle = 0xC0000BBC; // PDH_INVALID_HANDLE
inline constexpr ErrorCode kCounterInvalidData = 0xC0000BC6;   // PDH_INVALID_DATA

} // namespace orv::platform
