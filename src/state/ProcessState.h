#pragma once

#include "state/HeldMutex.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace orv {

/// Owner of everything that lives from first use to unload: one object a type, made when first asked for.
/// Nothing else in the library is static, so a test begins a process anew by making a new owner.
class ProcessState {
  public:
    ProcessState() = default;
    ProcessState(const ProcessState&) = delete;
    ProcessState& operator=(const ProcessState&) = delete;
    ~ProcessState();

    /// The one object of type T. Safe across threads. Making a T must have no effect outside of it: of two
    /// threads that make one, the later one's is dropped.
    template <class T>
    T& get() {
        static constexpr char key = 0;
        if (void* found = find(&key)) return *static_cast<T*>(found);
        return *static_cast<T*>(add({&key, std::make_shared<T>(), nullptr}));
    }

    /// The exit list: run in reverse order before the objects die.
    void atExit(void (*action)());

    static ProcessState& current();
    /// Ends the process's state as an unload would and begins a new one.
    static void renew();

  private:
    /// A list that grows at its head by one store, so it is whole wherever a call may end, and is read
    /// without a lock: a slot stays until the owner dies.
    struct Slot {
        const void* key;
        std::shared_ptr<void> object;
        std::unique_ptr<Slot> older;
    };
    void* find(const void* key) const noexcept;
    void* add(Slot slot);

    HeldMutex mutex_;
    std::atomic<Slot*> latest_{nullptr}; // owned
    std::vector<void (*)()> exitList_;
};

/// The process's object of type T.
template <class T>
T& processWide() {
    return ProcessState::current().get<T>();
}

/// A value made on first use, once. When the maker throws, or a hardware fault ends it, the value counts as
/// not made and the next call runs the maker again. Safe across threads; a maker must not ask for its own
/// cell.
template <class T>
class OnceCell {
  public:
    template <class Maker>
    T& get(Maker&& make) {
        std::lock_guard lock(mutex_);
        if (!value_) value_.emplace(make());
        return *value_;
    }

  private:
    HeldMutex mutex_{HeldMutex::Use::lasting};
    std::optional<T> value_;
};

} // namespace orv
