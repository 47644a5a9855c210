#pragma once

#include "log/Sinks.h"

#include <spdlog/logger.h>

#include <cstddef>
#include <string>
#include <vector>

namespace orv {

/// A logger on the shared sinks. It lets every message through and flushes after each; the level of a sink
/// does the filtering.
class Logger : public spdlog::logger {
  public:
    explicit Logger(const std::string& name);
};

namespace log {

inline constexpr std::size_t kRingCapacity = 64; // lines

/// The sinks that all loggers share: console, file, ring, in this order. Made on the first call, which opens
/// the log file; a file that cannot be opened is left out.
std::vector<spdlog::sink_ptr>& sharedSinks();

/// Builds a sink list whose log file stands in `directory`. For sharedSinks and the tests.
std::vector<spdlog::sink_ptr> makeSinks(const std::string& directory);

} // namespace log
} // namespace orv
