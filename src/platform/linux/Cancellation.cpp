#include "platform/Cancellation.h"

#include <pthread.h>

namespace orv::platform {

// The type as well: glibc's signal for a thread that is to be cancelled at once does not look at the state,
// and may be on its way already.
Cancellation holdCancellation() {
    Cancellation former;
    ::pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &former.type);
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former.state);
    return former;
}

void restoreCancellation(Cancellation former) {
    ::pthread_setcancelstate(former.state, nullptr);
    ::pthread_setcanceltype(former.type, nullptr);
}

} // namespace orv::platform
