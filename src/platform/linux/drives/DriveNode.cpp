#include "platform/linux/drives/DriveNode.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace orv::platform {

namespace {

bool isDevice(const struct stat& found, const DriveNode& node) {
    const bool kind = node.block ? S_ISBLK(found.st_mode) : S_ISCHR(found.st_mode);
    return kind &&
           node.number == std::to_string(major(found.st_rdev)) + ":" + std::to_string(minor(found.st_rdev));
}

} // namespace

Result<OwnedDescriptor> openNode(const RootedFiles& files, const DriveNode& node, bool direct) {
    using Answer = Result<OwnedDescriptor>;
    const std::string path = files.full(node.path);
    struct stat found {};
    // Looked at before the open, since opening some devices moves them, and again after it.
    if (::lstat(path.c_str(), &found) != 0) return Answer::failed(errorFromErrno(errno));
    if (!isDevice(found, node)) return Answer::failed(kFileNotFound);
    const int flags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | (direct ? O_DIRECT : 0);
    OwnedDescriptor file(openDescriptor(path.c_str(), flags));
    if (file.get() < 0) return Answer::failed(errorFromErrno(errno));
    if (::fstat(file.get(), &found) != 0 || !isDevice(found, node)) return Answer::failed(kFileNotFound);
    return {std::move(file)};
}

Result<std::uint32_t> readPastCache(int file, std::uint64_t blockBytes, std::uint64_t offset,
                                    std::span<std::byte> into) {
    using Answer = Result<std::uint32_t>;
    constexpr std::uint64_t page = 4096;
    constexpr std::uint64_t mostBytes = 1 << 20;
    const std::uint64_t unit = std::max(blockBytes, page);
    if ((unit & (unit - 1)) != 0 || unit > mostBytes || into.size() > mostBytes)
        return Answer::failed(kInvalidParameter);
    const std::uint64_t skipped = offset % unit;
    const std::uint64_t bytes = (skipped + into.size() + unit - 1) / unit * unit;
    const std::unique_ptr<void, void (*)(void*)> buffer(std::aligned_alloc(unit, bytes), std::free);
    if (!buffer) return Answer::failed(errorFromErrno(ENOMEM));
    ssize_t got = 0;
    do
        got = ::pread(file, buffer.get(), bytes, static_cast<off_t>(offset - skipped));
    while (got < 0 && errno == EINTR);
    if (got < 0) return Answer::failed(errorFromErrno(errno));
    const auto read = static_cast<std::uint64_t>(got);
    const std::size_t usable = read <= skipped ? 0 : std::min<std::uint64_t>(read - skipped, into.size());
    if (usable > 0) std::memcpy(into.data(), static_cast<std::byte*>(buffer.get()) + skipped, usable);
    return {static_cast<std::uint32_t>(usable)};
}

} // namespace orv::platform
