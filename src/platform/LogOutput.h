#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orv::platform {

/// A finished log line with its line end. The level's name in it has a colour where the output shows colours.
struct LogLine {
    std::string_view text;
    std::size_t levelFrom = 0;
    std::size_t levelTo = 0;
    std::size_t level = 0; // 0 trace … 5 critical
};

/// Lines for an output to take together, at least one. Their texts follow one another in one piece of memory.
using LogLines = std::span<const LogLine>;

inline std::string_view textOf(LogLines lines) {
    const std::string_view last = lines.back().text;
    return {lines.front().text.data(), last.data() + last.size()};
}

/// Where the system puts log lines. Not for two threads at once.
class LogOutput {
  public:
    virtual ~LogOutput() = default;
    /// The lines have left the process when the call returns; what cannot be written is lost. False when no
    /// later line could be written either.
    virtual bool write(LogLines lines) noexcept = 0;
};

enum class ConsoleStream { output, error };

/// A standard stream of the process, in colours on a terminal; null when the process has none.
std::unique_ptr<LogOutput> openConsole(ConsoleStream stream);

/// A file to append to, made with its folders where they are missing; null when it cannot be had.
std::unique_ptr<LogOutput> openLogFile(const std::string& directory, const std::string& name);

/// A variable of the process's environment; none in a process that runs with rights which its caller, whose
/// environment it is, does not have.
std::optional<std::string> environmentVariable(const char* name);

} // namespace orv::platform
