#pragma once

#include <spdlog/details/log_msg.h>

#include <chrono>
#include <string>

namespace orv::log {

/// Forms the finished lines, as spdlog's default pattern has them: "[DATE TIME.MS] [LOGGER] [LEVEL] TEXT", in
/// local time. Each line of the log passes here, so it is made of copies alone, and what the second has in
/// common is formed once a second.
class LineFormatter {
  public:
    /// Appends the line; the place of the level's name in it goes into the message.
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line);

  private:
    void setSecond(std::chrono::seconds second);

    std::chrono::seconds second_{-1};
    std::string start_; // "[DATE TIME."
};

} // namespace orv::log
