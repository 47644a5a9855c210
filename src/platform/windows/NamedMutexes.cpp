#include "platform/windows/processor/ProcessorServices.h"

#include <windows.h>

#include <memory>
#include <sddl.h>
#include <string>

namespace orv::platform {

namespace {

static_assert(WAIT_OBJECT_0 == kWaitOwned && WAIT_ABANDONED == kWaitAbandoned &&
              WAIT_TIMEOUT == kWaitTimeout && WAIT_FAILED == kWaitFailed);

HANDLE handleOf(MutexHandle mutex) {
    return reinterpret_cast<HANDLE>(mutex);
}

Result<MutexHandle> opened(HANDLE handle) {
    if (!handle) return Result<MutexHandle>::failed(::GetLastError());
    return {reinterpret_cast<MutexHandle>(handle)};
}

} // namespace

Result<MutexHandle> WindowsNamedMutexes::CreateMutexW(std::wstring_view name) {
    return opened(::CreateMutexW(nullptr, FALSE, std::wstring(name).c_str()));
}

Result<MutexHandle> WindowsNamedMutexes::CreateMutexForEveryone(std::wstring_view name) {
    // One entry: allow all access to a mutex to the world.
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x1F0001;;;WD)", SDDL_REVISION_1,
                                                                &descriptor, nullptr))
        return Result<MutexHandle>::failed(::GetLastError());
    const std::unique_ptr<void, HLOCAL(WINAPI*)(HLOCAL)> owned(descriptor, ::LocalFree);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    return opened(::CreateMutexW(&attributes, FALSE, std::wstring(name).c_str()));
}

Result<MutexHandle> WindowsNamedMutexes::OpenMutexW(std::uint32_t access, std::wstring_view name) {
    return opened(::OpenMutexW(access, FALSE, std::wstring(name).c_str()));
}

std::uint32_t WindowsNamedMutexes::WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) {
    return ::WaitForSingleObject(handleOf(mutex), milliseconds);
}

ErrorCode WindowsNamedMutexes::ReleaseMutex(MutexHandle mutex) {
    return ::ReleaseMutex(handleOf(mutex)) ? kSuccess : ::GetLastError();
}

void WindowsNamedMutexes::CloseHandle(MutexHandle mutex) {
    ::CloseHandle(handleOf(mutex));
}

} // namespace orv::platform
