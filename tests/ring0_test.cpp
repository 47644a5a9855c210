// The state machine around the ring-0 component, and the system-wide mutex of the PCI bus.

#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "orvane/hwprobe.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>

namespace orv::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

/// The failure's text without its place; empty when there was none.
template <class Body>
std::string thrown(Body body) {
    try {
        body();
        return {};
    } catch (const HWException& failure) {
        const std::string text = failure.what();
        return text.substr(text.find(": ") + 2);
    }
}

/// A machine of these sections that keeps the record of its requests.
class Described : public TestMachine {
  public:
    explicit Described(const std::string& sections) : TestMachine(R"({"name": "m", )" + sections + "}") {
        (*this)->requests().keepRecord(true);
    }
};

TEST(WinRing0, EachStatusHasItsStateAndText) {
    const std::tuple<const char*, int, const char*> rows[] = {
        {"0", 0, ""},
        {"1", 1, "DLL Status Error: UNSUPPORTED_PLATFORM"},
        {"2", 2, "DLL Status Error: DRIVER_NOT_LOADED"},
        {"3", 3, "DLL Status Error: DRIVER_NOT_FOUND"},
        {"4", 4, "DLL Status Error: DRIVER_UNLOADED"},
        {"5", 5, "DLL Status Error: DRIVER_NOT_LOADED_ON_NETWORK"},
        {"6", 9, "DLL Status Error: UNKNOWN_ERROR, error code: 0 message: "},
        {"4294967295", 9, "DLL Status Error: UNKNOWN_ERROR, error code: 0 message: "},
    };
    for (const auto& [status, state, text] : rows) {
        SCOPED_TRACE(status);
        Described machine(std::string(R"("ring0": {"statuses": [)") + status + "]}");
        EXPECT_EQ(11, ring0State());
        EXPECT_THAT(thrown(WinRing0Init), testing::StartsWith(text));
        EXPECT_EQ(state, ring0State());
        ProcessState::renew(); // what is open is released by the exit list
        EXPECT_EQ(state == 0, machine->requests().record().back() == "releaseOls");
    }
}

TEST(WinRing0, StartsOnceAsksAgainAfterATroubleAndIsReleasedForGood) {
    Described machine(R"("ring0": {"statuses": [3, 0]},
        "faults": [{"request": "InitializeOls", "error": 5}])");
    CapturedLog log({&winRing0Logger});
    WinRing0Release(); // nothing to release yet, and no harm
    EXPECT_EQ("DLL Status Error: DRIVER_NOT_FOUND", thrown(WinRing0Init));
    WinRing0Init();
    WinRing0Init();
    releaseRing0();
    releaseRing0();
    EXPECT_EQ(12, ring0State());
    EXPECT_EQ("WinRing0 has been released", thrown(WinRing0Init));
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("InitializeOls", "GetDllStatus", "GetDllStatus", "releaseOls"));
    ProcessState::renew(); // the exit list's call finds nothing to do
    EXPECT_THAT(
        log.lines(spdlog::level::info),
        ElementsAre("info releaseOls: Not init",
                    "warning InitializeOls failed, describe: error code: 5 message: Access is denied.",
                    "", // the sentence's own line end
                    "info WinRing0Init: Ok", "info releaseOls: Ok", "info releaseOls: Not init",
                    "info releaseOls: Not init"));
}

TEST(Mutexes, OpenInOrderAndCloseWithTheProcess) {
    Described machine(R"("mutexes": [{"name": "Global\\Access_EC", "error": 5}])");
    CapturedLog log({&mutexesLogger});
    EXPECT_EQ(0u, Mutexes::WaitPciBus());
    Mutexes::ReleasePciBus();
    Mutexes::Open();
    EXPECT_EQ("ReleaseMutex failed: error code: 288 message: ", thrown(Mutexes::ReleasePciBus));
    Mutexes::Close();
    Mutexes::ReleasePciBus(); // no handle is no failure
    ProcessState::renew();
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("CreateMutexW Global\\Access_ISABUS.HTP.Method",
                            "CreateMutexW Global\\Access_PCI", "CreateMutexW Global\\Access_EC",
                            "OpenMutexW Global\\Access_EC", "CreateMutexW Global\\RazerReadWriteGuardMutex",
                            "WaitForSingleObject Global\\Access_PCI", "ReleaseMutex Global\\Access_PCI",
                            "ReleaseMutex Global\\Access_PCI", "CloseHandle Global\\Access_ISABUS.HTP.Method",
                            "CloseHandle Global\\Access_PCI",
                            "CloseHandle Global\\RazerReadWriteGuardMutex"));
    EXPECT_THAT(log.lines(spdlog::level::info),
                ElementsAre("info Mutexes opened", "warning Mutexes already opened", "info Mutexes closed",
                            "warning Mutexes not opened"));
}

TEST(Mutexes, AWaitThatDoesNotOwnIsToldAsItIs) {
    // next: the wait after it
    const std::tuple<const char*, std::uint32_t, std::uint32_t> rows[] = {
        {R"("heldForMs": 60000)", 0x102, 0x102},
        {R"("heldForMs": 10)", 0, 0}, // it waits that long and no longer
        {R"("heldForMs": 11)", 0x102, 0},
        {R"("heldForMs": 5, "abandoned": true)", 0x80, 0},
        {R"("error": 5)", 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& [mutex, wait, next] : rows) {
        SCOPED_TRACE(mutex);
        Described machine(R"("mutexes": [{"name": "Global\\Access_PCI", )" + std::string(mutex) + "}]");
        EXPECT_EQ(wait, Mutexes::WaitPciBus());
        // An abandoned mutex is handed back at once: other threads would wait for it for ever.
        EXPECT_EQ(wait == 0x80 ? 1 : 0,
                  std::ranges::count(machine->requests().record(), "ReleaseMutex Global\\Access_PCI"));
        EXPECT_EQ(next, Mutexes::WaitPciBus());
    }
}

TEST(Mutexes, TheLockReleasesOnEveryPath) {
    Described machine(R"("faults": [{"request": "ReleaseMutex", "nth": 2, "error": 6},
        {"request": "ReleaseMutex", "nth": 3, "error": 6}])");
    const auto locked = [](bool fails) {
        Mutexes::WaitPciBus();
        const PciBusLock lock;
        if (fails) throwHW(L"the reading's own failure");
    };
    EXPECT_EQ("", thrown([&] { locked(false); }));
    EXPECT_THAT(thrown([&] { locked(false); }), HasSubstr("ReleaseMutex failed: error code: 6"));
    EXPECT_EQ("the reading's own failure", thrown([&] { locked(true); }));
    EXPECT_EQ(3, std::ranges::count(machine->requests().record(), "ReleaseMutex Global\\Access_PCI"));
}

TEST(PciBus, AnotherOwnerKeepsAReadingAwayFromTheRegisters) {
    const auto host = platform::makeHostPlatform();
    TestMachine machine = TestMachine::sample("amd-ryzen-desktop");
    machine->useMutexes(host->namedMutexes());
    getCpuTemperature(); // takes the mark of an owner that an earlier, broken run may have left
    EXPECT_EQ(57.5, getCpuTemperature());
    for (const bool releases : {true, false}) {
        SCOPED_TRACE(releases);
        std::promise<bool> held;
        std::promise<void> end;
        std::thread owner([&] {
            const auto other = platform::makeHostPlatform(); // shares nothing with ours but the system
            platform::NamedMutexes& mutexes = other->namedMutexes();
            const auto bus = mutexes.CreateMutexW(L"Global\\Access_PCI").value;
            held.set_value(mutexes.WaitForSingleObject(bus, 1000) == platform::kWaitOwned);
            end.get_future().wait();
            if (releases) mutexes.ReleaseMutex(bus);
        });
        EXPECT_TRUE(held.get_future().get());
        machine->requests().keepRecord(true);
        machine->requests().clearRecord();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1.0, getCpuTemperature());
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_GE(waited, std::chrono::milliseconds(9));
        EXPECT_LT(waited, std::chrono::seconds(2));
        EXPECT_THAT(getLastError(), HasSubstr("Failed to wait for PCI bus mutex"));
        EXPECT_THAT(machine->requests().record(), testing::Not(Contains(HasSubstr("PciConfig"))));
        end.set_value();
        owner.join();
        // A bus whose owner ended without a release is told once, then it is free.
        if (!releases) {
            EXPECT_EQ(-1.0, getCpuTemperature());
        }
        EXPECT_EQ(57.5, getCpuTemperature());
    }
}

} // namespace
} // namespace orv::test
