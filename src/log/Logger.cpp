#include "log/Logger.h"

#include "log/log.h"
#include "platform/text.h"

#include <spdlog/pattern_formatter.h>

#include <algorithm>
#include <memory>

namespace orv {

namespace log {

namespace {

constexpr char kLogDirectory[] = "./resources/log/cpp";

constexpr char kConsoleVariable[] = "HWPROBE_LOG_CONSOLE";
constexpr char kFileVariable[] = "HWPROBE_LOG_FILE";
constexpr auto kConsoleLevel = spdlog::level::info;
constexpr auto kFileLevel = spdlog::level::debug;

/// The level that a variable of the environment names; `usual` when it names none.
spdlog::level::level_enum levelFrom(const char* variable, spdlog::level::level_enum usual) {
    const std::string name = platform::environmentVariable(variable).value_or("");
    const auto level = spdlog::level::from_str(name);
    // What from_str does not know is "off" to it.
    return level == spdlog::level::off && name != "off" ? usual : level;
}

/// The shared sinks and the one formatter of their lines.
struct Shared {
    std::vector<spdlog::sink_ptr> sinks = makeSinks(kLogDirectory);
    SinkMutex mutex;
    spdlog::pattern_formatter formatter;
};

Shared& shared() {
    static Shared made;
    return made;
}

void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& text) {
    std::lock_guard lock(shared().mutex);
    shared().formatter.format(message, text);
}

spdlog::level::level_enum toSpdlog(Level level) {
    return static_cast<spdlog::level::level_enum>(level);
}

} // namespace

std::vector<spdlog::sink_ptr> makeSinks(const std::string& directory) {
    const auto console = std::make_shared<ConsoleSink>(platform::ConsoleStream::output);
    console->set_level(levelFrom(kConsoleVariable, kConsoleLevel));
    const auto file = std::make_shared<FileSink>(directory);
    file->set_level(levelFrom(kFileVariable, kFileLevel));
    const auto ring = std::make_shared<RingSink>(kRingCapacity);
    ring->set_level(spdlog::level::trace);
    return {console, file, ring};
}

std::vector<spdlog::sink_ptr>& sharedSinks() {
    return shared().sinks;
}

void openFile() noexcept {
    try {
        auto& file = static_cast<FileSink&>(*sharedSinks()[1]);
        if (file.level() != spdlog::level::off) file.open();
    } catch (...) {
        // The host goes on without the file.
    }
}

void setConsole(std::optional<platform::ConsoleStream> stream) {
    auto& console = static_cast<ConsoleSink&>(*sharedSinks().front());
    if (stream) console.use(*stream);
    console.set_level(stream ? levelFrom(kConsoleVariable, kConsoleLevel) : spdlog::level::off);
}

} // namespace log

Logger::Logger(const std::string& name)
    : spdlog::logger(name, log::sharedSinks().begin(), log::sharedSinks().end()) {
    set_level(spdlog::level::trace);
    flush_on(spdlog::level::trace);
    set_error_handler([](const std::string&) {}); // not to the host's standard error
}

void Logger::sink_it_(const spdlog::details::log_msg& message) {
    const BriefScope scope; // over the locks of the formatter and of each sink
    spdlog::memory_buf_t text;
    for (const spdlog::sink_ptr& sink : sinks_) {
        if (!sink->should_log(message.level)) continue;
        try {
            if (auto* lines = dynamic_cast<log::LineSink<log::SinkMutex>*>(sink.get())) {
                if (text.size() == 0) log::format(message, text);
                lines->take(log::lineOf(message, text));
            } else {
                sink->log(message);
                sink->flush();
            }
        } catch (...) {
            // Lost to this sink; the next one may still take it.
        }
    }
}

namespace log {

namespace {

/// Nearly all lines are ASCII: those need no memory but the stack's.
void writeText(Logger& logger, Level level, std::wstring_view text) {
    const auto isAscii = [](wchar_t letter) { return static_cast<char32_t>(letter) < 0x80; };
    if (!std::all_of(text.begin(), text.end(), isAscii)) {
        logger.log(toSpdlog(level), platform::wideToUtf8(text));
        return;
    }
    fmt::memory_buffer narrow;
    narrow.append(text.data(), text.data() + text.size());
    logger.log(toSpdlog(level), spdlog::string_view_t(narrow.data(), narrow.size()));
}

} // namespace

void write(Logger& logger, Level level, std::wstring_view text) noexcept {
    try {
        writeText(logger, level, text);
    } catch (...) {
        // A log line that cannot be formed is lost; the reading it speaks of goes on.
    }
}

void writeLocated(Logger& logger, Level level, const std::source_location& where, fmt::wstring_view format,
                  fmt::wformat_args args) noexcept {
    try {
        fmt::wmemory_buffer text;
        formatLocated(text, where, format, args);
        writeText(logger, level, {text.data(), text.size()});
    } catch (...) {
        // As above.
    }
}

} // namespace log
} // namespace orv
