#pragma once

#include <fcntl.h>
#include <sys/types.h>

namespace orv::platform {

/// The descriptor itself, or its move to a number above the standard streams; -1 and errno stay as they are.
int aboveStandard(int file) noexcept;

/// openat for the library's own descriptors: no child inherits one, and none is 0, 1 or 2. A host that has
/// closed a standard stream would otherwise read from the library's file, or write to it.
/// -1 and errno on failure.
int openDescriptor(int folder, const char* path, int flags, mode_t mode = 0) noexcept;

inline int openDescriptor(const char* path, int flags) noexcept {
    return openDescriptor(AT_FDCWD, path, flags);
}

} // namespace orv::platform
