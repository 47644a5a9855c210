#include "log/Logger.h"

#include "log/LineFormatter.h"
#include "log/log.h"
#include "platform/CalendarTime.h"
#include "platform/text.h"

#include <algorithm>
#include <memory>
#include <mutex>

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

using TakesLines = LineSink<SinkMutex>;

/// The shared sinks and the one formatter of all lines.
struct Shared {
    std::vector<spdlog::sink_ptr> sinks = makeSinks(kLogDirectory);
    LineFormatter formatter;
};

Shared& shared() {
    static Shared made;
    return made;
}

/// The sink as one that takes finished lines; null for another one. The shared sinks, which nearly all
/// loggers have, are told by their place.
TakesLines* asLines(const std::vector<spdlog::sink_ptr>& sinks, std::size_t at) {
    spdlog::sinks::sink* const sink = sinks[at].get();
    const auto& known = shared().sinks;
    if (at < known.size() && known[at].get() == sink) return static_cast<TakesLines*>(sink);
    return dynamic_cast<TakesLines*>(sink);
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

const std::vector<spdlog::sink_ptr>& sharedSinks() {
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

namespace {

class Unlocked {
  public:
    explicit Unlocked(std::unique_lock<log::SinkMutex>& lock) : lock_(lock) { lock_.unlock(); }
    ~Unlocked() { lock_.lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

  private:
    std::unique_lock<log::SinkMutex>& lock_;
};

/// The lines of messages, formed when the first sink wants them.
class FinishedLines {
  public:
    /// Under the lock of the sinks, which guards the formatter too.
    platform::LogLines of(std::span<const spdlog::details::log_msg> messages) {
        if (!formed_) form(messages);
        return {lines_.data(), lines_.size()};
    }

  private:
    void form(std::span<const spdlog::details::log_msg> messages) {
        text_.clear();
        lines_.clear();
        for (const auto& message : messages) {
            const std::size_t from = text_.size();
            log::shared().formatter.format(message, text_);
            lines_.push_back(log::lineOf(message, {text_.data() + from, text_.size() - from}));
        }
        // The text stays where it is from here on.
        std::size_t from = 0;
        for (platform::LogLine& line : lines_) {
            line.text = {text_.data() + from, line.text.size()};
            from += line.text.size();
        }
        formed_ = true;
    }

    spdlog::memory_buf_t text_;
    fmt::basic_memory_buffer<platform::LogLine, 4> lines_; // more than a few need memory
    bool formed_ = false;
};

} // namespace

spdlog::details::log_msg Logger::messageOf(spdlog::level::level_enum level, std::string_view text) const {
    spdlog::details::log_msg message;
    message.logger_name = name_;
    message.level = level;
    message.payload = {text.data(), text.size()};
    return message;
}

void Logger::send(spdlog::level::level_enum level, std::string_view text) {
    auto message = messageOf(level, text);
    message.time = platform::wallClock();
    put({&message, 1});
}

void Logger::send(spdlog::level::level_enum level, std::string_view texts,
                  std::span<const std::size_t> ends) {
    std::vector<spdlog::details::log_msg> messages;
    messages.reserve(ends.size());
    const auto now = platform::wallClock();
    std::size_t from = 0;
    for (const std::size_t end : ends) {
        messages.push_back(messageOf(level, texts.substr(from, end - from)));
        messages.back().time = now;
        from = end;
    }
    put(messages);
}

void Logger::put(std::span<const spdlog::details::log_msg> messages) {
    log::SinkMutex mutex;
    FinishedLines finished;
    std::unique_lock lock(mutex);
    for (std::size_t at = 0; at < sinks_.size(); ++at) {
        if (!sinks_[at]->should_log(messages.front().level)) continue;
        try {
            if (auto* lines = log::asLines(sinks_, at)) {
                lines->take(finished.of(messages));
            } else {
                const Unlocked unlocked(lock); // a foreign sink may write a line itself
                for (const auto& message : messages)
                    sinks_[at]->log(message);
                sinks_[at]->flush();
            }
        } catch (...) {
            // Lost to this sink; the next one may still take it.
        }
    }
}

namespace log {

namespace {

/// Nearly all lines are ASCII: those need no memory but the stack's.
void appendNarrow(fmt::memory_buffer& text, std::wstring_view wide) {
    constexpr std::size_t kBlock = 16;
    const std::size_t before = text.size();
    text.resize(before + wide.size());
    char* const to = text.data() + before;
    char32_t all = 0;
    std::size_t at = 0;
    const auto narrow = [&](std::size_t letter) {
        all |= static_cast<char32_t>(wide[letter]);
        to[letter] = static_cast<char>(wide[letter]);
    };
    for (; at + kBlock <= wide.size(); at += kBlock) // a length that is known lets the compiler take it whole
        for (std::size_t letter = 0; letter < kBlock; ++letter)
            narrow(at + letter);
    for (; at < wide.size(); ++at)
        narrow(at);
    if (all < 0x80) return;
    text.resize(before);
    const std::string utf8 = platform::wideToUtf8(wide);
    text.append(utf8.data(), utf8.data() + utf8.size());
}

/// A text without a brace is its own result; most of the others end in the one number that they tell. False
/// and nothing appended for all else.
bool appendSimple(fmt::memory_buffer& text, std::wstring_view format, const fmt::wformat_args& args) {
    const auto isBrace = [](wchar_t letter) { return letter == L'{' || letter == L'}'; };
    const auto brace =
        static_cast<std::size_t>(std::find_if(format.begin(), format.end(), isBrace) - format.begin());
    if (brace == format.size()) {
        appendNarrow(text, format);
        return true;
    }
    if (format.substr(brace) != L"{}") return false;
    return fmt::visit_format_arg(
        [&](auto value) {
            using Value = decltype(value);
            if constexpr (std::is_same_v<Value, int> || std::is_same_v<Value, unsigned> ||
                          std::is_same_v<Value, long long> || std::is_same_v<Value, unsigned long long>) {
                const fmt::format_int number(value);
                appendNarrow(text, format.substr(0, brace));
                text.append(number.data(), number.data() + number.size());
                return true;
            } else {
                return false;
            }
        },
        args.get(0));
}

/// "FILE@LINE: message"
void appendMessage(fmt::memory_buffer& text, const Message& message) {
    appendPlace(text, message.where);
    if (appendSimple(text, {message.format.data(), message.format.size()}, message.args)) return;
    fmt::wmemory_buffer wide;
    fmt::detail::vformat_to(wide, message.format, message.args);
    appendNarrow(text, {wide.data(), wide.size()});
}

} // namespace

void write(Logger& logger, Level level, std::wstring_view text) noexcept {
    try {
        fmt::memory_buffer narrow;
        appendNarrow(narrow, text);
        logger.send(toSpdlog(level), {narrow.data(), narrow.size()});
    } catch (...) {
        // A log line that cannot be formed is lost; the reading it speaks of goes on.
    }
}

void writeLocated(Logger& logger, Level level, const Message& message) noexcept {
    try {
        fmt::memory_buffer text;
        appendMessage(text, message);
        logger.send(toSpdlog(level), {text.data(), text.size()});
    } catch (...) {
        // As above.
    }
}

void Lines::append(const Message& message) noexcept {
    const std::size_t before = texts_.size();
    try {
        appendMessage(texts_, message);
        ends_.push_back(texts_.size());
    } catch (...) {
        texts_.resize(before); // as above
    }
}

Lines::~Lines() {
    if (ends_.size() == 0) return;
    try {
        logger_.send(toSpdlog(level_), {texts_.data(), texts_.size()}, {ends_.data(), ends_.size()});
    } catch (...) {
        // As above.
    }
}

} // namespace log
} // namespace orv
