#pragma once

namespace orv::test {

/// A real access violation, which the sanitizers must not report before it happens.
__attribute__((noinline, no_sanitize("undefined", "address"))) inline void nullWrite() {
    *static_cast<volatile int*>(nullptr) = 1;
}

} // namespace orv::test
