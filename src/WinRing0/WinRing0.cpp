#include "WinRing0/WinRing0.h"

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Ring0.h"
#include "state/ProcessState.h"

namespace orv {

namespace {

constexpr int kReady = 0;
constexpr int kUnknownStatus = 9;
constexpr int kNeverStarted = 11;
constexpr int kReleased = 12;

struct Ring0Process {
    int state = kNeverStarted;
};

int& state() {
    return processWide<Ring0Process>().state;
}

/// A failure is only told: whether the component is ready, its status says.
void InitOls() {
    log::entry(winRing0Logger, L"InitOls");
    const auto error = platform::current().ring0().InitializeOls();
    if (error != platform::kSuccess)
        log::warn(winRing0Logger, L"InitializeOls failed, describe: {}", getSystemErrorText(error));
}

void CheckDllStatus() {
    log::entry(winRing0Logger, L"CheckDllStatus");
    const auto answer = platform::current().ring0().GetDllStatus();
    state() = answer.status <= 5 ? static_cast<int>(answer.status) : kUnknownStatus;
    switch (answer.status) {
    case 0:
        return;
    case 1:
        throwHW(L"DLL Status Error: UNSUPPORTED_PLATFORM");
    case 2:
        throwHW(L"DLL Status Error: DRIVER_NOT_LOADED");
    case 3:
        throwHW(L"DLL Status Error: DRIVER_NOT_FOUND");
    case 4:
        throwHW(L"DLL Status Error: DRIVER_UNLOADED");
    case 5:
        throwHW(L"DLL Status Error: DRIVER_NOT_LOADED_ON_NETWORK");
    default:
        throwHW(L"DLL Status Error: UNKNOWN_ERROR, {}", getSystemErrorText(answer.cause));
    }
}

} // namespace

int ring0State() {
    return state();
}

void WinRing0Init() {
    log::entry(winRing0Logger, L"orv::WinRing0Init");
    if (state() == kReady) return;
    if (state() == kReleased) throwHW(L"WinRing0 has been released");
    if (state() == kNeverStarted) InitOls();
    CheckDllStatus();
    ProcessState::current().atExit(WinRing0Release);
    log::info(winRing0Logger, L"WinRing0Init: Ok");
}

void WinRing0Release() {
    log::entry(winRing0Logger, L"orv::WinRing0Release");
    if (state() != kReady) {
        log::info(winRing0Logger, L"releaseOls: Not init");
        return;
    }
    platform::current().ring0().releaseOls();
    state() = kReleased;
    log::info(winRing0Logger, L"releaseOls: Ok");
}

} // namespace orv
