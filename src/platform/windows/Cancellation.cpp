#include "platform/Cancellation.h"

namespace orv::platform {

// There is none: TerminateThread ends a thread without unwinding it.
Cancellation holdCancellation() {
    return {};
}

void restoreCancellation(Cancellation) {}

} // namespace orv::platform
