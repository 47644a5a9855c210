#pragma once

#include "log/LocatedFormat.h"

#include <string_view>

namespace orv {

class Logger;

/// The loggers of the modules, made when the library is loaded. The order of their making stands in
/// frame/border/globals.cpp.
extern Logger cpuLogger;
extern Logger diskLogger;
extern Logger batteryLogger;
extern Logger memoryLogger;
extern Logger networkAdapterLogger;
extern Logger wlanLogger;
extern Logger winRing0Logger;
extern Logger cpuInfoLogger;
extern Logger hwExceptionLogger;
extern Logger wmiLogger;
extern Logger nvidiaGpuLogger;
extern Logger amdGpuLogger;
extern Logger spdLogger;
extern Logger regeditLogger;
extern Logger cpuFrequencyLogger;
extern Logger mutexesLogger;
extern Logger smbusLogger;

namespace log {

enum class Level { trace, debug, info, warn, error };

/// Writes a text as it stands. Never throws.
void write(Logger& logger, Level level, std::wstring_view text) noexcept;

/// A message to be formatted, and where it stands.
struct Message {
    const SourcePlace& where;
    fmt::wstring_view format;
    fmt::wformat_args args;
};

/// Formats and writes "FILE@LINE: message". Never throws.
void writeLocated(Logger& logger, Level level, const Message& message) noexcept;

template <class... Args>
using Format = LocatedFormat<std::type_identity_t<Args>...>;

template <class... Args>
void trace(Logger& logger, Format<Args...> format, const Args&... args) {
    writeLocated(logger, Level::trace, {format.where, format.text, fmt::make_wformat_args(args...)});
}
template <class... Args>
void debug(Logger& logger, Format<Args...> format, const Args&... args) {
    writeLocated(logger, Level::debug, {format.where, format.text, fmt::make_wformat_args(args...)});
}
template <class... Args>
void info(Logger& logger, Format<Args...> format, const Args&... args) {
    writeLocated(logger, Level::info, {format.where, format.text, fmt::make_wformat_args(args...)});
}
template <class... Args>
void warn(Logger& logger, Format<Args...> format, const Args&... args) {
    writeLocated(logger, Level::warn, {format.where, format.text, fmt::make_wformat_args(args...)});
}
template <class... Args>
void error(Logger& logger, Format<Args...> format, const Args&... args) {
    writeLocated(logger, Level::error, {format.where, format.text, fmt::make_wformat_args(args...)});
}

/// Lines of one level that no step of the system's stands between: written together at the end of a scope, by
/// one write an output. Never throws.
class Lines {
  public:
    Lines(Logger& logger, Level level) noexcept : logger_(logger), level_(level) {}
    ~Lines();
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    template <class... Args>
    void add(Format<Args...> format, const Args&... args) noexcept {
        append({format.where, format.text, fmt::make_wformat_args(args...)});
    }

  private:
    void append(const Message& message) noexcept;

    Logger& logger_;
    Level level_;
    fmt::memory_buffer texts_;
    fmt::basic_memory_buffer<std::size_t, 4> ends_; // of each line in the texts
};

/// Entry trace: the first act of a function that matters, with its qualified name.
inline void entry(Logger& logger, Format<> qualifiedName) {
    writeLocated(logger, Level::trace, {qualifiedName.where, qualifiedName.text, {}});
}

} // namespace log
} // namespace orv
