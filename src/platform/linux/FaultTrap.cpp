#include "platform/linux/FaultTrap.h"

#include "state/HeldMutex.h"

#include <array>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <csetjmp>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <pthread.h>
#include <sys/syscall.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>

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
constexpr std::uint32_t kStackOverflow = 0xC00000FD;

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
using Actions = std::array<struct sigaction, kSignals.size()>;

std::uint32_t codeOf(int signal, int cause) {
    for (const Mapping& row : kMappings)
        if (row.signal == signal && (row.cause == cause || row.cause == 0)) return row.code;
    return 0;
}

/// One guarded call on its thread's stack of them.
struct Guard {
    sigjmp_buf back;
    volatile std::uint32_t code = 0;   // of the fault that ended it
    volatile std::uint32_t sent = 0;   // of a signal that somebody sent meanwhile
    volatile std::uint32_t raised = 0; // by raiseFault
};

/// The guarded calls of one thread. A handler finds its thread's place without a variable of the thread,
/// which the system may have to allocate on first use, and a fault may have come from the allocator.
struct Place {
    std::atomic<pthread_t> thread{0};
    std::atomic<Guard*> innermost{nullptr};
};

// More threads than this wait for each other.
constexpr std::size_t kPlaces = 32;
constexpr std::size_t kAlternateStackSize = std::size_t{64} * 1024;

constinit std::array<Place, kPlaces> places;
// One a place. Only a fault touches it, so that it takes addresses and no memory.
alignas(16) constinit std::byte alternateStacks[kPlaces][kAlternateStackSize];

constinit HeldMutex tableMutex; // over the places, their number, and who has the handlers
constinit std::size_t placesTaken = 0;
constinit Actions hostActions{};
// A handler of the host's that wanted to be called once was.
constinit std::array<std::atomic<bool>, kSignals.size()> hostActionSpent{};

Place* placeOfThisThread() {
    const pthread_t self = ::pthread_self();
    for (Place& place : places)
        if (place.thread.load(std::memory_order_relaxed) == self) return &place;
    return nullptr;
}

bool wasSent(const siginfo_t& info) {
    return info.si_code <= 0;
}

/// Whether a touch of the stack failed: no mapped address lies between the guarded call's frame and the end
/// of the stack, and what a function may touch beyond its stack pointer is less than a page.
bool isStackOverflow(int signal, const siginfo_t& info, const ucontext_t& context, const Guard& guard) {
    if (signal != SIGSEGV) return false;
#ifdef REG_RSP
    const auto top = static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RSP]);
#else
    const auto top = static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_ESP]);
#endif
    constexpr std::uintptr_t page = 4096;
    const auto address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    return address >= top - page && address < reinterpret_cast<std::uintptr_t>(&guard);
}

/// What the host wants of a signal; the system's own action after a handler that wanted to be called once
/// was.
struct sigaction hostAction(std::size_t i) {
    struct sigaction host = hostActions[i];
    if (hostActionSpent[i].load()) {
        host.sa_flags &= ~SA_SIGINFO;
        host.sa_handler = SIG_DFL;
    }
    return host;
}

/// Gives a fault that is none of ours to whom it would have gone.
void passToHost(int signal, siginfo_t* info, void* context) {
    std::size_t i = 0;
    while (kSignals[i] != signal)
        ++i;
    const struct sigaction host = hostAction(i);
    const auto handler = host.sa_handler; // one place with sa_sigaction
    if (handler == SIG_DFL || handler == SIG_IGN) {
        if (handler == SIG_IGN && wasSent(*info)) return;
        // The system's own action: put it back and let the instruction, or the signal again, run into it.
        ::sigaction(signal, &host, nullptr);
        if (wasSent(*info)) ::syscall(SYS_tgkill, ::getpid(), ::syscall(SYS_gettid), signal);
        return;
    }
    if (host.sa_flags & SA_RESETHAND) hostActionSpent[i].store(true);
    // The system takes the mask away again when this handler returns.
    sigset_t mask = host.sa_mask;
    if (!(host.sa_flags & SA_NODEFER)) ::sigaddset(&mask, signal);
    ::pthread_sigmask(SIG_BLOCK, &mask, nullptr);
    if (host.sa_flags & SA_SIGINFO) return host.sa_sigaction(signal, info, context);
    handler(signal);
}

void onFault(int signal, siginfo_t* info, void* context) {
    Place* const place = placeOfThisThread();
    Guard* const guard = place ? place->innermost.load(std::memory_order_relaxed) : nullptr;
    if (!guard) return passToHost(signal, info, context);
    if (wasSent(*info)) {
        // It may stand anywhere, in the allocator or behind a lock of the system's, so the call goes on.
        guard->sent = codeOf(signal, 0);
        return;
    }
    if (guard->raised != 0)
        guard->code = guard->raised;
    else if (isStackOverflow(signal, *info, *static_cast<const ucontext_t*>(context), *guard))
        guard->code = kStackOverflow;
    else
        guard->code = codeOf(signal, info->si_code);
    siglongjmp(guard->back, 1);
}

bool isOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == onFault;
}

void installHandlers() {
    // Nothing is blocked while the handler runs, so that the jump out of it has no mask to put back.
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction former {};
        ::sigaction(kSignals[i], &action, &former);
        // A host that kept ours as its former handler may have put it back after we had gone.
        if (isOurs(former)) continue;
        hostActions[i] = former;
        hostActionSpent[i].store(false);
    }
}

/// A handler that the host set meanwhile stays.
void removeHandlers() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        const struct sigaction host = hostAction(i);
        struct sigaction found {};
        ::sigaction(kSignals[i], &host, &found);
        if (!isOurs(found)) ::sigaction(kSignals[i], &found, nullptr);
    }
}

/// The place of a thread for its outermost guarded call, with the handlers in force.
Place& takePlace() {
    for (;; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
        std::lock_guard lock(tableMutex);
        for (Place& place : places) {
            if (place.thread.load(std::memory_order_relaxed) != 0) continue;
            if (placesTaken++ == 0) installHandlers();
            place.thread.store(::pthread_self(), std::memory_order_relaxed);
            return place;
        }
    }
}

void leavePlace(Place& place) {
    std::lock_guard lock(tableMutex);
    place.thread.store(0, std::memory_order_relaxed);
    if (--placesTaken == 0) removeHandlers();
}

/// Gives a thread that has none an alternate stack for the length of a scope.
class AlternateStack {
  public:
    explicit AlternateStack(const Place& place) {
        stack_t own{};
        own.ss_sp = alternateStacks[&place - places.data()];
        own.ss_size = kAlternateStackSize;
        // Refused where the thread stands on its alternate stack.
        changed_ = ::sigaltstack(&own, &former_) == 0;
        if (changed_ && !(former_.ss_flags & SS_DISABLE)) ::sigaltstack(&former_, nullptr);
    }
    ~AlternateStack() {
        // Also the host's own, which the system may have taken away for the length of a handler.
        if (changed_) ::sigaltstack(&former_, nullptr);
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

  private:
    stack_t former_{};
    bool changed_ = false;
};

/// Lets the fault signals through for the length of a scope: the system ends a process that faults with the
/// signal blocked, and hosts block everything in threads of theirs.
class Unblocked {
  public:
    explicit Unblocked(const Guard& guard) : guard_(guard) {
        sigset_t faults;
        ::sigemptyset(&faults);
        for (const int signal : kSignals)
            ::sigaddset(&faults, signal);
        ::pthread_sigmask(SIG_UNBLOCK, &faults, &former_);
    }
    ~Unblocked() {
        bool changed = guard_.code != 0; // the fault may have ended another handler, whose mask is in force
        for (const int signal : kSignals)
            changed = changed || ::sigismember(&former_, signal) == 1;
        if (changed) ::pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    }
    Unblocked(const Unblocked&) = delete;
    Unblocked& operator=(const Unblocked&) = delete;

  private:
    const Guard& guard_;
    sigset_t former_{};
};

/// Makes a guard the innermost one of its thread for the length of a scope, also when an exception passes.
class Innermost {
  public:
    Innermost(Place& place, Guard& guard) : place_(place), outer_(place.innermost.load()) {
        place_.innermost.store(&guard);
    }
    ~Innermost() { place_.innermost.store(outer_); }
    Innermost(const Innermost&) = delete;
    Innermost& operator=(const Innermost&) = delete;

  private:
    Place& place_;
    Guard* outer_;
};

/// The frame of the jump: nothing in it has to be destroyed.
__attribute__((noinline)) void callGuarded(Guard& guard, const std::function<void()>& body) {
    if (sigsetjmp(guard.back, 0) == 0) body();
}

std::uint32_t runAt(Place& place, const std::function<void()>& body) {
    Guard guard;
    std::fenv_t floatingPoint{};
    std::fegetenv(&floatingPoint);
    {
        const Innermost innermost(place, guard);
        const Unblocked unblocked(guard);
        callGuarded(guard, body);
    }
    // A handler starts with the system's own floating-point modes, and the jump out of it kept them.
    if (guard.code != 0) std::fesetenv(&floatingPoint);
    return guard.code != 0 ? guard.code : guard.sent;
}

/// Hands the place back after its alternate stack is out of use.
struct PlaceTaken {
    Place& place = takePlace();
    PlaceTaken() = default;
    ~PlaceTaken() { leavePlace(place); }
    PlaceTaken(const PlaceTaken&) = delete;
    PlaceTaken& operator=(const PlaceTaken&) = delete;
};

} // namespace

std::uint32_t LinuxFaultTrap::guard(const std::function<void()>& body) {
    if (Place* const own = placeOfThisThread()) return runAt(*own, body);
    const PlaceTaken taken;
    const AlternateStack stack(taken.place);
    return runAt(taken.place, body);
}

void LinuxFaultTrap::clearFloatingPointStatus() {
    std::feclearexcept(FE_ALL_EXCEPT);
}

std::unique_ptr<FaultTrap> makeHostFaultTrap() {
    return std::make_unique<LinuxFaultTrap>();
}

void raiseFault(std::uint32_t code) {
    const Mapping* row = std::begin(kMappings);
    for (const Mapping& mapping : kMappings)
        if (mapping.code == code) row = &mapping;
    Place* const place = placeOfThisThread();
    if (Guard* const guard = place ? place->innermost.load() : nullptr) guard->raised = code;
    // The signal as the kernel would send it.
    siginfo_t info{};
    info.si_signo = row->signal;
    info.si_code = row->cause != 0 ? row->cause : SI_KERNEL;
    ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::syscall(SYS_gettid), row->signal, &info);
    std::abort(); // the host ignores the signal, which it cannot do with a real fault
}

void forgetGuardsOfOtherThreads() {
    const bool handlersInForce = placesTaken > 0;
    placesTaken = 0;
    for (Place& place : places) {
        if (place.thread.load() == ::pthread_self()) {
            ++placesTaken;
            continue;
        }
        place.thread.store(0);
        place.innermost.store(nullptr);
    }
    if (handlersInForce && placesTaken == 0) removeHandlers();
}

} // namespace orv::platform
