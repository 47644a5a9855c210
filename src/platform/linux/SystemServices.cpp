#include "platform/linux/Services.h"

namespace orv::platform {

namespace {

constexpr ErrorCode kServiceDoesNotExist = 1060; // ERROR_SERVICE_DOES_NOT_EXIST

class RunningService : public SystemService {
  public:
    Result<std::uint32_t> state() override { return {kServiceRunning}; }
    ErrorCode start() override { return kSuccess; }
};

} // namespace

Result<std::unique_ptr<SystemService>> LinuxSystemServices::open(std::wstring_view name, std::uint32_t,
                                                                 std::uint32_t) {
    if (name != L"Winmgmt") return Result<std::unique_ptr<SystemService>>::failed(kServiceDoesNotExist);
    return {std::make_unique<RunningService>()};
}

ErrorCode LinuxSystemServices::runInShell(std::wstring_view, std::wstring_view) {
    return kNotSupported;
}

} // namespace orv::platform
