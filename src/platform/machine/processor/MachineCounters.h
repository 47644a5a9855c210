#pragma once

#include "platform/PerformanceCounters.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"

#include <vector>

namespace orv::platform {

class Node;

/// Section "counters" of a machine file: processor load, performance and clock over the machine's time.
class MachinePerformanceCounters : public PerformanceCounters {
  public:
    MachinePerformanceCounters(const Node& root, Requests& requests, const MachineClock& clock);

    Result<CounterQuery> openQuery() override;
    Result<CounterHandle> addCounter(CounterQuery query, std::wstring_view path) override;
    ErrorCode collectQueryData(CounterQuery query) override;
    Result<RawCounter> getRawCounterValue(CounterHandle counter) override;
    Result<FormattedCounter> calculateCounterFromRawValue(CounterHandle counter, std::uint32_t format,
                                                          const RawCounter& newer,
                                                          const RawCounter& older) override;
    Result<FormattedCounter> getFormattedCounterValue(CounterHandle counter, std::uint32_t format) override;
    void removeCounter(CounterHandle counter) override;
    void closeQuery(CounterQuery query) override;

  private:
    /// A value from a moment on.
    struct Step {
        std::int64_t fromNs = 0;
        std::uint32_t value = 0;
    };
    using Steps = std::vector<Step>;
    struct Counter {
        CounterHandle handle = 0;
        CounterQuery query = 0;
        const Steps* steps = nullptr;
        bool collected = false;
        RawCounter raw;
    };

    static Steps load(const Node& counters, const char* key);
    static std::uint32_t valueAt(const Steps& steps, std::int64_t now);
    std::int64_t workUntil(std::int64_t now) const;
    Counter* find(CounterHandle handle);

    Requests& requests_;
    const MachineClock& clock_;
    std::int64_t start_ = 1;
    Steps utility_;
    Steps performance_;
    Steps frequency_;
    std::vector<Counter> counters_;
    std::uintptr_t next_ = 1;
};

} // namespace orv::platform
