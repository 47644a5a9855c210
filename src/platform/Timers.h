#pragma once

#include "platform/Result.h"

#include <cstdint>

namespace orv::platform {

/// Capabilities of the multimedia timer (TIMECAPS), milliseconds.
struct TimerPeriods {
    std::uint32_t smallest = 0;
    std::uint32_t largest = 0;
};

struct Priorities {
    std::uint32_t processClass = 0; ///< *_PRIORITY_CLASS
    std::int32_t thread = 0;        ///< THREAD_PRIORITY_*
};

/// The clocks that a measurement is timed against, and the priority that it runs at.
class Timers {
  public:
    virtual ~Timers() = default;

    virtual Result<TimerPeriods> timeGetDevCaps() = 0;
    virtual void timeBeginPeriod(std::uint32_t milliseconds) = 0;
    virtual void timeEndPeriod(std::uint32_t milliseconds) = 0;
    virtual std::uint32_t timeGetTime() = 0; ///< Milliseconds; wraps at 2^32.

    /// Ticks a second; fails on a machine without such a counter.
    virtual Result<std::int64_t> queryPerformanceFrequency() = 0;
    virtual std::int64_t queryPerformanceCounter() = 0;

    virtual Priorities priorities() = 0;
    /// Best effort: a system that does not grant it leaves the priority as it is.
    virtual void setPriorities(const Priorities& priorities) = 0;
};

} // namespace orv::platform
