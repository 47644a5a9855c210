#include "log/Logger.h"

#include "log/log.h"
#include "platform/text.h"

#include <spdlog/details/os.h>

#include <ctime>
#include <memory>

namespace orv {

Logger::Logger(const std::string& name)
    : spdlog::logger(name, log::sharedSinks().begin(), log::sharedSinks().end()) {
    set_level(spdlog::level::trace);
    flush_on(spdlog::level::trace);
}

namespace log {

namespace {

constexpr char kLogDirectory[] = "./resources/log/cpp";
constexpr char kLogBaseName[] = "orvaneHwProbe";
constexpr char kSeparatorLine[] = "----------------file log init---------------------------------------";

std::string localDate() {
    const std::tm now = spdlog::details::os::localtime(std::time(nullptr));
    char text[16] = {};
    std::strftime(text, sizeof text, "%Y-%m-%d", &now);
    return text;
}

spdlog::level::level_enum toSpdlog(Level level) {
    return static_cast<spdlog::level::level_enum>(level);
}

} // namespace

std::vector<spdlog::sink_ptr> makeSinks(const std::string& directory) {
    std::vector<spdlog::sink_ptr> sinks;
    const auto console = std::make_shared<StdoutSink>();
    console->set_level(spdlog::level::info);
    sinks.push_back(console);
    try {
        const std::string path = fmt::format("{}/{}_{}.log", directory, kLogBaseName, localDate());
        const auto file = std::make_shared<FileSink>(path, false);
        file->set_level(spdlog::level::debug);
        spdlog::logger("init", file).info(kSeparatorLine);
        file->flush();
        sinks.push_back(file);
    } catch (const std::exception&) {
        // A read-only folder or a full disk must not keep the host from loading the library: go on without
        // the file.
    }
    const auto ring = std::make_shared<RingSink>(kRingCapacity);
    ring->set_level(spdlog::level::trace);
    sinks.push_back(ring);
    return sinks;
}

std::vector<spdlog::sink_ptr>& sharedSinks() {
    static std::vector<spdlog::sink_ptr> sinks = makeSinks(kLogDirectory);
    return sinks;
}

void write(Logger& logger, Level level, std::wstring_view text) noexcept {
    try {
        logger.log(toSpdlog(level), platform::wideToUtf8(text));
    } catch (...) {
        // A log line that cannot be formed is lost; the reading it speaks of goes on.
    }
}

void writeLocated(Logger& logger, Level level, const std::source_location& where, fmt::wstring_view format,
                  fmt::wformat_args args) noexcept {
    try {
        write(logger, level, formatLocated(where, format, args));
    } catch (...) {
        // As above.
    }
}

} // namespace log
} // namespace orv
