#include "platform/windows/Services.h"

#include <windows.h>

#include <memory>
#include <shellapi.h>
#include <string>
#include <type_traits>

namespace orv::platform {

namespace {

struct ServiceCloser {
    void operator()(SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

class OpenService : public SystemService {
  public:
    OpenService(ServiceHandle manager, ServiceHandle service)
        : manager_(std::move(manager)), service_(std::move(service)) {}

    Result<std::uint32_t> state() override {
        SERVICE_STATUS status{};
        if (!::QueryServiceStatus(service_.get(), &status))
            return Result<std::uint32_t>::failed(::GetLastError());
        return {status.dwCurrentState};
    }
    ErrorCode start() override {
        return ::StartServiceW(service_.get(), 0, nullptr) ? kSuccess : ::GetLastError();
    }

  private:
    ServiceHandle manager_;
    ServiceHandle service_; // closed first
};

} // namespace

Result<std::unique_ptr<SystemService>> WindowsSystemServices::open(std::wstring_view name,
                                                                   std::uint32_t managerAccess,
                                                                   std::uint32_t serviceAccess) {
    using Answer = Result<std::unique_ptr<SystemService>>;
    ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, managerAccess));
    if (!manager) return Answer::failed(::GetLastError());
    ServiceHandle service(::OpenServiceW(manager.get(), std::wstring(name).c_str(), serviceAccess));
    if (!service) return Answer::failed(::GetLastError());
    return {std::make_unique<OpenService>(std::move(manager), std::move(service))};
}

ErrorCode WindowsSystemServices::runInShell(std::wstring_view program, std::wstring_view parameters) {
    constexpr INT_PTR lastFailure = 32; // of ShellExecute
    const auto result = reinterpret_cast<INT_PTR>(::ShellExecuteW(
        nullptr, nullptr, std::wstring(program).c_str(), std::wstring(parameters).c_str(), nullptr, SW_HIDE));
    return result > lastFailure ? kSuccess : static_cast<ErrorCode>(result);
}

} // namespace orv::platform
