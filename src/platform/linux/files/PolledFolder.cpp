#include "platform/linux/files/PolledFolder.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"
#include "state/HeldMutex.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <dirent.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace orv::platform {

namespace {

// sysfs keeps this position for the end of a folder, and no entry of its own has it. Elsewhere the last entry
// cannot be told, and the folder is asked until it has nothing more.
constexpr std::int64_t kEndOfSysfsFolder = INT_MAX;

} // namespace

Result<std::vector<std::string>> PolledFolder::list() {
    // A captured tree may lose the folder and get another one of its name; /sys does not.
    if (!files_.isRunningSystem()) return files_.list(path_);
    // A forked child shares the position of an open folder with its parent, so it opens its own.
    if (folder_ >= 0 && generation_ != ForkSteps::generation()) close();
    if (folder_ >= 0) {
        ::lseek(folder_, 0, SEEK_SET);
    } else if (const ErrorCode error = open()) {
        return Result<std::vector<std::string>>::failed(error);
    }
    return fromHere();
}

/// What the C library does for a listing, less the question whether there is more when the answer is known.
Result<std::vector<std::string>> PolledFolder::fromHere() {
    Result<std::vector<std::string>> names;
    alignas(dirent64) char entries[4096];
    for (bool more = true; more;) {
        const ssize_t size = ::getdents64(folder_, entries, sizeof entries);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) return Result<std::vector<std::string>>::failed(errorFromErrno(errno));
        more = size > 0;
        for (ssize_t at = 0; at < size;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(entries + at);
            const std::string_view name = entry.d_name;
            if (name != "." && name != "..") names.value.emplace_back(name);
            at += entry.d_reclen;
            if (isSysfs_ && entry.d_off == kEndOfSysfsFolder) more = false;
        }
    }
    std::sort(names.value.begin(), names.value.end());
    return names;
}

ErrorCode PolledFolder::open() {
    folder_ = openDescriptor(files_.full(path_).c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK);
    if (folder_ < 0) return errorFromErrno(errno);
    generation_ = ForkSteps::generation();
    struct statfs facts {};
    isSysfs_ = ::fstatfs(folder_, &facts) == 0 && facts.f_type == SYSFS_MAGIC;
    return kSuccess;
}

void PolledFolder::close() {
    if (folder_ >= 0) ::close(folder_);
    folder_ = -1;
}

} // namespace orv::platform
