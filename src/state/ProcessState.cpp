#include "state/ProcessState.h"

namespace orv {

ProcessState::~ProcessState() {
    for (auto action = exitList_.rbegin(); action != exitList_.rend(); ++action)
        (*action)();
    while (latest_)
        latest_ = std::move(latest_->older);
}

void ProcessState::atExit(void (*action)()) {
    std::lock_guard lock(mutex_);
    exitList_.push_back(action);
}

void* ProcessState::find(const void* key) {
    std::lock_guard lock(mutex_);
    return findLocked(key);
}

void* ProcessState::findLocked(const void* key) const {
    for (const Slot* slot = latest_.get(); slot; slot = slot->older.get())
        if (slot->key == key) return slot->object.get();
    return nullptr;
}

void* ProcessState::add(Slot slot) {
    auto fresh = std::make_unique<Slot>(std::move(slot));
    std::lock_guard lock(mutex_);
    if (void* found = findLocked(fresh->key)) return found;
    fresh->older = std::move(latest_);
    latest_ = std::move(fresh);
    return latest_->object.get();
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
