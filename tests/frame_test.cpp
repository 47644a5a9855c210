#include "frame/EncodedText.h"
#include "frame/border/callFrame.h"
#include "frame/sehGuard.h"
#include "frame/supportedArch.h"
#include "support/Faults.h"
#include "support/TestMachine.h"

#include <nlohmann/json.hpp>

namespace orv::test {
namespace {

constexpr char kPlain[] = R"({"name": "plain", "memory": {"totalPhys": 1000, "availPhys": 620}})";

TEST(Text, WhatCannotBeConvertedIsReplaced) {
    const std::wstring lone = {L'a', static_cast<wchar_t>(0xD800), L'b'};
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b",
              EncodedText(lone).narrow);
    EXPECT_EQ(L"a\uFFFD", EncodedText(std::string("a\xFF")).wide);
}

TEST(Frame, LastErrorIsEmptyAtFirstAndKeptBySuccesses) {
    TestMachine machine(kPlain);
    EXPECT_STREQ("", getLastError());
    machine->requests().plan({"memoryStatus", 1, 5, 0});
    EXPECT_EQ(-1, getMemoryLoad());
    const std::string reason = getLastError();
    EXPECT_THAT(reason, StartsWith("MemoryStatus@")); // and the line
    EXPECT_THAT(reason,
                EndsWith(": GlobalMemoryStatusEx failed, error code: 5 message: Access is denied.\r\n"));
    EXPECT_EQ(38, getMemoryLoad());
    EXPECT_EQ(reason, getLastError());
}

TEST(Frame, AnswersAndFailuresHaveABufferEach) {
    TestMachine machine = TestMachine::sample("intel-desktop");
    const char* answer = getNetCurrentSpeed();
    const std::string kept = answer;
    machine->requests().plan({"interfaceRows", 1, 5, 0});
    const char* failure = getNetCurrentSpeed();
    const std::string failureKept = failure;
    EXPECT_THAT(failure, HasSubstr("GetIfTable failed: error code: 5"));
    EXPECT_EQ(kept, answer);
    machine->requests().clearFaults();
    getNetCurrentSpeed();
    EXPECT_EQ(failureKept, failure);
    // The line break that system texts end in stays valid JSON.
    EXPECT_EQ(getLastError(), nlohmann::json::parse(failure)["error"].get<std::string>());
}

TEST(Frame, FailureFormsAreExact) {
    const char* reason = "a \"quoted\"\r\ntext";
    EXPECT_EQ(R"({"error":"a \"quoted\"\r\ntext"})", frame::kErrorObject.of(reason));
    EXPECT_EQ(R"({"code":0,"data":"a \"quoted\"\r\ntext"})", frame::kCodeObject.of(reason));
    EXPECT_EQ("{\"error\": \"a \"quoted\"\r\ntext\"}", frame::kBoundedError<1024>.of(reason));
    const std::string endless(5000, 'x'); // cut to what the buffer holds beside its NUL
    EXPECT_EQ(R"({"error": ")" + std::string(1012, 'x'), frame::kBoundedError<1024>.of(endless.c_str()));
}

TEST(Frame, ArchitectureDecidesBeforeAnyObjectIsMade) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        {R"({"nativeMachine": "0x8664"})", true, ""},
        {R"({"nativeMachine": "0xAA64"})", false, "Not x86 arch"},
        {R"({"architecture": "noFunction", "nativeMachine": "0xAA64"})", true, ""},
        {R"({"architecture": "callFailed"})", false, "Call IsWow64Process2 failed"},
    };
    for (const auto& [system, supported, reason] : cases) {
        TestMachine machine(std::string(R"({"name": "x", "system": )") + system + "}");
        EXPECT_EQ(supported, frame::isSupportedArch()) << system;
        EXPECT_STREQ(reason, getLastError());
        if (supported) continue;
        EXPECT_EQ(-1.0, getCpuTemperature());
        EXPECT_EQ(-1.0, getCpuFrequency());
        EXPECT_STREQ(reason, getLastError());
    }
}

TEST(SehGuard, FaultsBecomeTexts) {
    EXPECT_EQ("EXCEPTION_ACCESS_VIOLATION", sehExceptionText(0xC0000005));
    EXPECT_EQ("0xdeadbeef", sehExceptionText(0xDEADBEEF));

    // A real fault of the machine that runs this.
    const auto host = platform::makeHostPlatform();
    InUse inUse(*host);
    EXPECT_THROW(sehGuard(nullWrite), std::runtime_error);
    EXPECT_THROW(sehGuard([] { throw std::out_of_range("passes"); }), std::out_of_range);
}

TEST(ProcessStateTest, AFailedMakerRunsAgainAndTheExitListRunsBackwards) {
    OnceCell<int> cell;
    EXPECT_THROW(cell.get([]() -> int { throw std::runtime_error("not yet"); }), std::runtime_error);
    EXPECT_EQ(1, cell.get([] { return 1; }));
    EXPECT_EQ(1, cell.get([] { return 2; }));

    static std::string order;
    order.clear();
    ProcessState::renew();
    ProcessState::current().atExit([] { order += "first "; });
    ProcessState::current().atExit([] { order += "second "; });
    ProcessState::renew();
    EXPECT_EQ("second first ", order);
}

} // namespace
} // namespace orv::test
