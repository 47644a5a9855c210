#include "log/OutputSinks.h"

#include "log/LineFormatter.h"
#include "platform/CalendarTime.h"

#include <spdlog/sinks/base_sink-inl.h>

#include <ctime>

// The bodies of spdlog's templates are compiled where they are named, and this lock is our own.
template class spdlog::sinks::base_sink<orv::log::SinkMutex>;

namespace orv::log {

namespace {

constexpr char kBaseName[] = "orvaneHwProbe";
constexpr char kSeparatorLine[] = "----------------file log init---------------------------------------";

std::string localDate() {
    using namespace std::chrono;
    const std::tm now = platform::localTime(floor<seconds>(platform::wallClock().time_since_epoch()).count());
    char text[16] = {};
    std::strftime(text, sizeof text, "%Y-%m-%d", &now);
    return text;
}

} // namespace

void ConsoleSink::use(platform::ConsoleStream stream) {
    std::lock_guard lock(mutex_);
    output_ = platform::openConsole(stream);
}

void ConsoleSink::write_(platform::LogLines lines) {
    if (output_ && !output_->write(lines)) output_.reset();
}

FileSink::FileSink(std::string directory)
    : directory_(std::move(directory)), name_(fmt::format("{}_{}.log", kBaseName, localDate())) {}

void FileSink::open() {
    std::lock_guard lock(mutex_);
    openOnce();
}

void FileSink::openOnce() {
    if (std::exchange(tried_, true)) return;
    output_ = platform::openLogFile(directory_, name_);
    // Marks where a load begins, whatever the file's level.
    if (!output_) return;
    const spdlog::details::log_msg message(platform::wallClock(), {}, "init", spdlog::level::info,
                                           kSeparatorLine);
    spdlog::memory_buf_t text;
    LineFormatter().format(message, text);
    const platform::LogLine line = lineOf(message, {text.data(), text.size()});
    write_({&line, 1});
}

void FileSink::write_(platform::LogLines lines) {
    openOnce();
    if (output_ && !output_->write(lines)) output_.reset();
}

} // namespace orv::log
