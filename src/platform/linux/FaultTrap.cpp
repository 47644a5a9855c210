#include "platform/linux/Services.h"

#include <array>
#include <cfenv>
#include <csetjmp>
#include <csignal>
#include <cstddef>

namespace orv::platform {

namespace {

struct Mapping {
    int signal;
    int cause; // si_code; 0 stands for any other
    std::uint32_t code;
};

// First match wins.
constexpr Mapping kMappings[] = {
    {SIGSEGV, 0, 0xC0000005},         // access violation
    {SIGBUS, BUS_ADRALN, 0x80000002}, // datatype misalignment
    {SIGBUS, 0, 0xC0000006},          // in-page error: a mapped file that ended, for one
    {SIGFPE, FPE_INTDIV, 0xC0000094}, // integer divide by zero
    {SIGFPE, FPE_INTOVF, 0xC0000095}, // integer overflow
    {SIGFPE, FPE_FLTDIV, 0xC000008E}, // float divide by zero
    {SIGFPE, FPE_FLTOVF, 0xC0000091}, // float overflow
    {SIGFPE, FPE_FLTUND, 0xC0000093}, // float underflow
    {SIGFPE, FPE_FLTRES, 0xC000008F}, // float inexact result
    {SIGFPE, FPE_FLTSUB, 0xC000008C}, // subscript out of range
    {SIGFPE, 0, 0xC0000090},          // float invalid operation
    {SIGILL, ILL_PRVOPC, 0xC0000096}, // privileged instruction
    {SIGILL, ILL_PRVREG, 0xC0000096}, // privileged instruction
    {SIGILL, 0, 0xC000001D},          // illegal instruction
};

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

std::uint32_t codeOf(int signal, int cause) {
    for (const Mapping& row : kMappings)
        if (row.signal == signal && (row.cause == cause || row.cause == 0)) return row.code;
    return 0;
}

/// One guarded call on this thread's stack of them.
struct Guard {
    sigjmp_buf back;
    volatile std::uint32_t code = 0;
    Guard* outer = nullptr;
    std::array<struct sigaction, kSignals.size()> previous{};
};

thread_local Guard* innermost = nullptr;
std::array<struct sigaction, kSignals.size()> hostActions{};
int guardedCalls = 0;

constexpr std::size_t kAlternateStackSize = 64 * 1024;

void passToHost(int signal, siginfo_t* info, void* context) {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        if (kSignals[i] != signal) continue;
        const struct sigaction& host = hostActions[i];
        if (host.sa_flags & SA_SIGINFO) return host.sa_sigaction(signal, info, context);
        if (host.sa_handler != SIG_DFL && host.sa_handler != SIG_IGN) return host.sa_handler(signal);
        // The default action: put it back and let the faulting instruction run into it.
        ::sigaction(signal, &host, nullptr);
    }
}

void onFault(int signal, siginfo_t* info, void* context) {
    Guard* guard = innermost;
    if (!guard) return passToHost(signal, info, context);
    guard->code = codeOf(signal, info->si_code);
    siglongjmp(guard->back, 1);
}

/// The alternate stack of a thread that has none, kept for its next guarded call.
std::byte* alternateStack() {
    thread_local const auto memory = std::make_unique<std::byte[]>(kAlternateStackSize);
    return memory.get();
}

/// Arms the guard for the length of a scope and puts everything back, also when an exception passes.
class Armed {
  public:
    explicit Armed(Guard& guard) : guard_(guard) {
        stack_t own{};
        own.ss_sp = alternateStack();
        own.ss_size = kAlternateStackSize;
        ::sigaltstack(&own, &former_);
        // Nothing is blocked while the handler runs, so that the jump out of it has no mask to put back.
        struct sigaction action {};
        action.sa_sigaction = onFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
        ::sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < kSignals.size(); ++i)
            ::sigaction(kSignals[i], &action, &guard_.previous[i]);
        if (guardedCalls++ == 0) hostActions = guard_.previous;
        guard_.outer = innermost;
        innermost = &guard_;
    }
    ~Armed() {
        innermost = guard_.outer;
        --guardedCalls;
        for (std::size_t i = 0; i < kSignals.size(); ++i)
            ::sigaction(kSignals[i], &guard_.previous[i], nullptr);
        ::sigaltstack(&former_, nullptr);
    }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

  private:
    Guard& guard_;
    stack_t former_{};
};

} // namespace

std::uint32_t LinuxFaultTrap::run(const std::function<void()>& body) {
    Guard guard;
    const Armed armed(guard);
    if (sigsetjmp(guard.back, 0) == 0) body();
    return guard.code;
}

void LinuxFaultTrap::clearFloatingPointStatus() {
    std::feclearexcept(FE_ALL_EXCEPT);
}

} // namespace orv::platform
