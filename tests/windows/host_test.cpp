// What only the Windows side has: structured exceptions, the floating-point control word, handles.

#include "platform/FaultTrap.h"
#include "support/Faults.h"
#include "support/TestMachine.h"

#include <windows.h>

#include <cfloat>
#include <functional>
#include <thread>

namespace orv::test {
namespace {

void* innermostFrame() {
    void* frame = nullptr;
    asm volatile("movl %%fs:0, %0" : "=r"(frame));
    return frame;
}

class WindowsFaultTrap : public ::testing::Test {
  protected:
    /// The code that ended `body`; whatever happened, the thread's chain of handlers is as it was.
    std::uint32_t run(const std::function<void()>& body) {
        void* const before = innermostFrame();
        const std::uint32_t code = trap_.run(body);
        EXPECT_EQ(before, innermostFrame());
        return code;
    }
    platform::FaultTrap& trap() { return trap_; }

  private:
    std::unique_ptr<platform::Platform> host_ = platform::makeHostPlatform();
    platform::FaultTrap& trap_ = host_->faultTrap();
};

TEST_F(WindowsFaultTrap, EveryExceptionThatIsNoLanguagesBecomesItsCode) {
    constexpr DWORD codes[] = {0xC0000005, 0x80000002, 0xC000008C, 0xC0000096, 0xC0000006, 0xC0000025,
                               0x80000001, 0xC0000008, 0xC06D007E, 0xE0000001, 0x000006BA};
    for (const DWORD code : codes)
        EXPECT_EQ(code, run([code] { ::RaiseException(code, 0, 0, nullptr); })) << std::hex << code;
    EXPECT_EQ(0xC0000095, run([] { ::RaiseException(0xC0000095, EXCEPTION_NONCONTINUABLE, 0, nullptr); }));
    EXPECT_EQ(0x80000003, run([] { asm volatile("int3"); }));
}

int seenByTheProcess = 0;

LONG WINAPI goOn(EXCEPTION_POINTERS*) {
    ++seenByTheProcess;
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST_F(WindowsFaultTrap, ExceptionsOfLanguagesAndDebuggersPass) {
    const auto former = ::SetUnhandledExceptionFilter(goOn);
    seenByTheProcess = 0;
    int reached = 0;
    constexpr DWORD codes[] = {0xE06D7363, 0x20474343, 0x21474343, 0x406D1388, 0x40010006};
    for (const DWORD code : codes)
        EXPECT_EQ(0u, run([code, &reached] {
                      ::RaiseException(code, 0, 0, nullptr);
                      ++reached;
                  }))
            << std::hex << code;
    ::SetUnhandledExceptionFilter(former);
    EXPECT_EQ(5, reached);
    EXPECT_GE(seenByTheProcess, 3) << "the system may answer those for a debugger by itself";
}

TEST_F(WindowsFaultTrap, AFaultThatALibraryHandlesByItselfStaysThere) {
    BOOL bad = FALSE;
    EXPECT_EQ(0u, run([&bad] { bad = ::IsBadReadPtr(reinterpret_cast<const void*>(8), 4); }));
    EXPECT_TRUE(bad);
}

TEST_F(WindowsFaultTrap, EachThreadHasItsOwnGuard) {
    std::uint32_t other = 0;
    EXPECT_EQ(0u, run([&] {
                  std::thread([&] { other = trap().run([] { ::RaiseException(7, 0, 0, nullptr); }); }).join();
              }));
    EXPECT_EQ(7u, other);
}

TEST_F(WindowsFaultTrap, AStackThatWasUsedUpIsUsableAgain) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0xC00000FD, run([] { useUpStack(); }));
        trap().resetStack();
    }
}

TEST_F(WindowsFaultTrap, FloatDivisionByZeroTrapsOnTheLoadingThreadAndLeavesTheUnitUsable) {
    // The load step unmasked this one exception.
    EXPECT_EQ(static_cast<unsigned>(_MCW_EM & ~(_EM_ZERODIVIDE | _EM_DENORMAL)),
              ::_controlfp(0, 0) & _MCW_EM & ~_EM_DENORMAL);
    volatile double zero = 0.0;
    for (int i = 0; i < 20; ++i) { // more often than the unit has registers
        EXPECT_EQ(0xC000008E, run([&zero] {
                      volatile double result = 2.0 + 1.0 / zero;
                      static_cast<void>(result);
                      asm volatile("fwait"); // an emulator may wait for this
                  }));
        trap().clearFloatingPointStatus();
        EXPECT_EQ(6.0, (zero + 2.0) * 3.0);
    }
    EXPECT_EQ(0u, ::_statusfp() & _EM_ZERODIVIDE);
}

TEST(WindowsPolling, PollsLeaveHandlesAndMemoryWhereTheyWere) {
    const auto host = platform::makeHostPlatform();
    InUse inUse(*host);
    const auto poll = [](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_NE(-1, getMemoryLoad());
            ASSERT_NE('{', getNetCurrentSpeed()[0]);
        }
    };
    DWORD handles[2];
    MEMORYSTATUSEX status[2]{};
    for (int i = 0; i < 2; ++i) {
        poll(i == 0 ? 50 : 1000);
        ::GetProcessHandleCount(::GetCurrentProcess(), &handles[i]);
        status[i].dwLength = sizeof status[i];
        ::GlobalMemoryStatusEx(&status[i]);
    }
    EXPECT_EQ(handles[0], handles[1]);
    EXPECT_GE(status[1].ullAvailVirtual + (1u << 20), status[0].ullAvailVirtual)
        << "a megabyte over two thousand calls is a leak";
}

} // namespace
} // namespace orv::test
