#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orv::platform {

using CounterQuery = std::uintptr_t;  ///< 0 is none.
using CounterHandle = std::uintptr_t; ///< 0 is none.

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

/// The member that the asked format names is the one that counts.
struct FormattedCounter {
    double doubleValue = 0;
    std::int64_t largeValue = 0;
};

/// The system's performance counters by path (PDH). Failures are PDH status codes.
class PerformanceCounters {
  public:
    virtual ~PerformanceCounters() = default;

    virtual Result<CounterQuery> openQuery() = 0;
    virtual Result<CounterHandle> addCounter(CounterQuery query, std::wstring_view path) = 0;
    /// Takes a sample of every counter of the query.
    virtual ErrorCode collectQueryData(CounterQuery query) = 0;
    virtual Result<RawCounter> getRawCounterValue(CounterHandle counter) = 0;
    virtual Result<FormattedCounter> calculateCounterFromRawValue(CounterHandle counter, std::uint32_t format,
                                                                  const RawCounter& newer,
                                                                  const RawCounter& older) = 0;
    /// From the last one or two samples, as the counter needs.
    virtual Result<FormattedCounter> getFormattedCounterValue(CounterHandle counter,
                                                              std::uint32_t format) = 0;
    virtual void removeCounter(CounterHandle counter) = 0;
    /// Closes the query and what counters it still has.
    virtual void closeQuery(CounterQuery query) = 0;
};

} // namespace orv::platform
