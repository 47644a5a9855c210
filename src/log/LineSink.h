#pragma once

#include "platform/LogOutput.h"
#include "state/HeldMutex.h"

#include <spdlog/sinks/base_sink.h>

namespace orv::log {

/// The one lock of all sinks: a line goes to each of them under it, so it is taken once a line and the lines
/// stand in the same order everywhere.
class SinkMutex {
  public:
    void lock() noexcept { mutex().lock(); }
    void unlock() noexcept { mutex().unlock(); }

  private:
    static HeldMutex& mutex() noexcept {
        constinit static HeldMutex one;
        return one;
    }
};

/// The finished text of a message, in spdlog's default pattern.
inline platform::LogLine lineOf(const spdlog::details::log_msg& message, std::string_view text) {
    return {text, message.color_range_start, message.color_range_end,
            static_cast<std::size_t>(message.level)};
}

/// A sink that takes finished lines, so that a message is formatted once for all of them. It keeps nothing
/// back, so there is nothing to flush.
template <class Mutex>
class LineSink : public spdlog::sinks::base_sink<Mutex> {
  public:
    /// The caller holds the lock of the sinks.
    void take(platform::LogLines lines) { write_(lines); }

  protected:
    virtual void write_(platform::LogLines lines) = 0;

    /// The way of a message that comes from another logger than the library's own.
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t text;
        this->formatter_->format(message, text);
        const platform::LogLine line = lineOf(message, {text.data(), text.size()});
        write_({&line, 1});
    }
    void flush_() final {}
};

} // namespace orv::log
