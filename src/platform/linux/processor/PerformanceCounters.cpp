#include "platform/linux/processor/PerformanceCounters.h"

#include <algorithm>
#include <charconv>
#include <cpuid.h>
#include <cstdlib>

namespace orv::platform {

namespace {

constexpr std::wstring_view kUtilityPath = L"\\Processor Information(_Total)\\% Processor Utility";
constexpr std::wstring_view kPerformancePath = L"\\Processor Information(_Total)\\% Processor Performance";
constexpr std::wstring_view kFrequencyPath = L"\\Processor Information(_Total)\\Processor Frequency";

constexpr std::string_view kClockKey = "cpu MHz";
constexpr std::size_t kSpareBytes = 8; // behind a clock, for one with more digits

constexpr char kPolicies[] = "/sys/devices/system/cpu/cpufreq";
constexpr double kKHzPerMHz = 1000.0;
constexpr std::int64_t kMilliPerUnit = 1000; // clocks travel through a raw counter as whole thousandths

// Columns of the first line of /proc/stat. Guest time is part of user time and is not counted twice.
constexpr std::size_t kIdle = 3;
constexpr std::size_t kIoWait = 4;
constexpr std::size_t kSteal = 7;
constexpr std::size_t kLeastColumns = 4;

double clockOf(const RootedFiles& files, const std::string& path) {
    const std::string text = files.line(path);
    return std::strtod(text.c_str(), nullptr) / kKHzPerMHz;
}

/// Processor Frequency Information: EAX holds the base clock in MHz, 0 where it is not told.
double baseFromCpuid() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(0x16, &a, &b, &c, &d) != 0 ? a & 0xFFFF : 0;
}

FormattedCounter inFormat(double value) {
    return {value, static_cast<std::int64_t>(value)};
}

} // namespace

Result<CounterQuery> LinuxPerformanceCounters::openQuery() {
    return {nextHandle_++};
}

Result<CounterHandle> LinuxPerformanceCounters::addCounter(CounterQuery query, std::wstring_view path) {
    Counter counter;
    if (path == kUtilityPath)
        counter.kind = Kind::utility;
    else if (path == kPerformancePath)
        counter.kind = Kind::performance;
    else if (path == kFrequencyPath)
        counter.kind = Kind::frequency;
    else
        return Result<CounterHandle>::failed(kCounterNotFound);
    counter.query = query;
    counter.handle = nextHandle_++;
    counters_.push_back(counter);
    return {counter.handle};
}

LinuxPerformanceCounters::Counter* LinuxPerformanceCounters::find(CounterHandle handle) {
    for (Counter& counter : counters_)
        if (counter.handle == handle) return &counter;
    return nullptr;
}

void LinuxPerformanceCounters::sampleUtility(Counter& counter) {
    const auto content = stat_.read();
    counter.error = content.error;
    if (!content.ok()) return;
    std::string_view line = content.value.substr(0, content.value.find('\n'));
    counter.error = kCounterInvalidData;
    if (!line.starts_with("cpu ")) return;
    line.remove_prefix(4);

    std::int64_t busy = 0;
    std::int64_t total = 0;
    std::size_t column = 0;
    for (; column <= kSteal; ++column) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        std::int64_t ticks = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), ticks);
        if (error != std::errc()) break;
        line.remove_prefix(static_cast<std::size_t>(end - line.data()));
        total += ticks;
        if (column != kIdle && column != kIoWait) busy += ticks;
    }
    if (column < kLeastColumns) return;
    counter.raw.firstValue = busy;
    counter.raw.secondValue = total;
    counter.error = kSuccess;
}

void LinuxPerformanceCounters::findPolicies() {
    policiesKnown_ = true;
    policies_.clear();
    for (const std::string& name : files_.list(kPolicies).value) {
        const std::string folder = kPolicies + ("/" + name);
        if (!name.starts_with("policy") || !files_.exists(folder + "/scaling_cur_freq")) continue;
        const std::string processors = files_.line(folder + "/affected_cpus"); // "0 1 2"
        policies_.push_back({folder, 1.0 + static_cast<double>(std::ranges::count(processors, ' '))});
    }
    if (policies_.empty()) return;
    cpufreqBase_ = clockOf(files_, policies_.front().folder + "/base_frequency");
    if (cpufreqBase_ == 0) cpufreqBase_ = clockOf(files_, policies_.front().folder + "/cpuinfo_max_freq");
}

/// A policy that gives no clock has lost its processors or its driver: it does not count, and the next sample
/// looks for the policies anew. Without any the error is set.
LinuxPerformanceCounters::Clocks LinuxPerformanceCounters::cpufreqClocks() {
    Clocks clocks{0, cpufreqBase_, kSuccess};
    double processors = 0;
    for (const Policy& policy : policies_) {
        const double clock = clockOf(files_, policy.folder + "/scaling_cur_freq");
        if (clock > 0) {
            clocks.current += clock * policy.processors;
            processors += policy.processors;
        } else {
            policiesKnown_ = false;
        }
    }
    if (processors == 0) clocks.error = kCounterInvalidData;
    if (processors > 0) clocks.current /= processors;
    return clocks;
}

/// The kernel forms a record a processor, which takes it microseconds each. Where the processors do not count
/// their cycles (flag aperfmperf) it tells the same clock for all, so that the first record is enough.
LinuxPerformanceCounters::Clocks LinuxPerformanceCounters::cpuinfoClocks() {
    const auto content = cpuinfo_.read(enoughOfCpuinfo_);
    Clocks clocks{0, 0, content.error};
    if (!content.ok()) return clocks;
    const std::string_view text = content.value;
    std::size_t firstEnd = 0;
    double first = 0;
    double sum = 0;
    int count = 0;
    bool alike = true;
    for (std::size_t at = text.find(kClockKey); at != text.npos; at = text.find(kClockKey, at + 1)) {
        std::size_t value = text.find(':', at);
        value = text.find_first_of("0123456789\n", std::min(value, text.size()));
        if (value == text.npos) break;
        double clock = 0;
        const auto [end, error] = std::from_chars(text.data() + value, text.data() + text.size(), clock);
        if (error != std::errc()) continue;
        if (count++ == 0) {
            first = clock;
            firstEnd = static_cast<std::size_t>(end - text.data());
        }
        alike = alike && clock == first;
        sum += clock;
    }
    if (count > 0) clocks.current = sum / count;
    if (count == 0) {
        clocks.error = kCounterInvalidData;
        enoughOfCpuinfo_ = std::string_view::npos;
    }
    const bool flagsTold = text.find("\nflags") != text.npos;
    const bool cyclesCounted = text.find("aperfmperf") != text.npos;
    if (count > 1 && alike && flagsTold && !cyclesCounted) enoughOfCpuinfo_ = firstEnd + kSpareBytes;
    if (!baseFromCpuid_) baseFromCpuid_ = baseFromCpuid();
    clocks.base = *baseFromCpuid_ > 0 ? *baseFromCpuid_ : clocks.current;
    return clocks;
}

LinuxPerformanceCounters::Clocks LinuxPerformanceCounters::clocks() {
    const std::string_view onLine = onLine_.read().value;
    if (!policiesKnown_ || onLine != onLineBefore_) {
        onLineBefore_ = onLine;
        enoughOfCpuinfo_ = std::string_view::npos;
        findPolicies();
    }
    Clocks clocks = policies_.empty() ? cpuinfoClocks() : cpufreqClocks();
    if (!policies_.empty() && clocks.error != kSuccess) clocks = cpuinfoClocks();
    if (clocks.error == kSuccess && clocks.base <= 0) clocks.error = kCounterInvalidData;
    return clocks;
}

ErrorCode LinuxPerformanceCounters::collectQueryData(CounterQuery query) {
    Clocks sampled;
    bool haveClocks = false;
    ErrorCode last = kSuccess;
    for (Counter& counter : counters_) {
        if (counter.query != query) continue;
        if (counter.kind == Kind::utility) {
            sampleUtility(counter);
        } else {
            if (!haveClocks) sampled = clocks();
            haveClocks = true;
            const double value =
                counter.kind == Kind::frequency ? sampled.base : 100.0 * sampled.current / sampled.base;
            counter.error = sampled.error;
            if (sampled.error == kSuccess)
                counter.raw.firstValue = static_cast<std::int64_t>(value * kMilliPerUnit);
        }
        if (counter.error != kSuccess) last = counter.error;
    }
    return last;
}

Result<RawCounter> LinuxPerformanceCounters::getRawCounterValue(CounterHandle handle) {
    const Counter* counter = find(handle);
    if (!counter) return Result<RawCounter>::failed(kCounterInvalidHandle);
    return {counter->raw, counter->error};
}

Result<FormattedCounter> LinuxPerformanceCounters::calculateCounterFromRawValue(CounterHandle handle,
                                                                                std::uint32_t,
                                                                                const RawCounter& newer,
                                                                                const RawCounter& older) {
    const Counter* counter = find(handle);
    if (!counter) return Result<FormattedCounter>::failed(kCounterInvalidHandle);
    if (counter->kind != Kind::utility)
        return {inFormat(static_cast<double>(newer.firstValue) / kMilliPerUnit)};
    const std::int64_t total = newer.secondValue - older.secondValue;
    const std::int64_t busy = newer.firstValue - older.firstValue;
    // Within one tick of the kernel no time has passed, and nothing was done in it.
    if (total <= 0) return {};
    return {inFormat(100.0 * static_cast<double>(std::clamp<std::int64_t>(busy, 0, total)) /
                     static_cast<double>(total))};
}

Result<FormattedCounter> LinuxPerformanceCounters::getFormattedCounterValue(CounterHandle handle,
                                                                            std::uint32_t format) {
    const Counter* counter = find(handle);
    if (!counter) return Result<FormattedCounter>::failed(kCounterInvalidHandle);
    if (counter->error != kSuccess) return Result<FormattedCounter>::failed(counter->error);
    return calculateCounterFromRawValue(handle, format, counter->raw, RawCounter{});
}

void LinuxPerformanceCounters::removeCounter(CounterHandle handle) {
    std::erase_if(counters_, [&](const Counter& counter) { return counter.handle == handle; });
}

void LinuxPerformanceCounters::closeQuery(CounterQuery query) {
    std::erase_if(counters_, [&](const Counter& counter) { return counter.query == query; });
}

} // namespace orv::platform
