#include "log/LineFormatter.h"

#include "platform/CalendarTime.h"

#include <spdlog/details/os.h>

#include <cstring>
#include <ctime>
#include <string_view>

namespace orv::log {

namespace {

char* put(char* to, std::string_view text) {
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

std::string_view view(spdlog::string_view_t text) {
    return {text.data(), text.size()};
}

} // namespace

void LineFormatter::setSecond(std::chrono::seconds second) {
    const std::tm local = platform::localTime(second.count());
    char text[64];
    start_.assign(text, std::strftime(text, sizeof text, "[%Y-%m-%d %H:%M:%S.", &local));
    second_ = second;
}

void LineFormatter::format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) {
    using namespace std::chrono;
    const auto time = floor<milliseconds>(message.time.time_since_epoch());
    const auto second = floor<seconds>(time);
    if (second != second_) setSecond(second);
    const auto thousandths = static_cast<unsigned>((time - second).count());

    constexpr std::string_view kEnd = spdlog::details::os::default_eol;
    const std::string_view logger = view(message.logger_name);
    const std::string_view level = view(spdlog::level::to_string_view(message.level));
    const std::string_view text = view(message.payload);
    constexpr std::size_t kBetween = std::string_view("000] [] [] ").size();
    const std::size_t before = line.size();
    line.resize(before + start_.size() + kBetween + logger.size() + level.size() + text.size() + kEnd.size());

    char* const start = line.data() + before;
    char* to = put(start, start_);
    *to++ = static_cast<char>('0' + thousandths / 100);
    *to++ = static_cast<char>('0' + thousandths / 10 % 10);
    *to++ = static_cast<char>('0' + thousandths % 10);
    to = put(put(put(to, "] ["), logger), "] [");
    message.color_range_start = static_cast<std::size_t>(to - start);
    to = put(to, level);
    message.color_range_end = static_cast<std::size_t>(to - start);
    put(put(put(to, "] "), text), kEnd);
}

} // namespace orv::log
