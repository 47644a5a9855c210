#include "platform/CalendarTime.h"

#include <windows.h>

namespace orv::platform {

namespace {
// A FILETIME counts ticks of 100 ns from 1601 on.
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
constexpr std::chrono::seconds kFrom1601To1970{11'644'473'600};

static_assert(sizeof(__time64_t) == sizeof(std::int64_t));
} // namespace

std::chrono::system_clock::time_point wallClock() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now); // on every Windows; the precise one would keep older ones from loading
    const Ticks since1601(
        static_cast<std::int64_t>(std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime));
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(since1601 - kFrom1601To1970));
}

std::tm localTime(std::int64_t seconds) {
    std::tm date{};
    ::_localtime64_s(&date, &seconds);
    return date;
}

std::tm universalTime(std::int64_t seconds) {
    std::tm date{};
    ::_gmtime64_s(&date, &seconds);
    return date;
}

} // namespace orv::platform
