#include "platform/machine/MachineSystem.h"
#include "platform/machine/Node.h"
#include "platform/servers/ManagementRows.h"
#include "platform/text.h"

namespace orv::platform {

namespace {

constexpr ErrorCode kServiceAlreadyRunning = 1056; // ERROR_SERVICE_ALREADY_RUNNING
constexpr ErrorCode kServiceDoesNotExist = 1060;   // ERROR_SERVICE_DOES_NOT_EXIST
constexpr std::uint32_t kServiceStartPending = 2;  // SERVICE_START_PENDING

MachineService readService(const Node& node, const std::string& name) {
    constexpr std::uint64_t largestState = 7;
    constexpr std::uint64_t longest = 86'400'000;
    constexpr std::uint64_t largestCode = 0xFFFFFFFF;
    constexpr std::int64_t nsPerMillisecond = 1'000'000;
    MachineService service{.name = utf8ToWide(name)};
    service.state = static_cast<std::uint32_t>(node.number("state", largestState, service.state));
    if (service.state == 0) node.at("state").fail("counts from 1 (stopped) to 7 (paused)");
    if (node.has("startsAfterMilliseconds"))
        service.startsAfterNs =
            static_cast<std::int64_t>(node.number("startsAfterMilliseconds", longest)) * nsPerMillisecond;
    if (service.state == kServiceStartPending) service.askedAtNs = 0;
    service.startError = static_cast<ErrorCode>(node.number("startError", largestCode, kSuccess));
    service.openError = static_cast<ErrorCode>(node.number("openError", largestCode, kSuccess));
    node.done();
    return service;
}

class DescribedService : public SystemService {
  public:
    DescribedService(MachineService& service, Requests& requests, const MachineClock& clock)
        : service_(service), requests_(requests), clock_(clock) {}
    Result<std::uint32_t> state() override {
        if (const ErrorCode error = requests_.enter("serviceState"))
            return Result<std::uint32_t>::failed(error);
        return {service_.stateAt(clock_.now())};
    }
    ErrorCode start() override {
        if (const ErrorCode error = requests_.enter("startService")) return error;
        if (service_.startError != kSuccess) return service_.startError;
        if (service_.askedAtNs || service_.state == kServiceRunning) return kServiceAlreadyRunning;
        service_.askedAtNs = clock_.now();
        return kSuccess;
    }

  private:
    MachineService& service_;
    Requests& requests_;
    const MachineClock& clock_;
};

} // namespace

std::uint32_t MachineService::stateAt(std::int64_t nowNs) const {
    if (!askedAtNs) return state;
    return startsAfterNs && nowNs - *askedAtNs >= *startsAfterNs ? kServiceRunning : kServiceStartPending;
}

MachineSystemServices::MachineSystemServices(const Node& root, Requests& requests, const MachineClock& clock)
    : requests_(requests), clock_(clock) {
    if (const auto section = root.find("services"))
        for (const std::string& name : section->keys())
            services_.push_back(readService(section->object(name), name));
    if (!find(kManagementService)) services_.push_back({.name = std::wstring(kManagementService)});
}

const MachineService* MachineSystemServices::find(std::wstring_view name) const {
    for (const MachineService& service : services_)
        if (sameName(service.name, name)) return &service;
    return nullptr;
}

bool MachineSystemServices::isRunning(std::wstring_view name) const {
    const MachineService* service = find(name);
    return service && service->stateAt(clock_.now()) == kServiceRunning;
}

Result<std::unique_ptr<SystemService>> MachineSystemServices::open(std::wstring_view name,
                                                                   std::uint32_t managerAccess,
                                                                   std::uint32_t serviceAccess) {
    using Answer = Result<std::unique_ptr<SystemService>>;
    const auto detail = [&] {
        return wideToUtf8(name) + " " + std::to_string(managerAccess) + " " + std::to_string(serviceAccess);
    };
    if (const ErrorCode error = requests_.enter("openService", detail)) return Answer::failed(error);
    for (MachineService& service : services_) {
        if (!sameName(service.name, name)) continue;
        if (service.openError != kSuccess) return Answer::failed(service.openError);
        return {std::make_unique<DescribedService>(service, requests_, clock_)};
    }
    return Answer::failed(kServiceDoesNotExist);
}

ErrorCode MachineSystemServices::runInShell(std::wstring_view program, std::wstring_view parameters) {
    return requests_.enter("runInShell", [&] { return wideToUtf8(program) + " " + wideToUtf8(parameters); });
}

} // namespace orv::platform
