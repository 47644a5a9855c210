#include "platform/windows/Services.h"

#include <windows.h>

#include <memory>
#include <type_traits>

namespace orv::platform {

static_assert(sizeof(MEMORYSTATUSEX) == 64);

Result<MemoryFacts> WindowsSystemFacts::memoryStatus() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!::GlobalMemoryStatusEx(&status)) return Result<MemoryFacts>::failed(::GetLastError());
    MemoryFacts facts;
    facts.loadPercent = status.dwMemoryLoad;
    facts.totalPhys = status.ullTotalPhys;
    facts.availPhys = status.ullAvailPhys;
    facts.totalPageFile = status.ullTotalPageFile;
    facts.availPageFile = status.ullAvailPageFile;
    facts.totalVirtual = status.ullTotalVirtual;
    facts.availVirtual = status.ullAvailVirtual;
    facts.availExtendedVirtual = status.ullAvailExtendedVirtual;
    return {facts};
}

Architecture WindowsSystemFacts::architecture() {
    using Outcome = Architecture::Outcome;
    using IsWow64Process2 = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
    const std::unique_ptr<std::remove_pointer_t<HMODULE>, BOOL(WINAPI*)(HMODULE)> kernel(
        ::LoadLibraryW(L"kernel32.dll"), ::FreeLibrary);
    Architecture answer;
    if (!kernel) {
        answer.outcome = Outcome::noSystemLibrary;
        return answer;
    }
    const auto function = reinterpret_cast<IsWow64Process2>(
        reinterpret_cast<void*>(::GetProcAddress(kernel.get(), "IsWow64Process2")));
    if (!function) {
        answer.outcome = Outcome::noFunction;
        return answer;
    }
    USHORT process = 0;
    USHORT native = 0;
    if (!function(::GetCurrentProcess(), &process, &native)) answer.outcome = Outcome::callFailed;
    answer.processMachine = process;
    answer.nativeMachine = native;
    return answer;
}

Result<OsVersion> WindowsSystemFacts::osVersion() {
    using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    const HMODULE library = ::GetModuleHandleW(L"ntdll.dll"); // part of every process
    const auto function = library ? reinterpret_cast<RtlGetVersion>(
                                        reinterpret_cast<void*>(::GetProcAddress(library, "RtlGetVersion")))
                                  : nullptr;
    if (!function) return Result<OsVersion>::failed(kProcedureNotFound);
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (function(&version) != 0) return Result<OsVersion>::failed(kGeneralFailure);
    return {{version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber}};
}

std::wstring WindowsSystemFacts::mainModule() {
    std::wstring path(32767, L'\0'); // the longest path there is
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::wstring WindowsSystemFacts::windowsDirectory() {
    wchar_t path[MAX_PATH];
    const UINT length = ::GetWindowsDirectoryW(path, MAX_PATH);
    return length < MAX_PATH ? std::wstring(path, length) : std::wstring(); // else the room that it wants
}

void WindowsSystemFacts::showMessage(std::wstring_view title, std::wstring_view text) {
    ::MessageBoxW(nullptr, std::wstring(text).c_str(), std::wstring(title).c_str(), MB_OK);
}

std::wstring WindowsSystemFacts::errorText(ErrorCode code) {
    // The system's table, the buffer allocated by the system, inserts ignored (0x1300); the user's language.
    constexpr DWORD flags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;
    constexpr DWORD userLanguage = 0x400;
    wchar_t* buffer = nullptr;
    const DWORD length =
        ::FormatMessageW(flags, nullptr, code, userLanguage, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const std::unique_ptr<void, HLOCAL(WINAPI*)(HLOCAL)> owned(buffer, ::LocalFree);
    return length == 0 ? std::wstring() : std::wstring(buffer, length);
}

} // namespace orv::platform
