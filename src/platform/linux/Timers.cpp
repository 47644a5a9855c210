#include "platform/linux/Processor.h"

#include <ctime>
#include <sys/resource.h>

namespace orv::platform {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::uint32_t kNormalClass = 0x20;    // NORMAL_PRIORITY_CLASS
constexpr std::uint32_t kRealTimeClass = 0x100; // REALTIME_PRIORITY_CLASS
constexpr int kHighestNice = -20;

std::int64_t nowNs() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

} // namespace

std::uint32_t LinuxTimers::timeGetTime() {
    return static_cast<std::uint32_t>(nowNs() / kNsPerMillisecond);
}

Result<std::int64_t> LinuxTimers::queryPerformanceFrequency() {
    return {kNsPerSecond};
}

std::int64_t LinuxTimers::queryPerformanceCounter() {
    return nowNs();
}

// The nice value travels as the thread's priority with its sign turned, so that it comes back unchanged. A
// spinning thread of a real-time scheduling class could lock up a machine of one processor: the real-time
// class only asks for the highest nice value, which needs a privilege.
Priorities LinuxTimers::priorities() {
    return {kNormalClass, -::getpriority(PRIO_PROCESS, 0)};
}

void LinuxTimers::setPriorities(const Priorities& priorities) {
    const int nice = priorities.processClass == kRealTimeClass ? kHighestNice : -priorities.thread;
    ::setpriority(PRIO_PROCESS, 0, nice);
}

} // namespace orv::platform
