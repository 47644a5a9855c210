// Guarded calls in a host that has signal handlers, stacks, masks, threads and children of its own.

#include "platform/FaultTrap.h"
#include "state/HeldMutex.h"
#include "support/Faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <csetjmp>
#include <csignal>
#include <functional>
#include <latch>
#include <mutex>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace orv::test {
namespace {

constexpr std::uint32_t kAccessViolation = 0xC0000005;

class LinuxFaultTrap : public ::testing::Test {
  protected:
    LinuxFaultTrap() { ::sigaction(SIGSEGV, nullptr, &before_); }
    ~LinuxFaultTrap() override { ::sigaction(SIGSEGV, &before_, nullptr); }

    std::uint32_t run(const std::function<void()>& body) { return trap_->run(body); }

    void setHandler(void (*next)(int), int flags = 0, int masked = SIGUSR2) {
        struct sigaction action {};
        action.sa_handler = next;
        action.sa_flags = flags;
        ::sigaddset(&action.sa_mask, masked);
        ::sigaction(SIGSEGV, &action, nullptr);
    }
    static void (*handler())(int) {
        struct sigaction action {};
        ::sigaction(SIGSEGV, nullptr, &action);
        return action.sa_handler;
    }
    /// Runs `act` in another thread while a guarded call of this one is under way.
    void duringACall(const std::function<void()>& act) {
        EXPECT_EQ(0u, run([&] { std::thread(act).join(); }));
    }

  private:
    std::unique_ptr<platform::FaultTrap> trap_ = platform::makeHostFaultTrap();
    struct sigaction before_ {};
};

bool isBlocked(int signal) {
    sigset_t mask;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return ::sigismember(&mask, signal) == 1;
}

stack_t alternateStack() {
    stack_t stack{};
    ::sigaltstack(nullptr, &stack);
    return stack;
}

std::atomic<int> calls{0};
std::atomic<bool> ownMask{false};
sigjmp_buf backInHost;

void hostHandler(int) {
    ++calls;
    ownMask = isBlocked(SIGUSR2) && isBlocked(SIGSEGV);
}
void jumpingHostHandler(int) {
    ++calls;
    siglongjmp(backInHost, 1);
}

TEST_F(LinuxFaultTrap, HandlersStackMaskAndFloatingPointModesComeBack) {
    // A thread that blocks everything and has an alternate stack, as hosts have them.
    std::thread([&] {
        setHandler(hostHandler, SA_RESTART);
        std::vector<char> memory(64 * 1024);
        stack_t own{};
        own.ss_sp = memory.data();
        own.ss_size = memory.size();
        ::sigaltstack(&own, nullptr);
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
        std::fesetround(FE_UPWARD);

        EXPECT_EQ(kAccessViolation, run([&] {
                      EXPECT_EQ(own.ss_sp, alternateStack().ss_sp);
                      nullWrite();
                  }));

        struct sigaction found {};
        ::sigaction(SIGSEGV, nullptr, &found);
        EXPECT_EQ(hostHandler, found.sa_handler);
        EXPECT_TRUE(found.sa_flags & SA_RESTART);
        EXPECT_EQ(1, ::sigismember(&found.sa_mask, SIGUSR2));
        EXPECT_EQ(own.ss_sp, alternateStack().ss_sp);
        EXPECT_TRUE(isBlocked(SIGSEGV));
        EXPECT_EQ(FE_UPWARD, std::fegetround());
        own.ss_flags = SS_DISABLE;
        ::sigaltstack(&own, nullptr);
    }).join();

    std::thread([&] { // and one that has none
        const stack_t none = alternateStack();
        EXPECT_EQ(kAccessViolation, run(nullWrite));
        EXPECT_EQ(none.ss_flags, alternateStack().ss_flags);
        EXPECT_EQ(none.ss_sp, alternateStack().ss_sp);
        EXPECT_FALSE(isBlocked(SIGSEGV));
    })
        .join();
}

TEST_F(LinuxFaultTrap, AStackOverflowHasItsName) {
    const auto overflow = [&] {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(0xC00000FDu, run([] { useUpStack(); }));
        EXPECT_EQ(kAccessViolation, run(nullWrite));
    };
    overflow();
    std::thread(overflow).join(); // ends at a guard page, the first one at a limit
}

TEST_F(LinuxFaultTrap, ASignalThatWasSentLetsTheCallComeToItsEnd) {
    bool ended = false;
    EXPECT_EQ(0xC0000090u, run([&] {
                  ::pthread_kill(::pthread_self(), SIGFPE);
                  ended = true;
              }));
    EXPECT_TRUE(ended);
    EXPECT_THROW(run([] {
                     ::pthread_kill(::pthread_self(), SIGSEGV);
                     throw std::runtime_error("its own failure");
                 }),
                 std::runtime_error);
    EXPECT_EQ(kAccessViolation, run([] {
                  ::pthread_kill(::pthread_self(), SIGFPE);
                  nullWrite();
              }));
    EXPECT_EQ(0u, run([] {}));
}

TEST_F(LinuxFaultTrap, AFaultOfAnotherThreadIsTheHosts) {
    calls = 0;
    setHandler(hostHandler);
    duringACall([] { ::pthread_kill(::pthread_self(), SIGSEGV); });
    EXPECT_EQ(1, calls);
    EXPECT_TRUE(ownMask) << "the host's handler runs under its own mask";

    setHandler(jumpingHostHandler);
    duringACall([] {
        if (sigsetjmp(backInHost, 1) == 0) nullWrite();
    });
    EXPECT_EQ(2, calls);

    setHandler(hostHandler, static_cast<int>(SA_RESETHAND));
    duringACall([] { ::pthread_kill(::pthread_self(), SIGSEGV); });
    EXPECT_EQ(3, calls);
    EXPECT_EQ(SIG_DFL, handler()) << "it wanted one call";

    setHandler(SIG_IGN);
    duringACall([] { ::pthread_kill(::pthread_self(), SIGSEGV); });
    EXPECT_EQ(SIG_IGN, handler());
}

/// The signal that ends a child which does `act`; 0 when it comes to its end.
int endOfChild(const std::function<void()>& act) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        act();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status);
}

TEST_F(LinuxFaultTrap, WithoutAHandlerOfTheHostsTheSystemEndsIt) {
    setHandler(SIG_DFL);
    EXPECT_EQ(SIGSEGV, endOfChild([&] { duringACall(nullWrite); }));
    EXPECT_EQ(SIGSEGV, endOfChild([&] { duringACall([] { ::pthread_kill(::pthread_self(), SIGSEGV); }); }));
    EXPECT_EQ(SIGSEGV, endOfChild([] { platform::raiseFault(kAccessViolation); }));
    EXPECT_EQ(0, endOfChild([&] { run(nullWrite); }));
}

TEST_F(LinuxFaultTrap, AHandlerThatTheHostSetsMeanwhileStays) {
    setHandler(SIG_DFL);
    EXPECT_EQ(0u, run([&] { setHandler(hostHandler); }));
    EXPECT_EQ(hostHandler, handler());
}

TEST_F(LinuxFaultTrap, OverlappingCallsLeaveTheHostsHandlers) {
    setHandler(hostHandler);
    for (const bool firstInLeavesFirst : {true, false}) {
        std::latch entered(2);
        std::latch mayLeave(1);
        const auto call = [&](bool leavesFirst) {
            EXPECT_EQ(kAccessViolation, run([&] {
                          entered.arrive_and_wait();
                          if (!leavesFirst) mayLeave.wait();
                          nullWrite();
                      }));
            if (leavesFirst) {
                EXPECT_NE(hostHandler, handler()) << "the other call still needs ours";
                mayLeave.count_down();
            }
        };
        std::thread first(call, firstInLeavesFirst);
        call(!firstInLeavesFirst);
        first.join();
        EXPECT_EQ(hostHandler, handler());
    }
}

TEST_F(LinuxFaultTrap, AForkedChildIsFreeOfOtherThreadsCalls) {
    setHandler(hostHandler);
    HeldMutex lasting{HeldMutex::Use::lasting};
    std::latch entered(1);
    std::latch mayLeave(1);
    std::thread other([&] {
        EXPECT_EQ(0u, run([&] {
                      std::lock_guard lock(lasting);
                      entered.count_down();
                      mayLeave.wait();
                  }));
    });
    entered.wait();
    EXPECT_EQ(0, endOfChild([&] {
                  if (handler() != hostHandler) ::_exit(1);
                  lasting.lock();
                  if (run(nullWrite) != kAccessViolation) ::_exit(2);
                  lasting.unlock();
                  if (handler() != hostHandler) ::_exit(3);
              }));
    // A child of a guarded call goes on in it, with what it holds.
    EXPECT_EQ(0u, run([&] {
                  HeldMutex own;
                  std::lock_guard lock(own);
                  EXPECT_EQ(0, endOfChild([&] {
                                if (own.try_lock()) ::_exit(1);
                                if (run(nullWrite) != kAccessViolation) ::_exit(2);
                            }));
              }));
    mayLeave.count_down();
    other.join();
    EXPECT_EQ(hostHandler, handler());
}

} // namespace
} // namespace orv::test
