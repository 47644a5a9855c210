#include "disk_engine/search/SystemServiceStart.h"

#include "disk_engine/DebugFormat.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/SystemServices.h"

#include <cstdint>
#include <optional>

namespace orv {

namespace {

constexpr std::uint32_t kGenericExecute = 0x20000000;       // of the service manager
constexpr std::uint32_t kQueryStatus = 0x4;                 // SERVICE_QUERY_STATUS
constexpr std::uint32_t kQueryAndStart = 0x14;              // and SERVICE_START
constexpr std::uint32_t kFirstWaits[] = {0, 100, 200, 300}; // milliseconds
constexpr int kLaterStarts = 11;
constexpr std::uint32_t kLaterWait = 500; // milliseconds

void wait(std::uint32_t milliseconds) {
    constexpr std::int64_t nanoseconds = 1'000'000;
    platform::current().clock().sleepNs(milliseconds * nanoseconds);
}

/// Waits a little longer before each look.
bool runsSoon(platform::SystemService& service) {
    auto state = service.state();
    for (const std::uint32_t milliseconds : kFirstWaits) {
        if (!state.ok()) return false;
        if (state.value == platform::kServiceRunning) return true;
        wait(milliseconds);
        state = service.state();
    }
    return false;
}

/// Starts it again and again: a service that was disabled takes its new setting late.
bool runsLater(platform::SystemService& service) {
    auto state = service.state();
    for (int start = 1; state.ok(); ++start) {
        service.start();
        if (start == kLaterStarts) return false;
        if (state.value == platform::kServiceRunning) return true;
        wait(kLaterWait);
        state = service.state();
    }
    return false;
}

} // namespace

bool isServiceRunning(std::wstring_view name) {
    const auto service = platform::current().systemServices().open(name, kGenericExecute, kQueryStatus);
    if (!service.ok()) return false;
    const auto state = service.value->state();
    return state.ok() && state.value == platform::kServiceRunning;
}

bool startService(std::wstring_view name) {
    platform::SystemServices& services = platform::current().systemServices();
    const auto service = services.open(name, kGenericExecute, kQueryAndStart);
    if (!service.ok()) return false;
    const auto state = service.value->state();
    if (!state.ok()) return false;
    if (state.value == platform::kServiceRunning) return true;
    DebugFormat(L"sStatus.dwCurrentState:{:08X}", state.value);
    service.value->start();
    if (runsSoon(*service.value)) return true;
    services.runInShell(L"sc", L"config " + std::wstring(name) + L" start= auto");
    return runsLater(*service.value);
}

} // namespace orv
