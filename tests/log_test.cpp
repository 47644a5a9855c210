#include "log/LineFormatter.h"
#include "log/Logger.h"
#include "log/log.h"

#include <gmock/gmock.h>
#include <spdlog/pattern_formatter.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

namespace orv::test {
namespace {

namespace fs = std::filesystem;

void expectMatch(const std::string& line, const std::string& pattern) {
    EXPECT_TRUE(std::regex_search(line, std::regex(pattern))) << line;
}

class LogFile : public ::testing::Test {
  protected:
    void TearDown() override { fs::remove_all(folder_); }

    std::vector<std::string> lines() const {
        std::vector<std::string> found;
        std::error_code missing;
        for (const auto& entry : fs::directory_iterator(folder_, missing)) {
            std::ifstream file(entry.path());
            for (std::string line; std::getline(file, line);)
                found.push_back(line);
        }
        return found;
    }

    const std::string folder_ = "log-test/deep";
};

TEST_F(LogFile, IsNamedByTheDayAndAppendedToWithASeparatorALoad) {
    for (int load = 0; load < 2; ++load) {
        const auto sinks = log::makeSinks(folder_);
        ASSERT_EQ(3u, sinks.size());
        Logger logger("wmi");
        logger.sinks() = {sinks[1]};
        logger.trace("a trace line");
        EXPECT_EQ(load * 3u, lines().size()); // a line that stays out opens no file
        logger.debug("wmi@34: wmi init");
        EXPECT_EQ(load * 3u + 2, lines().size()); // and one that goes in is there at once
        logger.warn("a warning");
    }
    const auto found = lines();
    ASSERT_EQ(6u, found.size());
    const std::string stamp = R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )";
    for (std::size_t load : {0u, 3u}) {
        expectMatch(found[load], stamp + R"(\[init\] \[info\] -+file log init-+\r?$)");
        expectMatch(found[load + 1], stamp + R"(\[wmi\] \[debug\] wmi@34: wmi init\r?$)");
        expectMatch(found[load + 2], stamp + R"(\[wmi\] \[warning\] a warning\r?$)");
    }
    const std::string name = fs::directory_iterator(folder_)->path().filename().string();
    expectMatch(name, R"(^orvaneHwProbe_\d{4}-\d\d-\d\d\.log$)");
}

TEST_F(LogFile, APathInTheWayLeavesTheOtherSinks) {
    fs::create_directories("log-test");
    std::ofstream(folder_) << "a file where the folder should be";
    Logger logger("wmi");
    logger.sinks() = log::makeSinks(folder_ + "/below");
    logger.debug("goes on");
    EXPECT_THAT(dynamic_cast<log::RingSink&>(*logger.sinks()[2]).lines(),
                ::testing::ElementsAre(::testing::HasSubstr("[wmi] [debug] goes on")));
}

TEST(LogWriting, AFailingSinkLosesItsLineQuietlyAndAForeignSinkIsFlushed) {
    class Foreign : public spdlog::sinks::base_sink<std::mutex> {
      public:
        bool fails = false;
        std::string seen;

      protected:
        void sink_it_(const spdlog::details::log_msg& message) override {
            if (fails) throw std::bad_alloc();
            seen += std::string(message.payload.data(), message.payload.size()) + " ";
        }
        void flush_() override { seen += "flushed "; }
    };
    const auto failing = std::make_shared<Foreign>();
    failing->fails = true;
    const auto working = std::make_shared<Foreign>();
    Logger logger("x");
    logger.sinks() = {failing, working};
    ::testing::internal::CaptureStderr();
    log::write(logger, log::Level::trace, L"line");
    EXPECT_EQ("line flushed ", working->seen);
    log::info(logger, L"{:{}}", 1, -1); // a width that only the formatting finds wrong
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
    EXPECT_EQ("line flushed ", working->seen);
}

TEST(LogWriting, LinesOfAScopeGoToEachSinkTogether) {
    class Writes : public log::LineSink<log::SinkMutex> {
      public:
        std::vector<std::string> seen;

      protected:
        void write_(platform::LogLines lines) override {
            for (const auto& line : lines) // each has its own prefix, with its own level's place
                EXPECT_EQ("info", line.text.substr(line.levelFrom, line.levelTo - line.levelFrom));
            seen.emplace_back(platform::textOf(lines));
        }
    };
    const auto writes = std::make_shared<Writes>();
    const auto ring = std::make_shared<log::RingSink>(9);
    Logger logger("battery");
    logger.sinks() = {writes, ring};
    {
        log::Lines none(logger, log::Level::info), some(logger, log::Level::info);
        some.add(L"found");
        some.add(L"count: {}, {}", std::wstring(300, L'n'), 4);
        some.add(L"{:{}}", 1, -1); // lost alone
        for (int i = 0; i < 5; ++i)
            some.add(L"more: {}", i);
        EXPECT_TRUE(writes->seen.empty());
    }
    const auto lines = ring->lines();
    ASSERT_EQ(7u, lines.size());
    EXPECT_EQ(std::vector{fmt::format("{}", fmt::join(lines, ""))}, writes->seen);
    EXPECT_THAT(lines[6], ::testing::HasSubstr(": more: 4"));
    expectMatch(lines[0], R"(\] \[battery\] \[info\] log_test@\d+: found\r?\n$)");
    expectMatch(lines[1], R"(^\[\d{4}.*\] \[info\] log_test@\d+: count: n{300}, 4\r?\n$)");
}

TEST(LogWriting, LinesAreThoseOfSpdlogsDefaultPattern) {
    using namespace std::chrono_literals;
    log::LineFormatter ours;
    spdlog::pattern_formatter spdlogs;
    spdlog::memory_buf_t far;
    spdlog::details::log_msg late("wmi", spdlog::level::info, "a text");
    late.time = spdlog::log_clock::time_point(4'102'488'000s); // noon of the first day of 2100 in UTC
    ours.format(late, far);
    EXPECT_THAT(fmt::to_string(far), ::testing::StartsWith("[2100-01-01 "));
    const auto now = std::chrono::floor<std::chrono::seconds>(spdlog::log_clock::now());
    for (const auto since :
         {0ms, 7ms, 999ms, 1000ms, 86'400'060ms, 15'552'000'450ms, -1ms}) // back again, too
        for (int level = 0; level < spdlog::level::off; ++level) {
            spdlog::details::log_msg message("wmi", static_cast<spdlog::level::level_enum>(level), "a text");
            message.time = now + since;
            spdlog::memory_buf_t line, expected;
            spdlogs.format(message, expected);
            const auto place = std::pair(message.color_range_start, message.color_range_end);
            ours.format(message, line);
            EXPECT_EQ(fmt::to_string(expected), fmt::to_string(line));
            EXPECT_EQ(place, std::pair(message.color_range_start, message.color_range_end));
        }
}

TEST(LogWriting, FormatsAreThoseOfFmt) {
    Logger logger("x");
    const auto ring = std::make_shared<log::RingSink>(1);
    logger.sinks() = {ring};
    const auto written = [&] {
        const std::string line = ring->lines().back();
        return line.substr(line.find(": ") + 2, line.find_first_of("\r\n") - line.find(": ") - 2);
    };
    log::info(logger, L"count: {}", std::numeric_limits<int>::min());
    EXPECT_EQ("count: -2147483648", written());
    log::info(logger, L"caf\u00E9: {}", 3);
    EXPECT_EQ("caf\xC3\xA9: 3", written());
    log::info(logger, L"{:>4}|{}", 5, L"a long text of more than sixteen letters, caf\u00E9");
    EXPECT_EQ("   5|a long text of more than sixteen letters, caf\xC3\xA9", written());
}

TEST(LogRing, KeepsTheLatest64LinesOfEveryLogger) {
    log::RingSink ring(log::kRingCapacity);
    for (int i = 1; i <= 65; ++i)
        ring.log({"x", spdlog::level::trace, "message " + std::to_string(i)});
    ASSERT_EQ(64u, ring.lines().size());
    EXPECT_THAT(ring.lines().front(), ::testing::HasSubstr("message 2"));
    EXPECT_THAT(ring.lines().back(), ::testing::HasSubstr("message 65"));

    auto& shared = dynamic_cast<log::RingSink&>(*log::sharedSinks().back());
    log::entry(memoryLogger, L"orv::memory::getMemoryStatus");
    expectMatch(shared.lines().back(), R"(\[memory\] \[trace\] log_test@\d+: orv::memory::getMemoryStatus)");
}

} // namespace
} // namespace orv::test
