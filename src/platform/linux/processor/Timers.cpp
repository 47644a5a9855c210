#include "platform/linux/processor/Processor.h"

#include <algorithm>
#include <ctime>
#include <sched.h>
#include <sys/resource.h>

namespace orv::platform {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::uint32_t kNormalClass = 0x20;    // NORMAL_PRIORITY_CLASS
constexpr std::uint32_t kRealTimeClass = 0x100; // REALTIME_PRIORITY_CLASS
constexpr int kHighestNice = -20;
constexpr unsigned kPolicyShift = 16;

std::int64_t nowNs() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

/// Of the calling thread, without the flag that children do not inherit it.
int schedulingPolicy() {
    const int policy = ::sched_getscheduler(0);
    return policy < 0 ? SCHED_OTHER : policy & ~SCHED_RESET_ON_FORK;
}

bool isOrdinary(int policy) {
    return policy == SCHED_OTHER || policy == SCHED_BATCH || policy == SCHED_IDLE;
}

/// A limit on what a real-time thread may spin in one go, whose passing ends the process.
bool spinIsLimited() {
    rlimit limit{};
    return ::getrlimit(RLIMIT_RTTIME, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

bool setSchedulingPolicy(int policy) {
    const int flag = std::max(::sched_getscheduler(0), 0) & SCHED_RESET_ON_FORK;
    sched_param parameters{};
    parameters.sched_priority = ::sched_get_priority_min(policy);
    return ::sched_setscheduler(0, policy | flag, &parameters) == 0;
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

// What the thread had before travels in the class beside the normal one, its policy above bit 16, and in the
// thread's priority, its nice value with the sign turned. A thread that is real-time already is left as it
// is. The lowest real-time priority goes before every ordinary thread, and the kernel keeps a part of each
// second for the others.
Priorities LinuxTimers::priorities() {
    const auto policy = static_cast<std::uint32_t>(schedulingPolicy());
    return {kNormalClass | policy << kPolicyShift, -::getpriority(PRIO_PROCESS, 0)};
}

void LinuxTimers::setPriorities(const Priorities& priorities) {
    const bool raise = priorities.processClass == kRealTimeClass;
    const int policy = raise ? SCHED_FIFO : static_cast<int>(priorities.processClass >> kPolicyShift);
    if (!isOrdinary(raise ? schedulingPolicy() : policy)) return;
    const bool granted = !(raise && spinIsLimited()) && setSchedulingPolicy(policy);
    if (!raise || !granted) ::setpriority(PRIO_PROCESS, 0, raise ? kHighestNice : -priorities.thread);
}

} // namespace orv::platform
