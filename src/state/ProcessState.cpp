#include "state/ProcessState.h"

namespace orv {

ProcessState::~ProcessState() {
    for (auto action = exitList_.rbegin(); action != exitList_.rend(); ++action)
        (*action)();
    while (const std::unique_ptr<Slot> slot{latest_.load()})
        latest_.store(slot->older.release());
}

void ProcessState::atExit(void (*action)()) {
    std::lock_guard lock(mutex_);
    exitList_.push_back(action);
}

void* ProcessState::find(const void* key) const noexcept {
    for (const Slot* slot = latest_.load(std::memory_order_acquire); slot; slot = slot->older.get())
        if (slot->key == key) return slot->object.get();
    return nullptr;
}

void* ProcessState::add(Slot slot) {
    auto fresh = std::make_unique<Slot>(std::move(slot));
    std::lock_guard lock(mutex_);
    if (void* found = find(fresh->key)) return found;
    void* object = fresh->object.get();
    fresh->older.reset(latest_.load(std::memory_order_relaxed));
    latest_.store(fresh.release(), std::memory_order_release);
    return object;
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
