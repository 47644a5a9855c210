#include "platform/linux/files/RootedFiles.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace orv::platform {

namespace {

constexpr std::size_t kFirstRead = 8192;
constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kLargestFile = std::size_t{16} << 20;

ssize_t readSome(int file, char* into, std::size_t size) {
    ssize_t got = 0;
    do
        got = ::read(file, into, size);
    while (got < 0 && errno == EINTR);
    return got;
}

std::string_view lastComponent(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == path.npos ? path : path.substr(slash + 1);
}

} // namespace

Result<std::string> RootedFiles::read(std::string_view path) const {
    const int file = openDescriptor(full(path).c_str(), O_RDONLY);
    if (file < 0) return Result<std::string>::failed(errorFromErrno(errno));
    Result<std::string> content;
    std::size_t used = 0;
    for (;;) {
        if (used == content.value.size()) content.value.resize(used == 0 ? kFirstRead : used * 2);
        const ssize_t got = readSome(file, content.value.data() + used, content.value.size() - used);
        if (got < 0) content.error = errorFromErrno(errno);
        if (got <= 0) break;
        used += static_cast<std::size_t>(got);
        if (used > kLargestFile) {
            content.error = kInvalidData;
            break;
        }
    }
    ::close(file);
    content.value.resize(content.ok() ? used : 0);
    return content;
}

std::string RootedFiles::line(std::string_view path) const {
    char text[kLongestLine];
    std::size_t used = 0;
    const int file = openDescriptor(full(path).c_str(), O_RDONLY);
    if (file < 0) return {};
    for (bool more = true; more;) {
        const ssize_t got = readSome(file, text + used, sizeof text - used);
        const std::size_t count = got < 0 ? 0 : static_cast<std::size_t>(got);
        // Most files have one line, which the first read gives: no second one is made to see the end.
        more = count > 0 && !std::memchr(text + used, '\n', count) && used + count < sizeof text;
        used = got < 0 ? 0 : used + count;
    }
    ::close(file);
    return firstLine(std::string(text, used));
}

std::string firstLine(std::string text) {
    text.erase(std::min(text.find('\n'), text.size()));
    const auto first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

Result<std::vector<std::string>> RootedFiles::list(std::string_view path) const {
    Result<std::vector<std::string>> names;
    const int file = openDescriptor(full(path).c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK);
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(file < 0 ? nullptr : ::fdopendir(file), ::closedir);
    if (!folder) {
        names.error = errorFromErrno(errno);
        if (file >= 0) ::close(file);
        return names;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.value.emplace_back(name);
        errno = 0;
    }
    names.error = errorFromErrno(errno);
    std::sort(names.value.begin(), names.value.end());
    return names;
}

bool RootedFiles::exists(std::string_view path) const {
    return ::access(full(path).c_str(), F_OK) == 0;
}

bool RootedFiles::canOpen() const {
    const int file = openDescriptor(full("/").c_str(), O_PATH);
    if (file < 0) return errorFromErrno(errno) != kTooManyOpenFiles;
    ::close(file);
    return true;
}

std::optional<FolderStamp> RootedFiles::stamp(std::string_view path) const {
    struct stat found {};
    if (::stat(full(path).c_str(), &found) != 0) return std::nullopt;
    return FolderStamp{found.st_ino, found.st_ctim.tv_sec, found.st_ctim.tv_nsec};
}

std::string RootedFiles::linkTarget(std::string_view path) const {
    char target[4096];
    const ssize_t length = ::readlink(full(path).c_str(), target, sizeof target);
    return length <= 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

std::string RootedFiles::linkName(std::string_view path) const {
    return std::string(lastComponent(linkTarget(path)));
}

std::string RootedFiles::deviceFolder(std::string_view path) const {
    const std::string target = linkTarget(path);
    const auto devices = target.find("devices/");
    const bool leadsUp = devices != target.npos && devices != 0 &&
                         target.substr(0, devices).find_first_not_of("./") == std::string::npos;
    return leadsUp ? "/sys/" + target.substr(devices) : resolved(path).value;
}

Result<std::string> RootedFiles::resolved(std::string_view path) const {
    using Answer = Result<std::string>;
    const auto real = [](const std::string& name) {
        return std::unique_ptr<char, void (*)(void*)>(::realpath(name.c_str(), nullptr), std::free);
    };
    const auto found = real(full(path));
    if (!found) return Answer::failed(errorFromErrno(errno));
    if (isRunningSystem()) return {std::string(found.get())};
    const auto root = real(root_);
    std::string_view text = found.get();
    if (!root || !text.starts_with(root.get())) return Answer::failed(kFileNotFound);
    text.remove_prefix(std::string_view(root.get()).size());
    return {std::string(text)};
}

} // namespace orv::platform
