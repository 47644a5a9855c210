#include "platform/windows/Services.h"

#include <windows.h>

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace orv::platform {

namespace {

// Codes with which the languages mark their own exceptions; they pass to the ordinary catch.
constexpr DWORD kMsvcException = 0xE06D7363;
constexpr DWORD kGccException = 0x20474343; // "GCC" below a byte that says throw, unwind or forced unwind
constexpr DWORD kGccMask = 0x20FFFFFF;
// Messages to a debugger are informational; the one that names a thread is, too.
constexpr DWORD kSeverityMask = 0xC0000000;
constexpr DWORD kInformational = 0x40000000;

bool passes(DWORD code) {
    return code == kMsvcException || (code & kGccMask) == kGccException ||
           (code & kSeverityMask) == kInformational;
}

/// One guarded call: a frame of the thread's chain of structured exception handlers. The system asks the
/// frames of the chain from the innermost on, so a fault that a library handles by itself never comes here,
/// no other thread is touched, and guards nest by themselves.
struct Guard {
    EXCEPTION_REGISTRATION_RECORD frame;
    void* back[5]; // the compiler's jump buffer: the run-time's longjmp would unwind a second time
    volatile DWORD code;
};

/// The head of the thread's chain.
EXCEPTION_REGISTRATION_RECORD*& innermostFrame() {
    NT_TIB* thread = nullptr;
    asm("movl %%fs:0x18, %0" : "=r"(thread));
    static_assert(offsetof(NT_TIB, Self) == 0x18);
    return thread->ExceptionList;
}

// The system names no cause of an SSE instruction's fault (STATUS_FLOAT_MULTIPLE_FAULTS, ..._TRAPS): the
// processor's control and status register does.
constexpr DWORD kMultipleFaults = 0xC00002B4;
constexpr DWORD kMultipleTraps = 0xC00002B5;
constexpr std::size_t kMxcsrAt = 24; // in the FXSAVE image
constexpr int kMxcsrMasksAt = 7;

/// By the bit of its flag in MXCSR, what a division reports first coming first.
constexpr struct {
    int bit;
    DWORD code;
} kSseCauses[] = {
    {0, 0xC0000090}, // invalid operation
    {2, 0xC000008E}, // divide by zero
    {1, 0xC000008D}, // denormal operand
    {3, 0xC0000091}, // overflow
    {4, 0xC0000093}, // underflow
    {5, 0xC000008F}, // inexact result
};

DWORD causeOf(DWORD code, const CONTEXT& context) {
    if (code != kMultipleFaults && code != kMultipleTraps) return code;
    if ((context.ContextFlags & CONTEXT_EXTENDED_REGISTERS) != CONTEXT_EXTENDED_REGISTERS) return code;
    std::uint32_t mxcsr = 0;
    std::memcpy(&mxcsr, context.ExtendedRegisters + kMxcsrAt, sizeof mxcsr);
    const std::uint32_t unmasked = mxcsr & ~(mxcsr >> kMxcsrMasksAt);
    for (const auto& cause : kSseCauses)
        if (unmasked >> cause.bit & 1) return cause.code;
    return code;
}

// A frame's handler has the C calling convention, whatever the header's type says.
EXCEPTION_DISPOSITION __cdecl onException(EXCEPTION_RECORD* record, Guard* guard, CONTEXT* context, void*) {
    if (IS_UNWINDING(record->ExceptionFlags) || passes(record->ExceptionCode)) return ExceptionContinueSearch;
    guard->code = causeOf(record->ExceptionCode, *context);
    // Gives the frames inside the guarded call their chance to release what they hold, and takes them off
    // the chain. The system's function does not keep these registers.
    ::RtlUnwind(guard, nullptr, record, nullptr);
    asm volatile("" ::: "ebx", "esi", "edi");
    __builtin_longjmp(guard->back, 1);
}

/// Puts a guard on the chain for the length of a scope, also when an exception passes.
class Armed {
  public:
    explicit Armed(Guard& guard) : guard_(guard) {
        guard.frame.Next = innermostFrame();
        guard.frame.Handler = reinterpret_cast<PEXCEPTION_ROUTINE>(reinterpret_cast<void*>(onException));
        guard.code = 0;
        innermostFrame() = &guard.frame;
    }
    ~Armed() { innermostFrame() = guard_.frame.Next; }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

  private:
    Guard& guard_;
};

/// The frame of the jump: nothing in it has to be destroyed, and nothing is kept in registers across it.
__attribute__((noinline)) void callGuarded(Guard& guard, const std::function<void()>& body) {
    if (__builtin_setjmp(guard.back) == 0) body();
}

} // namespace

std::uint32_t WindowsFaultTrap::guard(const std::function<void()>& body) {
    Guard call;
    {
        const Armed armed(call);
        callGuarded(call, body);
    }
    // The fault may have left values on the x87 stack, or an exception that the next floating-point
    // instruction would raise again.
    if (call.code != 0) asm volatile("fnclex\n\temms");
    return call.code;
}

void WindowsFaultTrap::resetStack() {
    ::_resetstkoflw();
}

void WindowsFaultTrap::clearFloatingPointStatus() {
    ::_clearfp();
}

std::unique_ptr<FaultTrap> makeHostFaultTrap() {
    return std::make_unique<WindowsFaultTrap>();
}

void raiseFault(std::uint32_t code) {
    ::RaiseException(code, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort(); // a handler of the host's went on all the same
}

} // namespace orv::platform
