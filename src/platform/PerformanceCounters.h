#pragma once

#include "platform/records/PdhRecords.h"

#include <cstdint>
#include <string_view>

namespace orv::platform {

using CounterQuery = std::uintptr_t;  ///< 0 is none.
using CounterHandle = std::uintptr_t; ///< 0 is none.

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
