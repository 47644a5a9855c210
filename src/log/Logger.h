#pragma once

#include "log/OutputSinks.h"
#include "log/backtrack_sink.h"

#include <spdlog/logger.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

/// A logger on the shared sinks. It lets every message through and flushes after each; the level of a sink
/// does the filtering. A message is formatted once, and a sink that fails loses it quietly.
class Logger : public spdlog::logger {
  public:
    explicit Logger(const std::string& name);

    /// log() of spdlog without its questions, whose answers are the same for each message of ours.
    void send(spdlog::level::level_enum level, std::string_view text);
    /// Lines of the same moment, of which `ends` has the places behind each in `texts`; a sink takes them
    /// together.
    void send(spdlog::level::level_enum level, std::string_view texts, std::span<const std::size_t> ends);

  protected:
    void sink_it_(const spdlog::details::log_msg& message) override { put({&message, 1}); }

  private:
    spdlog::details::log_msg messageOf(spdlog::level::level_enum level, std::string_view text) const;
    /// Messages of one level.
    void put(std::span<const spdlog::details::log_msg> messages);
};

namespace log {

using RingSink = backtrack_sink<SinkMutex>;

inline constexpr std::size_t kRingCapacity = 64; // lines

/// The sinks that all loggers share: console, file, ring, in this order. Made on the first call.
const std::vector<spdlog::sink_ptr>& sharedSinks();

/// Builds a sink list whose log file stands in `directory`. For sharedSinks and the tests.
std::vector<spdlog::sink_ptr> makeSinks(const std::string& directory);

/// Opens the log file of the shared sinks before its first line, unless the file is off.
void openFile() noexcept;

/// Where the console lines go; nothing turns them off.
void setConsole(std::optional<platform::ConsoleStream> stream);

} // namespace log
} // namespace orv
