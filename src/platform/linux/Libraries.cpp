#include "platform/linux/Libraries.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/text.h"

#include <cerrno>
#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orv::platform {

Result<Library> LinuxLibraries::load(std::wstring_view name) {
    if (name == L"atiadlxx.dll" && amdGpus_.findCards()) {
        amdGpus_.serve();
        return {&amdGpus_};
    }
    // A captured tree has no libraries that this process could load.
    Library library = files_.isRunningSystem() ? ::dlopen(wideToUtf8(name).c_str(), RTLD_NOW) : nullptr;
    if (!library) return Result<Library>::failed(kModuleNotFound);
    return {library};
}

Result<LibraryFunction> LinuxLibraries::function(Library library, const char* name) {
    const auto found = library == &amdGpus_ ? servedAdlFunction(name)
                                            : reinterpret_cast<LibraryFunction>(::dlsym(library, name));
    if (!found) return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {found};
}

ErrorCode LinuxProcesses::runAndWait(const std::wstring& program) {
    std::string path = wideToUtf8(program);
    char* const arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    if (const int error = ::posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ))
        return errorFromErrno(error);
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return kSuccess;
}

} // namespace orv::platform
