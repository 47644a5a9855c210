#pragma once

namespace orv::platform {

// A host may cancel its thread (pthread_cancel) while it is in a call: each wait and each file operation
// could then unwind the thread out of it, through frames that nothing may leave. Neither of the two functions
// has anything to destroy, so that a thread which is cancelled at any instruction can be unwound through
// them.

/// What a thread had chosen.
struct Cancellation {
    int state = 0;
    int type = 0;
};

/// Holds cancellation of this thread back; gives what restoreCancellation takes.
Cancellation holdCancellation();
/// A cancellation that was asked for meanwhile acts from here on: at the host's next cancellation point, or
/// at once where the host has chosen that.
void restoreCancellation(Cancellation former);

} // namespace orv::platform
