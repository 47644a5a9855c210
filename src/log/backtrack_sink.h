#pragma once

#include "log/LineSink.h"

#include <cstddef>
#include <deque>
#include <string>

namespace orv::log {

/// Keeps the latest lines in memory, for a debugger or a crash dump of the host.
template <class Mutex>
class backtrack_sink : public LineSink<Mutex> {
  public:
    explicit backtrack_sink(std::size_t capacity) : capacity_(capacity) {}

    std::deque<std::string> lines() {
        std::lock_guard<Mutex> lock(this->mutex_);
        return lines_;
    }

  protected:
    void write_(platform::LogLines lines) override {
        for (const platform::LogLine& line : lines)
            keep(line.text);
    }

  private:
    void keep(std::string_view line) {
        if (capacity_ == 0) return;
        // The oldest line's storage takes the newest line.
        std::string newest;
        if (lines_.size() >= capacity_) {
            newest = std::move(lines_.front());
            lines_.pop_front();
        }
        newest = line;
        lines_.push_back(std::move(newest));
    }

    std::size_t capacity_;
    std::deque<std::string> lines_;
};

} // namespace orv::log
