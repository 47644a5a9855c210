#include "MetricsFile.h"

#include "Commands.h"
#include "Descriptor.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr mode_t kEverybodyReads = 0644;
constexpr auto kPatience = 10s; // for another run that writes the same file

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

int refuse(const std::string& path, const std::string& reason) {
    std::fprintf(stderr, "%s: cannot be written: %s\n", path.c_str(), reason.c_str());
    return kExitOutput;
}

/// For the moments between the temporary file and its new name: whoever ends the tool waits for them.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, &former_);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() { ::pthread_sigmask(SIG_SETMASK, &former_, nullptr); }

  private:
    sigset_t former_{};
};

/// In the same folder, so that it can be renamed; a name that no collector of text files takes, and always
/// the same, so that what a killed run left is the next one's.
std::string temporaryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::size_t name = slash == path.npos ? 0 : slash + 1;
    return path.substr(0, name) + "." + path.substr(name) + ".hwprobe-new";
}

bool isThere(const std::string& path, const struct stat& file) {
    struct stat found {};
    return ::lstat(path.c_str(), &found) == 0 && found.st_dev == file.st_dev && found.st_ino == file.st_ino;
}

/// Opens the temporary file, empty and locked. -1, with the reason, where it is not this user's own, or
/// others have it for long.
Descriptor openTemporary(const std::string& path, std::string& reason) {
    const auto fail = [&](const char* why) {
        reason = path + ": " + why;
        return Descriptor(-1);
    };
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (; std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(5ms)) {
        Descriptor file(
            ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR));
        struct stat opened {};
        if (file.get() < 0 || ::fstat(file.get(), &opened) != 0) return fail(std::strerror(errno));
        if (!S_ISREG(opened.st_mode) || opened.st_nlink > 1 || opened.st_uid != ::geteuid())
            return fail("it is not a file of this user's alone");
        // Where another run has it, or has just put it in the place of the target, the name is tried again.
        if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !isThere(path, opened)) continue;
        if (::ftruncate(file.get(), 0) != 0) return fail(std::strerror(errno));
        return file;
    }
    return fail("another run has it");
}

} // namespace

int replaceFile(const std::string& path, std::string_view text) {
    // A device or a pipe would be gone, with a file in its place.
    struct stat present {};
    if (::stat(path.c_str(), &present) == 0 && !S_ISREG(present.st_mode))
        return refuse(path, "it is not a regular file");
    const std::string temporary = temporaryOf(path);
    std::string reason;
    const Descriptor file = openTemporary(temporary, reason);
    if (file.get() < 0) return refuse(path, reason);
    const SignalsHeld held;
    if (writeAll(file.get(), text) && ::fchmod(file.get(), kEverybodyReads) == 0 &&
        ::fsync(file.get()) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0)
        return kExitOk;
    reason = std::strerror(errno);
    ::unlink(temporary.c_str());
    return refuse(path, reason);
}

} // namespace tool
