#pragma once

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

    /// The one object of type T. Safe across threads.
    template <class T>
    T& get() {
        std::lock_guard lock(mutex_);
        static constexpr char key = 0;
        if (void* found = find(&key)) return *static_cast<T*>(found);
        auto made = std::make_shared<T>();
        slots_.push_back({&key, made});
        return *made;
    }

    /// The exit list: run in reverse order before the objects die.
    void atExit(void (*action)());

    static ProcessState& current();
    /// Ends the process's state as an unload would and begins a new one.
    static void renew();

  private:
    struct Slot {
        const void* key;
        std::shared_ptr<void> object;
    };
    void* find(const void* key) const;

    std::recursive_mutex mutex_; // an object's maker may ask for another one
    std::vector<Slot> slots_;
    std::vector<void (*)()> exitList_;
};

/// The process's object of type T.
template <class T>
T& processWide() {
    return ProcessState::current().get<T>();
}

/// A value made on first use, once. When the maker throws, the value counts as not made and the next call
/// runs the maker again. Safe across threads.
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
    std::mutex mutex_;
    std::optional<T> value_;
};

} // namespace orv
