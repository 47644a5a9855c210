#include "platform/linux/files/PolledFile.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"
#include "state/HeldMutex.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace orv::platform {

namespace {
constexpr std::size_t kFirstSize = 8192;

// A /proc file is made record by record in the kernel's page: a read is short only when the next record does
// not fit or there is none. One that leaves this much of the page free was the last, and asking again would
// make the kernel form the whole content once more.
constexpr std::size_t kKernelPage = 4096;
constexpr std::size_t kLongestRecord = 1024;
} // namespace

Result<std::string_view> PolledFile::read(std::size_t most) {
    using Answer = Result<std::string_view>;
    // What stands below /proc/self belongs to the process that opened it: a forked child opens its own.
    if (file_ >= 0 && generation_ != ForkSteps::generation()) close();
    if (file_ < 0)
        if (const ErrorCode error = open()) return Answer::failed(error);

    if (content_.empty()) content_.resize(kFirstSize);
    for (std::size_t used = 0;;) {
        const std::size_t room = std::min(content_.size(), most) - used;
        const ssize_t got = ::pread(file_, content_.data() + used, room, static_cast<off_t>(used));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            const ErrorCode error = errorFromErrno(errno);
            close();
            return Answer::failed(error);
        }
        used += static_cast<std::size_t>(got);
        if (used == most) return {std::string_view(content_.data(), used)};
        const bool last = got == 0 || static_cast<std::size_t>(got) + kLongestRecord <= kKernelPage;
        if (last && used < content_.size()) return {std::string_view(content_.data(), used)};
        if (used == content_.size()) content_.resize(used * 2);
    }
}

ErrorCode PolledFile::open() {
    file_ = openDescriptor(files_.full(path_).c_str(), O_RDONLY);
    generation_ = ForkSteps::generation();
    return file_ < 0 ? errorFromErrno(errno) : kSuccess;
}

void PolledFile::close() {
    if (file_ >= 0) ::close(file_);
    file_ = -1;
}

} // namespace orv::platform
