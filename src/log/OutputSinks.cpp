#include "log/OutputSinks.h"

#include <spdlog/details/os.h>
#include <spdlog/sinks/base_sink-inl.h>

#include <ctime>

// The bodies of spdlog's templates are compiled where they are named, and this lock is our own.
template class spdlog::sinks::base_sink<orv::log::SinkMutex>;

namespace orv::log {

namespace {

constexpr char kBaseName[] = "orvaneHwProbe";
constexpr char kSeparatorLine[] = "----------------file log init---------------------------------------";

std::string localDate() {
    const std::tm now = spdlog::details::os::localtime(std::time(nullptr));
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
    if (output_) sink_it_({"init", spdlog::level::info, kSeparatorLine});
}

void FileSink::write_(platform::LogLines lines) {
    openOnce();
    if (output_ && !output_->write(lines)) output_.reset();
}

} // namespace orv::log
