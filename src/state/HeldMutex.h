#pragma once

#include <atomic>
#include <cstdint>

namespace orv {

/// The mutex of the whole library. A hardware fault ends a guarded call by a jump that runs no destructor,
/// and a forked child lacks the threads that held a lock in its parent; neither may leave a lock held for
/// ever.
///
/// Each thread has a list of the mutexes that it holds, so that a fault trap can release what the ended call
/// took. A mutex that a thread of an earlier process held counts as free.
class HeldMutex {
  public:
    enum class Use {
        brief,   // held for moments: a fork waits until nobody holds one, so the child finds whole data
        lasting, // held while a value is made, which may take seconds: the child makes the value anew
    };

    HeldMutex() noexcept = default;
    constexpr explicit HeldMutex(Use use) noexcept : use_(use) {}
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;

    void lock() noexcept;
    bool try_lock() noexcept;
    /// Only on the thread that locked it, in any order.
    void unlock() noexcept;

    /// How many mutexes this thread holds.
    static int heldCount() noexcept;
    /// Releases the mutexes of this thread, the latest first, until it holds `count`.
    static void releaseDownTo(int count) noexcept;

  private:
    friend struct ForkSteps;

    bool take() noexcept;

    std::atomic<std::uint32_t> holder_{0}; // 0: free; otherwise the generation of the process that holds it
    Use use_ = Use::brief;
    HeldMutex* outer_ = nullptr; // the mutex that the holder took before this one
};

/// What has to be done around a fork, for a system that has it.
struct ForkSteps {
    static void before() noexcept;
    static void afterInParent() noexcept;
    static void afterInChild() noexcept;
    /// A number that no other process of the line of forks which led to this one has.
    static std::uint32_t generation() noexcept;
};

} // namespace orv
