// The state machine around the ring-0 component, and the system-wide mutex of the PCI bus.

#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/HWException.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <algorithm>

namespace orv::test {
namespace {

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

std::string machineWith(const std::string& sections) {
    return R"({"name": "m", )" + sections + "}";
}

TEST(WinRing0, EachStatusHasItsStateAndText) {
    const std::tuple<const char*, int, const char*> rows[] = {
        {"0", 0, ""},
        {"5", 5, "DLL Status Error: DRIVER_NOT_LOADED_ON_NETWORK"},
        {"6", 9, "DLL Status Error: UNKNOWN_ERROR, error code: 0 message: "},
    };
    for (const auto& [statuses, state, text] : rows) {
        SCOPED_TRACE(statuses);
        TestMachine machine(machineWith(std::string(R"("ring0": {"statuses": [)") + statuses + "]}"));
        EXPECT_EQ(11, ring0State());
        EXPECT_THAT(thrown(WinRing0Init), StartsWith(text));
        EXPECT_EQ(state, ring0State());
    }
}

TEST(WinRing0, StartsOnceAsksAgainAfterATroubleAndIsReleasedForGood) {
    TestMachine machine(machineWith(R"("ring0": {"statuses": [3, 0]},
        "faults": [{"request": "InitializeOls", "error": 5}])"));
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
    EXPECT_THAT(log.lines(spdlog::level::info),
                Contains("warning InitializeOls failed, describe: error code: 5 message: Access is denied."));
}

TEST(Mutexes, OpenInOrderAndCloseWithTheProcess) {
    TestMachine machine(machineWith(R"("mutexes": [{"name": "Global\\Access_EC", "error": 5}])"));
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
}

TEST(Mutexes, AWaitThatDoesNotOwnIsToldAsItIs) {
    // The wait and the one after it.
    const std::tuple<const char*, std::uint32_t, std::uint32_t> rows[] = {
        {R"("heldForMs": 60000)", 0x102, 0x102},
        {R"("heldForMs": 10)", 0, 0}, // it waits that long and no longer
        {R"("heldForMs": 11)", 0x102, 0},
        {R"("heldForMs": 5, "abandoned": true)", 0x80, 0},
        {R"("error": 5)", 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& [mutex, wait, next] : rows) {
        SCOPED_TRACE(mutex);
        TestMachine machine(
            machineWith(R"("mutexes": [{"name": "Global\\Access_PCI", )" + std::string(mutex) + "}]"));
        EXPECT_EQ(wait, Mutexes::WaitPciBus());
        // An abandoned mutex is handed back at once: other threads would wait for it for ever.
        EXPECT_EQ(wait == 0x80 ? 1 : 0,
                  std::ranges::count(machine->requests().record(), "ReleaseMutex Global\\Access_PCI"));
        EXPECT_EQ(next, Mutexes::WaitPciBus());
    }
}

TEST(Mutexes, TheLockReleasesOnEveryPath) {
    TestMachine machine(machineWith(R"("faults": [{"request": "ReleaseMutex", "nth": 2, "error": 6},
        {"request": "ReleaseMutex", "nth": 3, "error": 6}])"));
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

} // namespace
} // namespace orv::test
