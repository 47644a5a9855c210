#include "platform/linux/files/Descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace orv::platform {

int aboveStandard(int file) noexcept {
    if (file < 0 || file > STDERR_FILENO) return file;
    const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(file);
    errno = error;
    return moved;
}

int openDescriptor(int folder, const char* path, int flags, mode_t mode) noexcept {
    return aboveStandard(::openat(folder, path, flags | O_CLOEXEC, mode));
}

} // namespace orv::platform
