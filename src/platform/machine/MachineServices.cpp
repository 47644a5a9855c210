#include "platform/machine/MachineSystem.h"
#include "platform/text.h"

namespace orv::platform {

namespace {

class DescribedService : public SystemService {
  public:
    explicit DescribedService(Requests& requests) : requests_(requests) {}
    Result<std::uint32_t> state() override {
        if (const ErrorCode error = requests_.enter("serviceState"))
            return Result<std::uint32_t>::failed(error);
        return {kServiceRunning};
    }
    ErrorCode start() override { return requests_.enter("startService"); }

  private:
    Requests& requests_;
};

} // namespace

Result<std::unique_ptr<SystemService>> MachineSystemServices::open(std::wstring_view name,
                                                                   std::uint32_t managerAccess,
                                                                   std::uint32_t serviceAccess) {
    const auto detail = [&] {
        return wideToUtf8(name) + " " + std::to_string(managerAccess) + " " + std::to_string(serviceAccess);
    };
    if (const ErrorCode error = requests_.enter("openService", detail))
        return Result<std::unique_ptr<SystemService>>::failed(error);
    return {std::make_unique<DescribedService>(requests_)};
}

ErrorCode MachineSystemServices::runInShell(std::wstring_view program, std::wstring_view parameters) {
    return requests_.enter("runInShell", [&] { return wideToUtf8(program) + " " + wideToUtf8(parameters); });
}

} // namespace orv::platform
