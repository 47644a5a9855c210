#include "platform/linux/Descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace orv::platform {

int openDescriptor(int folder, const char* path, int flags, mode_t mode) noexcept {
    const int file = ::openat(folder, path, flags | O_CLOEXEC, mode);
    if (file < 0 || file > STDERR_FILENO) return file;
    const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(file);
    errno = error;
    return moved;
}

} // namespace orv::platform
