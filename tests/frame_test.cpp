// The frame of a call: texts and failures, hardware faults, and too little memory.

#include "frame/EncodedText.h"
#include "frame/border/callFrame.h"
#include "frame/sehGuard.h"
#include "frame/supportedArch.h"
#include "log/Logger.h"
#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "support/DescribedDrives.h"
#include "support/Faults.h"
#include "support/ScarceMemory.h"

#include <nlohmann/json.hpp>
#include <spdlog/formatter.h>

#include <cstring>
#include <future>
#include <mutex>
#include <thread>

namespace orv::test {
namespace {

TEST(Text, WhatCannotBeConvertedIsReplaced) {
    const std::wstring lone = {L'a', static_cast<wchar_t>(0xD800), L'b'};
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b",
              EncodedText(lone).narrow);
    EXPECT_EQ(L"a\uFFFD", EncodedText(std::string("a\xFF")).wide);
    EXPECT_EQ(L"\U0001F600", EncodedText(std::string("\xF0\x9F\x98\x80")).wide);
    EXPECT_EQ("\xF0\x9F\x98\x80", EncodedText(std::wstring(L"\U0001F600")).narrow);
}

TEST(Frame, LastErrorIsEmptyAtFirstAndKeptBySuccesses) {
    TestMachine machine(R"({"name": "plain", "memory": {"totalPhys": 1000, "availPhys": 620}})");
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
        {R"({"architecture": "noSystemLibrary"})", false, "Load kernel32.dll failed"},
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

// ---- What a hardware fault leaves behind: no lock held, nothing half made, the next call good

constexpr std::uint32_t kAccessViolation = 0xC0000005;

class AfterAFault : public ::testing::Test {
  protected:
    std::uint32_t run(const std::function<void()>& body) {
        const MayLoseMemory lost;
        return trap_->run(body);
    }

  private:
    std::unique_ptr<platform::FaultTrap> trap_ = platform::makeHostFaultTrap();
};

/// Whether another thread can take the mutex.
bool isFree(HeldMutex& mutex) {
    const auto take = [&] { return std::unique_lock(mutex, std::try_to_lock).owns_lock(); };
    return std::async(std::launch::async, take).get();
}

TEST_F(AfterAFault, WhatTheCallTookIsFreeAndWhatWasHeldBeforeStays) {
    HeldMutex outside;
    HeldMutex first;
    HeldMutex second{HeldMutex::Use::lasting};
    HeldMutex givenBack;
    std::lock_guard before(outside);
    EXPECT_EQ(kAccessViolation, run([&] {
                  first.lock();
                  givenBack.lock();
                  second.lock();
                  givenBack.unlock(); // out of order
                  EXPECT_FALSE(isFree(first));
                  EXPECT_FALSE(isFree(second));
                  EXPECT_EQ(kAccessViolation, run([&] {
                                std::lock_guard inner(givenBack);
                                nullWrite();
                            }));
                  EXPECT_TRUE(isFree(givenBack));
                  EXPECT_FALSE(isFree(first)) << "the outer call holds it";
                  nullWrite();
              }));
    EXPECT_TRUE(isFree(first));
    EXPECT_TRUE(isFree(second));
    EXPECT_FALSE(isFree(outside));
    EXPECT_EQ(1, HeldMutex::heldCount());
}

TEST_F(AfterAFault, AHalfMadeValueIsMadeAnew) {
    OnceCell<std::string> cell;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(kAccessViolation, run([&] {
                      cell.get([]() -> std::string {
                          nullWrite();
                          return "half";
                      });
                  }));
    EXPECT_EQ("whole", cell.get([] { return "whole"; }));

    struct FaultsOnce {
        FaultsOnce() {
            static bool done = false;
            if (!std::exchange(done, true)) nullWrite();
        }
        int value = 7;
    };
    ProcessState state;
    EXPECT_EQ(kAccessViolation, run([&] { state.get<FaultsOnce>(); }));
    EXPECT_EQ(7, state.get<FaultsOnce>().value);
    EXPECT_EQ(&state.get<FaultsOnce>(), &state.get<FaultsOnce>());
}

/// Faults while the sink that formats a line holds its lock.
class FaultyFormatter : public spdlog::formatter {
  public:
    void format(const spdlog::details::log_msg&, spdlog::memory_buf_t&) override { nullWrite(); }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<FaultyFormatter>(); }
};

TEST_F(AfterAFault, EveryLogSinkTakesTheNextLine) {
    const auto sinks = log::makeSinks(".");
    ASSERT_EQ(3u, sinks.size());
    for (const auto& sink : sinks) {
        const spdlog::details::log_msg line("x", spdlog::level::info, "line");
        sink->set_formatter(std::make_unique<FaultyFormatter>());
        EXPECT_EQ(kAccessViolation, run([&] { sink->log(line); }));
        EXPECT_EQ(0, HeldMutex::heldCount());
        sink->set_pattern("%v"); // takes the lock
        sink->log(line);
    }
    EXPECT_THAT(dynamic_cast<log::RingSink&>(*sinks.back()).lines(), ElementsAre(HasSubstr("line")));
}

/// Each request of a first call faults in turn, at whatever lock it stands behind; the call after it is good.
TEST(PlannedFault, TheCallAfterAnyFaultIsGood) {
    const std::tuple<const char* (*)(), const char*, const char*, std::string> cases[] = {
        {getNetCurrentSpeed, "adapters", "ACME", "intel-desktop"},
        {getNetCurrentSpeed, "interfaceRows", "ACME", "intel-desktop"},
        {getNetCardMessage, "openRegistryKey", "I225", "intel-desktop"},
        {getNetCardMessage, "adapterAddresses", "I225", "intel-desktop"},
        {getAllDiskType, "openDevice", "HDD", machineWithADrive()},
    };
    for (const auto& [call, request, good, text] : cases) {
        for (const std::uint32_t code : {0xC0000005u, 0xC0000094u, 0x80000003u, 0xC00000FDu, 0xDEADBEEFu}) {
            TestMachine machine = TestMachine::of(text);
            machine->requests().plan({request, 1, 0, code});
            std::string failed;
            {
                const MayLoseMemory lost;
                failed = call();
            }
            EXPECT_EQ("{\"error\":\"catch SEH exception: " + sehExceptionText(code) + "\"}", failed)
                << request;
            EXPECT_THAT(call(), HasSubstr(good)) << request;
        }
    }
}

/// The thread sanitizer watches this one: two reports at once, of which some meet a fault.
TEST(Overlapping, GuardedReportsInSeveralThreadsAnswer) {
    const auto host = platform::makeHostPlatform();
    InUse inUse(*host);
    const auto trap = platform::makeHostFaultTrap();
    OnceCell<int> cell;
    int made = 0;
    std::vector<std::thread> threads;
    const auto start = [&](auto call) {
        threads.emplace_back([call] {
            for (int i = 0; i < 300; ++i)
                call();
        });
    };
    start([] { ASSERT_NE('{', getNetCurrentSpeed()[0]); });
    start([] { ASSERT_NE('{', getNetCardMessage()[0]); });
    start([&] {
        ASSERT_EQ(kAccessViolation, trap->run([&] {
            cell.get([&] {
                if (++made < 3) nullWrite();
                return made;
            });
            nullWrite();
        }));
    });
    start([&] { ASSERT_EQ(0u, trap->run([] { std::this_thread::yield(); })); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(3, cell.get([] { return 0; }));
}

// ---- Memory that is not to be had

/// Whether a host sees a failure, asked without memory.
bool isFailure(double value) {
    return value == -1.0;
}
bool isFailure(const char* text) {
    return std::strncmp(text, "{\"error\"", 8) == 0 || std::strncmp(text, "{\"code\":0,\"", 11) == 0;
}

/// How the call after one whose request failed is; of some exports no call fails by a request.
enum class Next { good, any, notSwept };

struct Export {
    const char* name;
    std::string machine; ///< a sample's name, or the text of one
    bool (*fails)();     ///< calls it
    Next next = Next::good;
    std::uint64_t step = 1; ///< from one failing allocation to the next in a call that makes thousands
};

std::ostream& operator<<(std::ostream& out, const Export& entry) {
    return out << entry.name;
}

// A counter or a graphics driver that could not be started at first use stays away, and a drive that the
// search could not reach is not searched for again.
const Export kExports[] = {
    {"getCpuLoad", "intel-desktop", [] { return isFailure(getCpuLoad()); }},
    {"getCpuTemperature", "amd-ryzen-desktop", [] { return isFailure(getCpuTemperature()); }},
    {"getCpuTemperatureOfIntel", "intel-desktop", [] { return isFailure(getCpuTemperature()); }},
    {"getCpuFrequency", "intel-desktop", [] { return isFailure(getCpuFrequency()); }, Next::any},
    {"getCpuBaseFrequency", "intel-desktop", [] { return isFailure(getCpuBaseFrequency()); }},
    {"getGpuLoad", "amd-ryzen-desktop", [] { return isFailure(getGpuLoad()); }, Next::any},
    {"getGpuLoadOfNvidia", "intel-desktop", [] { return isFailure(getGpuLoad()); }, Next::any},
    {"getGpuTemperature", "intel-desktop", [] { return isFailure(getGpuTemperature()); }, Next::any},
    {"getGpuTemperatureOfAmd", "amd-ryzen-desktop", [] { return isFailure(getGpuTemperature()); }, Next::any},
    {"getMemoryLoad", "intel-desktop", [] { return isFailure(getMemoryLoad()); }},
    {"getMemoryManufacturerAndModel", "intel-desktop",
     [] { return isFailure(getMemoryManufacturerAndModel()); }, Next::good, 101},
    {"initBattery", "laptop", [] { return isFailure(initBattery()); }},
    {"getBatteryAllMessage", "laptop",
     [] { return initBattery() < 0 || isFailure(getBatteryAllMessage(0)); }},
    {"getNetCardMessage", "intel-desktop", [] { return isFailure(getNetCardMessage()); }},
    {"getNetCurrentSpeed", "intel-desktop", [] { return isFailure(getNetCurrentSpeed()); }},
    {"initDisk", machineWithADrive(), [] { return isFailure(initDisk()); }, Next::notSwept},
    {"getAllDiskType", machineWithADrive(), [] { return isFailure(getAllDiskType()); }, Next::notSwept},
    {"getDiskTemperature", machineWithADrive(),
     [] { return initDisk() < 0 || isFailure(getDiskTemperature(0)); }, Next::any},
    {"getDiskReadWriteSpeed", machineWithADrive(),
     [] {
         if (initDisk() < 0) return true;
         platform::current().clock().sleepNs(1'000'000);
         return isFailure(getDiskReadWriteSpeed(0));
     },
     Next::any},
    {"getDiskNameWhichOsInstalled", machineWithADrive(),
     [] { return isFailure(getDiskNameWhichOsInstalled()); }, Next::notSwept},
    {"releaseRing0", "intel-desktop", [] { return releaseRing0(), false; }, Next::notSwept},
};

class ScarceMemory : public ::testing::TestWithParam<Export> {};

TEST_P(ScarceMemory, AnyAllocationOfAFirstOrALaterCallMayFail) {
    const auto fails = GetParam().fails;
    TestMachine machine = TestMachine::of(GetParam().machine);
    machine->requests().keepRecord(false); // whose lines are allocations, too
    for (const bool first : {true, false}) {
        failAllocation(0);
        ASSERT_FALSE(fails()) << getLastError();
        const std::uint64_t count = endOfScarcity();
        for (std::uint64_t number = 1; number <= 2 * count; number += GetParam().step) {
            SCOPED_TRACE(number);
            std::optional<InUse> fresh;
            if (first) fresh.emplace(*machine);
            failAllocation((number - 1) % count + 1,
                           number > count); // one of them, then all from it on
            const bool failed = fails();
            endOfScarcity();
            ASSERT_FALSE(failed && *getLastError() == 0);
            ASSERT_FALSE(fails()) << getLastError(); // with all the memory in the world
        }
    }
}

TEST_P(ScarceMemory, AnyRequestMayFailAndTheNextCallIsGood) {
    const auto& [name, text, fails, next, step] = GetParam();
    if (next == Next::notSwept) return;
    std::uint64_t requests = 0; // of a call without a failure, which is the first one
    // After the first few hundred only some fail: an EEPROM is read by thousands of like ones.
    for (std::uint64_t number = 0; number <= requests; number += number < 300 ? 1 : number / 7) {
        SCOPED_TRACE(number);
        TestMachine machine = TestMachine::of(text);
        machine->requests().failRequest(number, platform::kAccessDenied);
        // A failure that is tolerated gives a good answer; one that is not gives value and text.
        const bool failed = fails();
        EXPECT_FALSE(failed && *getLastError() == 0);
        if (number == 0) {
            ASSERT_FALSE(failed) << getLastError();
            requests = machine->requests().count();
        }
        machine->requests().failRequest(0, platform::kSuccess);
        EXPECT_FALSE(next == Next::good && fails()) << getLastError();
    }
    TestMachine machine = TestMachine::of(text);
    machine->requests().failEveryRequest(platform::kAccessDenied);
    EXPECT_TRUE(fails());
    EXPECT_STRNE("", getLastError());
}

INSTANTIATE_TEST_SUITE_P(Exports, ScarceMemory, ::testing::ValuesIn(kExports),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ScarceMemoryTexts, AFailureIsToldWithoutMemory) {
    TestMachine machine(R"({"name": "bare"})");
    frame::TextResult result;
    const std::string lengthy = std::string(1023, 'x') + "\xC3\xBC and more";
    failAllocation(1, true);
    const char* text = frame::tellFailure(result, frame::kErrorObject, lengthy.c_str());
    endOfScarcity();
    EXPECT_STREQ(R"({"error":"std::bad_alloc"})", text);
    EXPECT_EQ(std::string(1023, 'x'), getLastError())
        << "cut to the room, before the letter that is cut in two";
}

TEST(ScarceMemoryTexts, AReadingIsAFiniteNumber) {
    TestMachine machine(R"({"name": "bare"})");
    EXPECT_EQ(-1.0, frame::guardedReading([] { return std::nan(""); }));
    EXPECT_STREQ("the reading is not a finite number", getLastError());
    EXPECT_EQ(1.5, frame::guardedReading([] { return 1.5; }));
}

} // namespace
} // namespace orv::test
