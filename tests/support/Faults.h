#pragma once

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace orv::test {

/// A real access violation, which the sanitizers must not report before it happens.
__attribute__((noinline, no_sanitize("undefined", "address", "thread"))) inline void nullWrite() {
    *static_cast<volatile int*>(nullptr) = 1; // NOLINT(clang-analyzer-core.NullDereference): its purpose
}

/// Calls itself until the stack is used up.
__attribute__((noinline)) inline int useUpStack(char outer = 1) {
    volatile char room[4000];
    room[0] = outer;
    if (room[0] == 0) return 0; // never
    return useUpStack(room[0]) + room[0];
}

/// What is allocated in this scope may be lost: a fault ends a call without running its destructors.
class MayLoseMemory {
  public:
#ifdef __SANITIZE_ADDRESS__
    MayLoseMemory() { __lsan_disable(); }
    ~MayLoseMemory() { __lsan_enable(); }
#else
    MayLoseMemory() {} // not defaulted, so that a scope without another use of it is no warning
#endif
    MayLoseMemory(const MayLoseMemory&) = delete;
    MayLoseMemory& operator=(const MayLoseMemory&) = delete;
};

} // namespace orv::test
