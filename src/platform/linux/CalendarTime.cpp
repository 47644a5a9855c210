#include "platform/CalendarTime.h"

namespace orv::platform {

std::chrono::system_clock::time_point wallClock() {
    return std::chrono::system_clock::now();
}

std::tm localTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm date{};
    ::localtime_r(&time, &date);
    return date;
}

std::tm universalTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm date{};
    ::gmtime_r(&time, &date);
    return date;
}

} // namespace orv::platform
