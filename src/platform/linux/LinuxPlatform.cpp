#include "platform/linux/LinuxPlatform.h"

#include "platform/Cancellation.h"
#include "state/HeldMutex.h"

#include <atomic>
#include <pthread.h>

namespace orv::platform {

namespace {

/// The system forgets these handlers when the library is unloaded.
void watchForks() {
    constinit static std::atomic<bool> watching{false};
    if (watching.exchange(true)) return;
    const auto before = [] {
        const Cancellation former = holdCancellation(); // it waits
        ForkSteps::before();
        restoreCancellation(former);
    };
    ::pthread_atfork(before, ForkSteps::afterInParent, [] {
        ForkSteps::afterInChild();
        forgetGuardsOfOtherThreads();
    });
}

} // namespace

std::unique_ptr<Platform> makeHostPlatform() {
    watchForks();
    return std::make_unique<LinuxPlatform>();
}

} // namespace orv::platform
