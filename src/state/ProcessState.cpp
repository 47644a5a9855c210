#include "state/ProcessState.h"

namespace orv {

ProcessState::~ProcessState() {
    for (auto action = exitList_.rbegin(); action != exitList_.rend(); ++action)
        (*action)();
    while (!slots_.empty())
        slots_.pop_back();
}

void ProcessState::atExit(void (*action)()) {
    std::lock_guard lock(mutex_);
    exitList_.push_back(action);
}

void* ProcessState::find(const void* key) const {
    for (const Slot& slot : slots_)
        if (slot.key == key) return slot.object.get();
    return nullptr;
}

ProcessState& ProcessState::current() {
    static ProcessState state;
    return state;
}

void ProcessState::renew() {
    // The exit list reaches its state through current(), so the old state dies where it stands.
    ProcessState& state = current();
    state.~ProcessState();
    new (&state) ProcessState();
}

} // namespace orv
