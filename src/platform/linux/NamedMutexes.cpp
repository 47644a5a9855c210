#include "platform/linux/NamedMutexes.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/text.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace orv::platform {

namespace {

using Clock = std::chrono::steady_clock;

// Folders for locks, best first; the first one that all users may write is the one that all processes choose.
constexpr const char* kFolders[] = {"/run/lock", "/dev/shm", "/tmp"};
constexpr mode_t kEverybodySticky = S_IRWXO | S_ISVTX;
constexpr mode_t kEverybodyReadsWrites = 0666;

constexpr char kHeld = 'h'; // first byte of the file while its lock is held
constexpr char kFree = '-';
constexpr std::chrono::microseconds kPollInterval{500};

/// "Global\Access_PCI" is the file hwprobe.Global.Access_PCI.
std::string fileName(std::wstring_view name) {
    std::string text = "hwprobe." + wideToUtf8(name);
    for (char& letter : text)
        if (letter == '\\' || letter == '/') letter = '.';
    return text;
}

int openExisting(const std::string& path) {
    return ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
}

/// Opens the file, made where it is missing. It comes into being under another name and with its final mode,
/// so that no other user ever finds one that it may not open.
int openOrCreate(const std::string& path) {
    int file = openExisting(path);
    if (file >= 0 || errno != ENOENT) return file;
    std::string fresh = path + ".XXXXXX";
    file = ::mkostemp(fresh.data(), O_CLOEXEC);
    if (file < 0) return file;
    const bool linked =
        ::fchmod(file, kEverybodyReadsWrites) == 0 && ::link(fresh.c_str(), path.c_str()) == 0;
    const int cause = errno;
    ::unlink(fresh.c_str());
    if (linked) return file;
    ::close(file);
    errno = cause;
    return cause == EEXIST ? openExisting(path) : -1;
}

} // namespace

/// The lock of one name in this process, shared by its handles. The file's lock holds against other
/// processes; owner and depth hold against the other threads of this one.
class LinuxNamedMutexes::LockFile {
  public:
    LockFile(std::string path, int file) : path_(std::move(path)), file_(file) {}
    ~LockFile() { ::close(file_); }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    /// kWaitTimeout when somebody holds it now.
    std::uint32_t tryLock() {
        std::lock_guard lock(guard_);
        if (!ownFile()) return kWaitFailed;
        const auto self = std::this_thread::get_id();
        if (depth_ > 0 && owner_ != self) return kWaitTimeout;
        std::uint32_t result = kWaitOwned;
        if (depth_ == 0) result = lockFile();
        if (result == kWaitOwned || result == kWaitAbandoned) {
            owner_ = self;
            ++depth_;
        }
        return result;
    }

    ErrorCode release() {
        std::lock_guard lock(guard_);
        if (depth_ == 0 || owner_ != std::this_thread::get_id()) return kNotOwner;
        if (--depth_ > 0) return kSuccess;
        if (::pwrite(file_, &kFree, 1, 0) != 1 || ::flock(file_, LOCK_UN) != 0) return errorFromErrno(errno);
        return kSuccess;
    }

  private:
    static constexpr ErrorCode kNotOwner = 288; // ERROR_NOT_OWNER

    /// A forked child shares its parent's open file and with it the lock: it takes a file of its own.
    bool ownFile() {
        if (process_ == ::getpid()) return true;
        const int file = openExisting(path_);
        if (file < 0) return false;
        ::close(file_);
        file_ = file;
        process_ = ::getpid();
        depth_ = 0;
        return true;
    }

    std::uint32_t lockFile() {
        if (::flock(file_, LOCK_EX | LOCK_NB) != 0)
            return errno == EWOULDBLOCK || errno == EINTR ? kWaitTimeout : kWaitFailed;
        char mark = kFree;
        const bool abandoned = ::pread(file_, &mark, 1, 0) == 1 && mark == kHeld;
        if (::pwrite(file_, &kHeld, 1, 0) == 1) return abandoned ? kWaitAbandoned : kWaitOwned;
        ::flock(file_, LOCK_UN);
        return kWaitFailed;
    }

    std::string path_;
    int file_;
    pid_t process_ = ::getpid();
    HeldMutex guard_;
    std::thread::id owner_;
    int depth_ = 0;
};

LinuxNamedMutexes::LinuxNamedMutexes(const RootedFiles& files) : files_(files) {}
LinuxNamedMutexes::~LinuxNamedMutexes() = default;

std::string LinuxNamedMutexes::folder() const {
    for (const char* path : kFolders) {
        struct stat facts {};
        const std::string full = files_.full(path);
        if (::stat(full.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) &&
            (facts.st_mode & kEverybodySticky) == kEverybodySticky)
            return full;
    }
    return {};
}

Result<MutexHandle> LinuxNamedMutexes::open(std::wstring_view name, bool create) {
    const std::string where = folder();
    if (where.empty()) return Result<MutexHandle>::failed(kFileNotFound);
    const std::string path = where + "/" + fileName(name);
    std::lock_guard lock(guard_);
    std::shared_ptr<LockFile> shared = byPath_[path].lock();
    if (!shared) {
        const int file = create ? openOrCreate(path) : openExisting(path);
        if (file < 0) return Result<MutexHandle>::failed(errorFromErrno(errno));
        byPath_[path] = shared = std::make_shared<LockFile>(path, file);
    }
    handles_[next_] = std::move(shared);
    return {next_++};
}

Result<MutexHandle> LinuxNamedMutexes::CreateMutexW(std::wstring_view name) {
    return open(name, true);
}

Result<MutexHandle> LinuxNamedMutexes::OpenMutexW(std::uint32_t, std::wstring_view name) {
    return open(name, false);
}

std::shared_ptr<LinuxNamedMutexes::LockFile> LinuxNamedMutexes::find(MutexHandle mutex) {
    std::lock_guard lock(guard_);
    const auto found = handles_.find(mutex);
    return found == handles_.end() ? nullptr : found->second;
}

std::uint32_t LinuxNamedMutexes::WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) {
    const auto lock = find(mutex);
    if (!lock) return kWaitFailed;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        const std::uint32_t result = lock->tryLock();
        const auto now = Clock::now();
        if (result != kWaitTimeout || now >= end) return result;
        std::this_thread::sleep_for(std::min<Clock::duration>(kPollInterval, end - now));
    }
}

ErrorCode LinuxNamedMutexes::ReleaseMutex(MutexHandle mutex) {
    const auto lock = find(mutex);
    return lock ? lock->release() : kInvalidHandle;
}

void LinuxNamedMutexes::CloseHandle(MutexHandle mutex) {
    std::lock_guard lock(guard_);
    handles_.erase(mutex);
}

} // namespace orv::platform
