#include "platform/machine/processor/MachineCounters.h"

#include "platform/machine/Node.h"
#include "platform/text.h"

#include <algorithm>
#include <limits>

namespace orv::platform {

namespace {
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::int64_t kNsPerTick = 100;
constexpr std::uint64_t kLargestValue = 100'000;
constexpr std::uint64_t kLatestStep = 1'000'000'000; // milliseconds
} // namespace

MachinePerformanceCounters::MachinePerformanceCounters(const Node& root, Requests& requests,
                                                       const MachineClock& clock)
    : requests_(requests), clock_(clock) {
    const auto counters = root.find("counters");
    if (!counters) return;
    start_ = static_cast<std::int64_t>(
        counters->number("utilityStart", std::numeric_limits<std::uint32_t>::max(), 1));
    utility_ = load(*counters, "utility");
    performance_ = load(*counters, "performance");
    frequency_ = load(*counters, "frequency");
    counters->done();
}

MachinePerformanceCounters::Steps MachinePerformanceCounters::load(const Node& counters, const char* key) {
    Steps steps;
    for (const Node& entry : counters.list(key)) {
        Step step;
        step.fromNs = static_cast<std::int64_t>(entry.number("fromMs", kLatestStep, 0)) * kNsPerMillisecond;
        step.value = static_cast<std::uint32_t>(entry.number("value", kLargestValue));
        entry.done();
        if (!steps.empty() && step.fromNs <= steps.back().fromNs)
            entry.fail("fromMs must be above the one before it");
        steps.push_back(step);
    }
    return steps;
}

std::uint32_t MachinePerformanceCounters::valueAt(const Steps& steps, std::int64_t now) {
    std::uint32_t value = 0;
    for (const Step& step : steps)
        if (step.fromNs <= now) value = step.value;
    return value;
}

/// Percent times ticks of 100 ns: what the load has added up to.
std::int64_t MachinePerformanceCounters::workUntil(std::int64_t now) const {
    std::int64_t work = start_;
    for (std::size_t i = 0; i < utility_.size() && utility_[i].fromNs < now; ++i) {
        const std::int64_t end = i + 1 < utility_.size() ? std::min(utility_[i + 1].fromNs, now) : now;
        work += (end - utility_[i].fromNs) / kNsPerTick * utility_[i].value;
    }
    return work;
}

MachinePerformanceCounters::Counter* MachinePerformanceCounters::find(CounterHandle handle) {
    for (Counter& counter : counters_)
        if (counter.handle == handle) return &counter;
    return nullptr;
}

Result<CounterQuery> MachinePerformanceCounters::openQuery() {
    if (const ErrorCode error = requests_.enter("openQuery")) return Result<CounterQuery>::failed(error);
    return {next_++};
}

Result<CounterHandle> MachinePerformanceCounters::addCounter(CounterQuery query, std::wstring_view path) {
    if (const ErrorCode error = requests_.enter("addCounter", [&] { return wideToUtf8(path); }))
        return Result<CounterHandle>::failed(error);
    Counter counter;
    if (path == L"\\Processor Information(_Total)\\% Processor Utility") counter.steps = &utility_;
    if (path == L"\\Processor Information(_Total)\\% Processor Performance") counter.steps = &performance_;
    if (path == L"\\Processor Information(_Total)\\Processor Frequency") counter.steps = &frequency_;
    if (!counter.steps || counter.steps->empty()) return Result<CounterHandle>::failed(kCounterNotFound);
    counter.query = query;
    counter.handle = next_++;
    counters_.push_back(counter);
    return {counter.handle};
}

ErrorCode MachinePerformanceCounters::collectQueryData(CounterQuery query) {
    if (const ErrorCode error = requests_.enter("collectQueryData")) return error;
    const std::int64_t now = clock_.now();
    for (Counter& counter : counters_) {
        if (counter.query != query) continue;
        counter.collected = true;
        counter.raw.firstValue = counter.steps == &utility_ ? workUntil(now) : valueAt(*counter.steps, now);
        counter.raw.secondValue = now / kNsPerTick;
    }
    return kSuccess;
}

Result<RawCounter> MachinePerformanceCounters::getRawCounterValue(CounterHandle handle) {
    if (const ErrorCode error = requests_.enter("getRawCounterValue"))
        return Result<RawCounter>::failed(error);
    const Counter* counter = find(handle);
    if (!counter) return Result<RawCounter>::failed(kCounterInvalidHandle);
    if (!counter->collected) return Result<RawCounter>::failed(kCounterInvalidData);
    return {counter->raw};
}

Result<FormattedCounter> MachinePerformanceCounters::calculateCounterFromRawValue(CounterHandle handle,
                                                                                  std::uint32_t,
                                                                                  const RawCounter& newer,
                                                                                  const RawCounter& older) {
    if (const ErrorCode error = requests_.enter("calculateCounterFromRawValue"))
        return Result<FormattedCounter>::failed(error);
    if (!find(handle)) return Result<FormattedCounter>::failed(kCounterInvalidHandle);
    const std::int64_t ticks = newer.secondValue - older.secondValue;
    if (ticks <= 0) return {};
    const double value =
        static_cast<double>(newer.firstValue - older.firstValue) / static_cast<double>(ticks);
    return {{value, static_cast<std::int64_t>(value)}};
}

Result<FormattedCounter> MachinePerformanceCounters::getFormattedCounterValue(CounterHandle handle,
                                                                              std::uint32_t) {
    if (const ErrorCode error = requests_.enter("getFormattedCounterValue"))
        return Result<FormattedCounter>::failed(error);
    const Counter* counter = find(handle);
    if (!counter) return Result<FormattedCounter>::failed(kCounterInvalidHandle);
    if (!counter->collected) return Result<FormattedCounter>::failed(kCounterInvalidData);
    const auto value = static_cast<double>(counter->raw.firstValue);
    return {{value, static_cast<std::int64_t>(value)}};
}

void MachinePerformanceCounters::removeCounter(CounterHandle handle) {
    requests_.enter("removeCounter");
    std::erase_if(counters_, [&](const Counter& counter) { return counter.handle == handle; });
}

void MachinePerformanceCounters::closeQuery(CounterQuery query) {
    requests_.enter("closeQuery");
    std::erase_if(counters_, [&](const Counter& counter) { return counter.query == query; });
}

} // namespace orv::platform
