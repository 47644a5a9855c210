#include "platform/linux/NamedMutexes.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"
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
constexpr std::chrono::milliseconds kLongestUnmarked{1000};

constexpr int kMostAttempts = 4;
constexpr ErrorCode kNoLockFile = kInvalidHandle; // as for a name that belongs to an object of another kind
constexpr ErrorCode kAlreadyExists = 183;         // ERROR_ALREADY_EXISTS
constexpr std::uint32_t kLockedUnmarked = 0xFFFFFFFE; // no wait result: locked by who does not mark it

/// "Global\Access_PCI" is the file hwprobe.Global.Access_PCI.
std::string fileName(std::wstring_view name) {
    std::string text = "hwprobe." + wideToUtf8(name);
    for (char& letter : text)
        if (letter == '\\' || letter == '/') letter = '.';
    return text;
}

/// A plain file of one name. What has a second name belongs to somebody else and is not written to.
bool isLockFile(const struct stat& facts) {
    return S_ISREG(facts.st_mode) && facts.st_nlink == 1;
}

/// Something else under the name than a lock: a link or a pipe is neither followed nor waited for.
Result<int> openExisting(const std::string& path) {
    const int file = openDescriptor(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        const bool other = errno == ELOOP || errno == EISDIR || errno == ENXIO;
        return Result<int>::failed(other ? kNoLockFile : errorFromErrno(errno));
    }
    struct stat facts {};
    if (::fstat(file, &facts) == 0 && isLockFile(facts)) return {file};
    ::close(file);
    // Without a name it was removed after it had been opened.
    return Result<int>::failed(facts.st_nlink == 0 ? kFileNotFound : kNoLockFile);
}

/// Makes the file. It comes into being under another name and with its final mode, so that no other user ever
/// finds one that it may not open.
Result<int> create(const std::string& path) {
    std::string fresh = path + ".XXXXXX";
    const int made = ::mkostemp(fresh.data(), O_CLOEXEC);
    if (made < 0) return Result<int>::failed(errorFromErrno(errno));
    const int file = aboveStandard(made);
    if (file >= 0 && ::fchmod(file, kEverybodyReadsWrites) == 0 &&
        ::renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
        return {file};
    const int cause = errno;
    ::unlink(fresh.c_str());
    if (file >= 0) ::close(file);
    return Result<int>::failed(errorFromErrno(cause));
}

/// Others may make or remove the file between two looks.
Result<int> openOrCreate(const std::string& path) {
    Result<int> file = openExisting(path);
    for (int attempt = 1; attempt < kMostAttempts && file.error == kFileNotFound; ++attempt) {
        file = create(path);
        if (file.error == kAlreadyExists) file = openExisting(path);
    }
    return file;
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

    /// kWaitTimeout when somebody holds it now, kLockedUnmarked when the file is locked and nobody says so.
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
        if (!reopen()) return false;
        process_ = ::getpid();
        depth_ = 0;
        return true;
    }

    bool reopen() {
        const auto file = openOrCreate(path_);
        if (!file.ok()) return false;
        ::close(file_); // drops its lock
        file_ = file.value;
        return true;
    }

    /// Whether the file is still the one that others find under the name.
    bool isNamed() const {
        struct stat own {};
        struct stat named {};
        return ::fstat(file_, &own) == 0 && ::lstat(path_.c_str(), &named) == 0 && isLockFile(named) &&
               own.st_dev == named.st_dev && own.st_ino == named.st_ino;
    }

    bool marked() const {
        char mark = kFree;
        return ::pread(file_, &mark, 1, 0) == 1 && mark == kHeld;
    }

    std::uint32_t lockFile() {
        for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
            if (::flock(file_, LOCK_EX | LOCK_NB) != 0) {
                if (errno != EWOULDBLOCK && errno != EINTR) return kWaitFailed;
                return marked() ? kWaitTimeout : kLockedUnmarked;
            }
            if (isNamed()) return markHeld();
            if (!reopen()) break;
        }
        ::flock(file_, LOCK_UN);
        return kWaitFailed;
    }

    std::uint32_t markHeld() {
        const bool abandoned = marked();
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
        const auto file = create ? openOrCreate(path) : openExisting(path);
        if (!file.ok()) return Result<MutexHandle>::failed(file.error);
        byPath_[path] = shared = std::make_shared<LockFile>(path, file.value);
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
    // A holder marks the file within microseconds. One that never does is no process of ours: the name is
    // taken, which also ends a wait without a limit.
    bool taken = milliseconds > 0;
    const bool limited = milliseconds != kWaitWithoutLimit;
    const auto end = Clock::now() + (limited ? std::chrono::milliseconds(milliseconds) : kLongestUnmarked);
    for (;;) {
        const std::uint32_t result = lock->tryLock();
        if (result != kWaitTimeout && result != kLockedUnmarked) return result;
        taken = taken && result == kLockedUnmarked;
        const auto now = Clock::now();
        if (now >= end && (limited || taken)) return taken ? kWaitFailed : kWaitTimeout;
        std::this_thread::sleep_for(limited ? std::min<Clock::duration>(kPollInterval, end - now)
                                            : Clock::duration(kPollInterval));
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
