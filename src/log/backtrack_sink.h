#pragma once

#include <spdlog/sinks/base_sink.h>

#include <cstddef>
#include <deque>
#include <string>

namespace orv::log {

/// Keeps the latest lines in memory, for a debugger or a crash dump of the host.
template <class Mutex>
class backtrack_sink : public spdlog::sinks::base_sink<Mutex> {
  public:
    explicit backtrack_sink(std::size_t capacity) : capacity_(capacity) {}

    const std::deque<std::string>& lines() const { return lines_; }

  protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        // The oldest line's storage takes the newest line, so a full ring allocates nothing.
        std::string line;
        if (lines_.size() >= capacity_) {
            line = std::move(lines_.front());
            lines_.pop_front();
        }
        spdlog::memory_buf_t text;
        this->formatter_->format(message, text);
        line.assign(text.data(), text.size());
        lines_.push_back(std::move(line));
    }
    void flush_() override {}

  private:
    std::size_t capacity_;
    std::deque<std::string> lines_;
};

} // namespace orv::log
