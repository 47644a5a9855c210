#include "cpu/cpuFrequency.h"

#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Processor.h"
#include "platform/Timers.h"

#include <algorithm>
#include <cmath>

namespace orv {

namespace {

constexpr std::uint32_t kRealTimeClass = 0x100; // REALTIME_PRIORITY_CLASS
constexpr std::int32_t kTimeCritical = 15;      // THREAD_PRIORITY_TIME_CRITICAL

constexpr std::uint32_t kFirstMilliseconds = 500;
constexpr double kSecondMicroseconds = 62500.0; // a sixteenth of a second

// Bus clocks whose multiples the base clocks of processors are, kHz.
constexpr double kBusClock = 50000.0;
constexpr double kBusClockOfThirds = 66666.65999999999;

/// The highest priority for a scope.
class PriorityBoost {
  public:
    PriorityBoost() : before_(platform::current().timers().priorities()) {
        platform::current().timers().setPriorities({kRealTimeClass, kTimeCritical});
    }
    ~PriorityBoost() { platform::current().timers().setPriorities(before_); }
    PriorityBoost(const PriorityBoost&) = delete;
    PriorityBoost& operator=(const PriorityBoost&) = delete;

  private:
    platform::Priorities before_;
};

std::uint64_t timeStampCounter() {
    return platform::current().processor().timeStampCounter();
}

/// The nearest multiple of a bus clock, of the one whose difference is lower. The differences keep their
/// sign: a clock above its nearest multiple gives a negative one, which wins.
double snapped(double kHz) {
    const double ofWhole = RoundHalfEven(kHz / kBusClock) * kBusClock;
    const double ofThirds = RoundHalfEven(kHz / kBusClockOfThirds) * kBusClockOfThirds;
    return ofThirds - kHz < ofWhole - kHz ? ofThirds : ofWhole;
}

/// Against the multimedia timer, in MHz; 0 where there is none.
std::uint32_t snappedClock() {
    platform::Timers& timers = platform::current().timers();
    const auto periods = timers.timeGetDevCaps();
    if (!periods.ok()) return 0;
    double kHz = 0;
    {
        const PriorityBoost boost;
        timers.timeBeginPeriod(periods.value.largest);
        const std::uint32_t t0 = timers.timeGetTime();
        const std::uint64_t tsc0 = timeStampCounter();
        while (timers.timeGetTime() - t0 < kFirstMilliseconds) {
        }
        const std::uint64_t tsc1 = timeStampCounter();
        timers.timeEndPeriod(periods.value.largest);
        kHz = static_cast<double>(tsc1 - tsc0) / kFirstMilliseconds;
    }
    return static_cast<std::uint32_t>(std::max(RoundHalfEven(snapped(kHz) / 1000.0), 0.0));
}

/// Against the performance counter, in MHz.
std::uint32_t rawClock() {
    platform::Timers& timers = platform::current().timers();
    if (!timers.queryPerformanceFrequency().ok()) {
        const PriorityBoost boost;
        const auto first = static_cast<std::uint32_t>(timeStampCounter());
        const auto second = static_cast<std::uint32_t>(timeStampCounter());
        return static_cast<std::uint32_t>((second - first) / 500000.0);
    }
    std::uint64_t ticks = 0;
    {
        const PriorityBoost boost;
        const std::int64_t frequency = timers.queryPerformanceFrequency().value;
        const std::int64_t end = timers.queryPerformanceCounter() + frequency / 16;
        const std::uint64_t tsc0 = timeStampCounter();
        while (timers.queryPerformanceCounter() < end) {
        }
        ticks = timeStampCounter() - tsc0;
    }
    return static_cast<std::uint32_t>(std::ceil(static_cast<double>(ticks) / kSecondMicroseconds));
}

} // namespace

double RoundHalfEven(double x) {
    const double nearest = std::floor(x + 0.5);
    const bool tie = x - std::floor(x) == 0.5;
    return tie && std::fmod(nearest, 2.0) != 0 ? nearest - 1 : nearest;
}

std::uint32_t CCpuInfo::GetCPUSpeed() {
    const std::uint32_t freq = snappedClock();
    const std::uint32_t realFreq = rawClock();
    const std::uint32_t result = std::max(freq, realFreq);
    log::info(cpuFrequencyLogger, L"CCpuInfo::GetCPUSpeed: {}MHz, Freq: {}MHz, RealFreq: {}MHz", result, freq,
              realFreq);
    return result;
}

} // namespace orv
