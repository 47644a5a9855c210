#include "platform/windows/Services.h"

#include <windows.h>

namespace orv::platform {

namespace {
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
} // namespace

std::int64_t WindowsClock::monotonicNs() {
    // Both calls succeed on every system since Windows XP.
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&now);
    const std::int64_t ticks = frequency.QuadPart;
    return now.QuadPart / ticks * kNsPerSecond + now.QuadPart % ticks * kNsPerSecond / ticks;
}

void WindowsClock::sleepNs(std::int64_t nanoseconds) {
    const std::int64_t end = monotonicNs() + nanoseconds;
    for (std::int64_t left = nanoseconds; left > 0; left = end - monotonicNs())
        ::Sleep(static_cast<DWORD>((left + kNsPerMillisecond - 1) / kNsPerMillisecond));
}

} // namespace orv::platform
