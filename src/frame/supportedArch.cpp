#include "frame/supportedArch.h"

#include "frame/lastError.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"

namespace orv::frame {

bool isSupportedArch() {
    using Outcome = platform::Architecture::Outcome;
    const platform::Architecture machine = platform::current().systemFacts().architecture();
    const char* reason = nullptr;
    if (machine.outcome == Outcome::noSystemLibrary)
        reason = "Load kernel32.dll failed";
    else if (machine.outcome == Outcome::callFailed)
        reason = "Call IsWow64Process2 failed";
    else if (machine.outcome == Outcome::answered && (machine.nativeMachine == platform::kMachineArm64 ||
                                                      machine.processMachine == platform::kMachineArm))
        reason = "Not x86 arch";
    if (reason) setLastError(reason);
    return reason == nullptr;
}

} // namespace orv::frame
