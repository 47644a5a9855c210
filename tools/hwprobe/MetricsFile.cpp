#include "MetricsFile.h"

#include "Commands.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr mode_t kEverybodyReads = 0644;

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

int refuse(const std::string& path, const char* reason) {
    std::fprintf(stderr, "%s: cannot be written: %s\n", path.c_str(), reason);
    return kExitOutput;
}

} // namespace

int replaceFile(const std::string& path, std::string_view text) {
    // A device or a pipe would be gone, with a file in its place.
    struct stat present {};
    if (::stat(path.c_str(), &present) == 0 && !S_ISREG(present.st_mode))
        return refuse(path, "it is not a regular file");
    // In the same folder, so that it can be renamed; a name that no collector of text files takes.
    const auto slash = path.rfind('/');
    std::string temporary = path.substr(0, slash == path.npos ? 0 : slash + 1) + ".hwprobe-XXXXXX";
    const int file = ::mkstemp(temporary.data());
    if (file < 0) return refuse(path, std::strerror(errno));
    bool good = writeAll(file, text) && ::fchmod(file, kEverybodyReads) == 0 && ::fsync(file) == 0;
    int error = good ? 0 : errno;
    if (::close(file) != 0 && good) {
        good = false;
        error = errno;
    }
    if (good && ::rename(temporary.c_str(), path.c_str()) == 0) return kExitOk;
    if (good) error = errno;
    ::unlink(temporary.c_str());
    return refuse(path, std::strerror(error));
}

} // namespace tool
