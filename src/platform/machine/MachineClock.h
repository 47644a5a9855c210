#pragma once

#include "platform/Clock.h"

namespace orv::platform {

class Node;

/// The clock of a described machine. It stands still but for a small step at each look, so that a busy wait
/// ends, and for what sleeping and the tool move it: nothing waits in real time.
class MachineClock : public Clock {
  public:
    /// "clock": {"stepNs": N} with N from 1 to a million; 1000 without it.
    void load(const Node& root);

    std::int64_t monotonicNs() override { return now_ += step_; }
    void sleepNs(std::int64_t nanoseconds) override { now_ += nanoseconds; }
    /// The time without taking a step, for what changes over time.
    std::int64_t now() const { return now_; }

  private:
    std::int64_t now_ = 0;
    std::int64_t step_ = 1000;
};

} // namespace orv::platform
