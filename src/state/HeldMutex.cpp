#include "state/HeldMutex.h"

#include <chrono>
#include <thread>

namespace orv {

namespace {

// None of these has a constructor or a destructor that runs: a destructor of a thread's variable would keep
// the library loaded for as long as the thread lives.
struct Held {
    HeldMutex* innermost = nullptr;
    int count = 0;
    int brief = 0;
};
constinit thread_local Held held;

constinit std::atomic<std::uint32_t> process{1};     // the generation of this process
constinit std::atomic<std::int32_t> briefHolders{0}; // threads that hold a brief mutex, or are about to
constinit std::atomic<std::int32_t> forksUnderWay{0};

void waitForForks() {
    do {
        briefHolders.fetch_sub(1);
        if (const std::int32_t forks = forksUnderWay.load()) forksUnderWay.wait(forks);
        briefHolders.fetch_add(1);
    } while (forksUnderWay.load() != 0);
}

/// A thread that holds a brief mutex passes: the fork waits for it.
inline void enterBrief() {
    if (held.brief++ > 0) return;
    briefHolders.fetch_add(1);
    if (forksUnderWay.load() != 0) waitForForks();
}

inline void leaveBrief() {
    if (--held.brief == 0) briefHolders.fetch_sub(1);
}

// A log line on its way to a host that does not read its pipe must not stop the host's fork.
constexpr std::chrono::microseconds kForkPoll{50};
constexpr int kForkPolls = 20'000;

} // namespace

inline bool HeldMutex::take() noexcept {
    const std::uint32_t self = process.load(std::memory_order_relaxed);
    std::uint32_t holder = holder_.load(std::memory_order_relaxed);
    while (holder != self)
        if (holder_.compare_exchange_weak(holder, self, std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
            outer_ = held.innermost;
            held.innermost = this;
            ++held.count;
            return true;
        }
    return false;
}

void HeldMutex::lock() noexcept {
    if (use_ == Use::brief) enterBrief();
    while (!take())
        holder_.wait(process.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

bool HeldMutex::try_lock() noexcept {
    if (use_ == Use::brief) enterBrief();
    if (take()) return true;
    if (use_ == Use::brief) leaveBrief();
    return false;
}

void HeldMutex::unlock() noexcept {
    HeldMutex** link = &held.innermost;
    while (*link != this)
        link = &(*link)->outer_;
    *link = outer_;
    --held.count;
    const Use use = use_; // whoever takes it next may destroy it
    holder_.store(0, std::memory_order_release);
    holder_.notify_one();
    if (use == Use::brief) leaveBrief();
}

int HeldMutex::heldCount() noexcept {
    return held.count;
}

void HeldMutex::releaseDownTo(int count) noexcept {
    while (held.count > count)
        held.innermost->unlock();
    // What the ended call was about to take is not its any more.
    int left = 0;
    for (const HeldMutex* mine = held.innermost; mine; mine = mine->outer_)
        left += mine->use_ == Use::brief ? 1 : 0;
    while (held.brief > left)
        leaveBrief();
}

void ForkSteps::before() noexcept {
    forksUnderWay.fetch_add(1);
    const std::int32_t own = held.brief > 0 ? 1 : 0;
    for (int poll = 0; poll < kForkPolls && briefHolders.load() > own; ++poll)
        std::this_thread::sleep_for(kForkPoll);
}

void ForkSteps::afterInParent() noexcept {
    forksUnderWay.fetch_sub(1);
    forksUnderWay.notify_all();
}

void ForkSteps::afterInChild() noexcept {
    const std::uint32_t next = process.fetch_add(1) + 1;
    for (HeldMutex* mine = held.innermost; mine; mine = mine->outer_)
        mine->holder_.store(next);
    briefHolders.store(held.brief > 0 ? 1 : 0);
    forksUnderWay.store(0);
}

std::uint32_t ForkSteps::generation() noexcept {
    return process.load(std::memory_order_relaxed);
}

} // namespace orv
