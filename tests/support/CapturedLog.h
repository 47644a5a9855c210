#pragma once

#include "log/Logger.h"
#include "log/log.h"

#include <spdlog/sinks/ostream_sink.h>

#include <initializer_list>
#include <sstream>
#include <string>

namespace orv::test {

/// Collects what loggers write while it lives, one line "LEVEL MESSAGE" each, without the place in front.
class CapturedLog {
  public:
    explicit CapturedLog(std::initializer_list<Logger*> loggers)
        : loggers_(loggers), sink_(std::make_shared<spdlog::sinks::ostream_sink_mt>(text_)) {
        sink_->set_pattern("%l %v");
        for (Logger* logger : loggers_)
            logger->sinks().push_back(sink_);
    }
    ~CapturedLog() {
        for (Logger* logger : loggers_)
            logger->sinks().pop_back();
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /// The lines from `level` on up, in order.
    std::vector<std::string> lines(spdlog::level::level_enum level = spdlog::level::trace) const {
        std::vector<std::string> lines;
        std::istringstream all(text_.str());
        for (std::string line; std::getline(all, line);) {
            const auto blank = line.find(' ');
            if (spdlog::level::from_str(line.substr(0, blank)) < level) continue;
            if (!line.empty() && line.back() == '\r') line.pop_back(); // of a system's sentence
            const auto place = line.find(": ");
            lines.push_back(place == line.npos ? line : line.substr(0, blank + 1) + line.substr(place + 2));
        }
        return lines;
    }

  private:
    std::vector<Logger*> loggers_;
    std::ostringstream text_;
    std::shared_ptr<spdlog::sinks::sink> sink_;
};

} // namespace orv::test
