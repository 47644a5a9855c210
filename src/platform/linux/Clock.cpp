#include "platform/linux/Services.h"

#include <cerrno>
#include <ctime>

namespace orv::platform {

namespace {
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
} // namespace

std::int64_t LinuxClock::monotonicNs() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

void LinuxClock::sleepNs(std::int64_t nanoseconds) {
    timespec left{nanoseconds / kNsPerSecond, nanoseconds % kNsPerSecond};
    while (::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

} // namespace orv::platform
