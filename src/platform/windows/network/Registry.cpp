#include "platform/windows/drives/DeviceServices.h"

#include <windows.h>

#include <vector>

namespace orv::platform {

namespace {

class OpenKey : public RegistryKey {
  public:
    explicit OpenKey(HKEY key) : key_(key) {}
    ~OpenKey() override { ::RegCloseKey(key_); }

    Result<std::wstring> subkey(std::uint32_t index, std::uint32_t room) override {
        std::wstring name(room, L'\0');
        DWORD length = room;
        const LSTATUS status =
            ::RegEnumKeyExW(key_, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) return Result<std::wstring>::failed(static_cast<ErrorCode>(status));
        name.resize(length);
        return {name};
    }

    Result<RegistryValueInfo> valueInfo(std::wstring_view name) override {
        DWORD type = 0;
        DWORD size = 0;
        const LSTATUS status =
            ::RegQueryValueExW(key_, std::wstring(name).c_str(), nullptr, &type, nullptr, &size);
        if (status != ERROR_SUCCESS) return Result<RegistryValueInfo>::failed(static_cast<ErrorCode>(status));
        return {{type, size}};
    }

    ErrorCode value(std::wstring_view name, std::span<std::byte> data) override {
        auto size = static_cast<DWORD>(data.size());
        return static_cast<ErrorCode>(::RegQueryValueExW(key_, std::wstring(name).c_str(), nullptr, nullptr,
                                                         reinterpret_cast<BYTE*>(data.data()), &size));
    }

  private:
    HKEY key_;
};

class OpenToken : public ProcessToken {
  public:
    explicit OpenToken(HANDLE token) : token_(token) {}
    ~OpenToken() override { ::CloseHandle(token_); }

    ErrorCode enable(std::span<const PrivilegeId> privileges) override {
        std::vector<std::byte> memory(offsetof(TOKEN_PRIVILEGES, Privileges) +
                                      privileges.size() * sizeof(LUID_AND_ATTRIBUTES));
        auto* wanted = reinterpret_cast<TOKEN_PRIVILEGES*>(memory.data());
        wanted->PrivilegeCount = static_cast<DWORD>(privileges.size());
        for (std::size_t i = 0; i < privileges.size(); ++i) {
            auto& row = wanted->Privileges[i];
            row.Luid.LowPart = static_cast<DWORD>(privileges[i]);
            row.Luid.HighPart = static_cast<LONG>(privileges[i] >> 32);
            row.Attributes = SE_PRIVILEGE_ENABLED;
        }
        ::SetLastError(ERROR_SUCCESS);
        const BOOL called = ::AdjustTokenPrivileges(token_, FALSE, wanted, 0, nullptr, nullptr);
        const DWORD last = ::GetLastError();
        return !called && last == ERROR_SUCCESS ? kGeneralFailure : last;
    }

  private:
    HANDLE token_;
};

} // namespace

Result<std::unique_ptr<RegistryKey>> WindowsRegistry::open(std::wstring_view path, std::uint32_t access) {
    HKEY key = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, std::wstring(path).c_str(), 0, access, &key);
    if (status != ERROR_SUCCESS)
        return Result<std::unique_ptr<RegistryKey>>::failed(static_cast<ErrorCode>(status));
    return {std::make_unique<OpenKey>(key)};
}

Result<std::unique_ptr<ProcessToken>> WindowsPrivileges::openProcessToken() {
    HANDLE token = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
        return Result<std::unique_ptr<ProcessToken>>::failed(::GetLastError());
    return {std::make_unique<OpenToken>(token)};
}

Result<PrivilegeId> WindowsPrivileges::lookup(std::wstring_view name) {
    LUID id{};
    if (!::LookupPrivilegeValueW(nullptr, std::wstring(name).c_str(), &id))
        return Result<PrivilegeId>::failed(::GetLastError());
    return {static_cast<PrivilegeId>(static_cast<std::uint32_t>(id.HighPart)) << 32 | id.LowPart};
}

} // namespace orv::platform
