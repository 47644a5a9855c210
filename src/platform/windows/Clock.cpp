#include "platform/windows/Services.h"

#include <windows.h>

namespace orv::platform {

namespace {
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
} // namespace

std::int64_t WindowsClock::monotonicNs() {
    // The frequency is fixed at system start; both calls succeed on every system since Windows XP.
    static const std::int64_t frequency = [] {
        LARGE_INTEGER value;
        ::QueryPerformanceFrequency(&value);
        return value.QuadPart;
    }();
    LARGE_INTEGER now;
    ::QueryPerformanceCounter(&now);
    const std::int64_t seconds = now.QuadPart / frequency;
    return seconds * kNsPerSecond + now.QuadPart % frequency * kNsPerSecond / frequency;
}

void WindowsClock::sleepNs(std::int64_t nanoseconds) {
    const std::int64_t end = monotonicNs() + nanoseconds;
    for (std::int64_t left = nanoseconds; left > 0; left = end - monotonicNs())
        ::Sleep(static_cast<DWORD>((left + kNsPerMillisecond - 1) / kNsPerMillisecond));
}

} // namespace orv::platform
