#include "platform/windows/Services.h"

#include <windows.h>

#include <cfloat>
#include <malloc.h>

namespace orv::platform {

namespace {

// Codes with which the languages mark their own exceptions; they pass to the ordinary catch.
constexpr DWORD kMsvcException = 0xE06D7363;
constexpr DWORD kGccExceptions = 0x20474343; // "GCC" with its class in the top byte: throw, unwind, forced
constexpr DWORD kGccMask = 0x20FFFFFF;
constexpr DWORD kNameThread = 0x406D1388; // tells a debugger the name of a thread
constexpr DWORD kSeverityMask = 0xC0000000;
constexpr DWORD kInformational = 0x40000000; // messages to a debugger, control-C

bool passes(DWORD code) {
    return code == kMsvcException || code == kNameThread || (code & kGccMask) == kGccExceptions ||
           (code & kSeverityMask) == kInformational || (code & kSeverityMask) == 0;
}

/// One guarded call on this thread's stack of them. The jump buffer is the compiler's: the run-time's
/// longjmp would unwind structured frames that are not there.
struct Guard {
    void* back[5];
    volatile DWORD code = 0;
    Guard* outer = nullptr;
};

// Not a C++ thread_local: its first access inside the handler could allocate.
DWORD guardSlot() {
    static const DWORD slot = ::TlsAlloc();
    return slot;
}

[[noreturn]] __attribute__((noinline)) void jumpBack(Guard& guard) {
    __builtin_longjmp(guard.back, 1);
}

LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    auto* guard = static_cast<Guard*>(::TlsGetValue(guardSlot()));
    if (!guard || passes(code)) return EXCEPTION_CONTINUE_SEARCH;
    guard->code = code;
    jumpBack(*guard);
}

/// Arms a guard for the length of a scope.
class Armed {
  public:
    explicit Armed(Guard& guard) : outer_(static_cast<Guard*>(::TlsGetValue(guardSlot()))) {
        guard.outer = outer_;
        ::TlsSetValue(guardSlot(), &guard);
        handler_ = ::AddVectoredExceptionHandler(1, onException);
    }
    ~Armed() {
        ::RemoveVectoredExceptionHandler(handler_);
        ::TlsSetValue(guardSlot(), outer_);
    }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

  private:
    Guard* outer_;
    void* handler_;
};

/// The frame of the jump: nothing in it has to be destroyed, and nothing is kept in registers across it.
__attribute__((noinline)) void callGuarded(Guard& guard, const std::function<void()>& body) {
    if (__builtin_setjmp(guard.back) == 0) body();
}

} // namespace

std::uint32_t WindowsFaultTrap::run(const std::function<void()>& body) {
    Guard guard;
    const Armed armed(guard);
    callGuarded(guard, body);
    return guard.code;
}

void WindowsFaultTrap::resetStack() {
    ::_resetstkoflw();
}

void WindowsFaultTrap::clearFloatingPointStatus() {
    ::_clearfp();
}

} // namespace orv::platform
