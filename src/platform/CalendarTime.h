#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace orv::platform {

// The date, past January 2038 too, where time_t and what is built on it have four bytes in a 32-bit program.

/// The system's clock.
std::chrono::system_clock::time_point wallClock();

/// Seconds since 1970 as a date in the host's time zone, and in UTC.
std::tm localTime(std::int64_t seconds);
std::tm universalTime(std::int64_t seconds);

} // namespace orv::platform
