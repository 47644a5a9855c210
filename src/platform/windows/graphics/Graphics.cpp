#include "platform/windows/graphics/Graphics.h"

#include <windows.h>

#include <string>

namespace orv::platform {

namespace {

LibraryFunction functionOf(HMODULE library, const char* name) {
    return reinterpret_cast<LibraryFunction>(::GetProcAddress(library, name));
}

} // namespace

Result<Library> WindowsLibraries::load(std::wstring_view name) {
    const HMODULE library = ::LoadLibraryW(std::wstring(name).c_str());
    if (!library) return Result<Library>::failed(::GetLastError());
    return {library};
}

Result<LibraryFunction> WindowsLibraries::function(Library library, const char* name) {
    const LibraryFunction found = functionOf(static_cast<HMODULE>(library), name);
    if (!found) return Result<LibraryFunction>::failed(::GetLastError());
    return {found};
}

Result<LibraryFunction> WindowsGraphicsSdk::function(std::uint32_t interfaceId) {
    if (!query_) {
        const HMODULE library = ::LoadLibraryExW(L"nvapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
        if (library) query_ = reinterpret_cast<QueryInterface>(functionOf(library, "nvapi_QueryInterface"));
        if (!query_) return Result<LibraryFunction>::failed(kModuleNotFound);
    }
    const LibraryFunction found = query_(interfaceId);
    if (!found) return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {found};
}

ErrorCode WindowsProcesses::runAndWait(const std::wstring& program) {
    STARTUPINFOW start{};
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                          nullptr, &start, &process))
        return ::GetLastError();
    ::WaitForSingleObject(process.hProcess, INFINITE);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return kSuccess;
}

} // namespace orv::platform
