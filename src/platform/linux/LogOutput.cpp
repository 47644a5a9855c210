#include "platform/LogOutput.h"

#include "platform/linux/files/Descriptor.h"

#include <spdlog/details/os.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <poll.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace orv::platform {

namespace {

/// Keeps a write of this thread from raising a signal: a pipe without a reader (SIGPIPE), a terminal that
/// stops background writers (SIGTTOU), a file at its largest allowed size (SIGXFSZ). The write fails instead.
class SignalsHeld {
  public:
    explicit SignalsHeld(bool needed) noexcept : held_(needed) {
        if (!held_) return;
        ::sigemptyset(&ours_);
        for (const int signal : kSignals)
            ::sigaddset(&ours_, signal);
        ::sigemptyset(&pending_);
        ::pthread_sigmask(SIG_BLOCK, &ours_, &former_);
        // One that the host holds back and has pending is not ours to take.
        for (const int signal : kSignals)
            if (::sigismember(&former_, signal)) ::sigpending(&pending_);
    }
    ~SignalsHeld() {
        if (held_) ::pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

    /// Takes back what a failed write has raised.
    void swallow(int error) noexcept {
        const int signal = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
        if (!held_ || signal == 0 || ::sigismember(&pending_, signal)) return;
        sigset_t raised;
        ::sigemptyset(&raised);
        ::sigaddset(&raised, signal);
        constexpr timespec kNow{};
        while (::sigtimedwait(&raised, nullptr, &kNow) < 0 && errno == EINTR) {
        }
    }

  private:
    static constexpr std::array kSignals = {SIGPIPE, SIGTTOU, SIGXFSZ};
    // The sets are large and most writes need none: they have values only while held_ is true.
    bool held_;
    sigset_t ours_;
    sigset_t former_;
    sigset_t pending_;
};

/// False in a set-user-ID process and its like: its environment is somebody else's.
bool environmentIsOurs() {
    return ::getauxval(AT_SECURE) == 0;
}

/// Whether the process may write files of a limited size only. Asked once: a limit that a host sets later is
/// its own affair.
bool filesAreLimited() {
    rlimit limit{};
    return ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

/// 0, or the error of the first part that could not be written.
int writeAll(int file, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// ---- the file ----

class LogFile final : public LogOutput {
  public:
    explicit LogFile(int file) : file_(file), limited_(filesAreLimited()) {}
    ~LogFile() override { ::close(file_); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    bool write(LogLines lines) noexcept override {
        SignalsHeld signals(limited_);
        const int error = writeAll(file_, textOf(lines));
        signals.swallow(error);
        return error != EBADF; // a full disk may have room for a later line
    }

  private:
    int file_;
    bool limited_;
};

/// A folder opened as a starting point of other opens.
class Folder {
  public:
    explicit Folder(int folder) : folder_(folder) {}
    ~Folder() {
        if (folder_ >= 0) ::close(folder_);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    int number() const { return folder_; }
    /// Steps into a folder below, made when it is missing. A symbolic link in its place is an error.
    void enter(const char* name) {
        constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW;
        int below = openDescriptor(folder_, name, kFlags);
        if (below < 0 && errno == ENOENT) {
            ::mkdirat(folder_, name, 0755);
            below = openDescriptor(folder_, name, kFlags);
        }
        ::close(folder_);
        folder_ = below;
    }

  private:
    int folder_;
};

/// A regular file of this user's under one name alone: whatever else stands there was put there by somebody.
bool isOwnFile(const struct stat& facts) {
    return S_ISREG(facts.st_mode) && facts.st_uid == ::geteuid() && facts.st_nlink == 1;
}

// ---- the console ----

// By level, as spdlog colours them: white, cyan, green, bold yellow, bold red, bold on red.
constexpr std::array<std::string_view, 6> kColours = {
    "\033[37m", "\033[36m", "\033[32m", "\033[33m\033[1m", "\033[31m\033[1m", "\033[1m\033[41m"};
constexpr std::string_view kColourEnds = "\033[m";

constexpr int kWouldWait = EAGAIN;

int resultOf(ssize_t written) {
    return written < 0 ? errno : 0;
}

/// A write that is known not to wait when there is no other writer.
int writeWhenReady(int stream, std::string_view text) noexcept {
    pollfd ready{stream, POLLOUT, 0};
    if (::poll(&ready, 1, 0) < 0) return errno;
    // An error or a hang-up is for the write to tell.
    return ready.revents == 0 ? kWouldWait : resultOf(::write(stream, text.data(), text.size()));
}

/// Lines together are shorter than PIPE_BUF nearly always, so a pipe takes them whole or not at all.
int writeToPipe(int stream, std::string_view text) noexcept {
    const iovec part{const_cast<char*>(text.data()), text.size()};
    const ssize_t written = ::pwritev2(stream, &part, 1, -1, RWF_NOWAIT);
    if (written < 0 && (errno == EOPNOTSUPP || errno == ENOSYS)) // kernels before 6.4
        return writeWhenReady(stream, text.substr(0, PIPE_BUF));
    return resultOf(written);
}

/// O_NONBLOCK belongs to the open file, which other processes share: the terminal is opened anew for each
/// write.
int writeToTerminal(int stream, std::string_view text) noexcept {
    const std::array path = {
        '/', 'p', 'r', 'o', 'c', '/', 's', 'e', 'l', 'f', '/', 'f', 'd', '/', static_cast<char>('0' + stream),
        '\0'};
    const int own = openDescriptor(path.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY);
    if (own < 0) return writeWhenReady(stream, text);
    const int error = resultOf(::write(own, text.data(), text.size()));
    ::close(own);
    return error;
}

int writeToSocket(int stream, std::string_view text) noexcept {
    return resultOf(::send(stream, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
}

class Console final : public LogOutput {
  public:
    explicit Console(int stream)
        : stream_(stream),
          coloured_(::isatty(stream) == 1 && environmentIsOurs() && spdlog::details::os::is_color_terminal()),
          limited_(filesAreLimited()) {}

    bool write(LogLines lines) noexcept override {
        // What has a place to seek to never waits: a file, /dev/null and its neighbours. It is the cheapest
        // question of its kind.
        const bool neverWaits = ::lseek(stream_, 0, SEEK_CUR) >= 0;
        struct stat facts {};
        if (!neverWaits && ::fstat(stream_, &facts) != 0) return false; // the host has closed it
        SignalsHeld signals(limited_ || !neverWaits);
        const int error =
            neverWaits ? writeAll(stream_, textOf(lines)) : writeWithoutWaiting(facts.st_mode, lines);
        signals.swallow(error);
        return error == 0 || error == kWouldWait || error == EINTR;
    }

  private:
    /// The kind is asked at each write, since a host may redirect the stream at any time.
    int writeWithoutWaiting(mode_t kind, LogLines lines) noexcept {
        const std::string_view text = textOf(lines);
        if (S_ISFIFO(kind)) return writeToPipe(stream_, text);
        if (S_ISSOCK(kind)) return writeToSocket(stream_, text);
        if (!S_ISCHR(kind) || ::isatty(stream_) != 1) return writeWhenReady(stream_, text);
        return coloured_ ? putColoured(lines) : writeToTerminal(stream_, text);
    }
    int putColoured(LogLines lines) noexcept {
        try {
            std::string text;
            for (const LogLine& line : lines) {
                const std::size_t from = text.size();
                text += line.text;
                text.insert(from + line.levelTo, kColourEnds);
                text.insert(from + line.levelFrom, kColours[line.level]);
            }
            return writeToTerminal(stream_, text);
        } catch (const std::bad_alloc&) {
            return kWouldWait;
        }
    }

    int stream_;
    bool coloured_;
    bool limited_;
};

} // namespace

std::unique_ptr<LogOutput> openConsole(ConsoleStream stream) {
    const int number = stream == ConsoleStream::output ? STDOUT_FILENO : STDERR_FILENO;
    // A number that is closed now may become any file of the host's.
    if (::fcntl(number, F_GETFD) < 0) return nullptr;
    return std::make_unique<Console>(number);
}

std::unique_ptr<LogOutput> openLogFile(const std::string& directory, const std::string& name) {
    Folder folder(openDescriptor(directory.starts_with('/') ? "/" : ".", O_PATH | O_DIRECTORY));
    for (std::size_t at = 0; at < directory.size();) {
        const std::size_t end = std::min(directory.find('/', at), directory.size());
        if (end > at) folder.enter(directory.substr(at, end - at).c_str());
        at = end + 1;
    }
    if (folder.number() < 0) return nullptr;
    // Without waiting: nobody need read from a FIFO of that name.
    const int file = openDescriptor(folder.number(), name.c_str(),
                                    O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600);
    if (file < 0) return nullptr;
    struct stat facts {};
    if (::fstat(file, &facts) != 0 || !isOwnFile(facts) ||
        ((facts.st_mode & 07777) != 0600 && ::fchmod(file, 0600) != 0)) {
        ::close(file);
        return nullptr;
    }
    return std::make_unique<LogFile>(file);
}

std::optional<std::string> environmentVariable(const char* name) {
    const char* text = environmentIsOurs() ? std::getenv(name) : nullptr;
    return text ? std::optional<std::string>(text) : std::nullopt;
}

} // namespace orv::platform
