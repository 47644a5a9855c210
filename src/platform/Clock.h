#pragma once

#include <cstdint>

namespace orv::platform {

class Clock {
  public:
    virtual ~Clock() = default;

    /// Nanoseconds since a fixed moment; never goes back.
    virtual std::int64_t monotonicNs() = 0;

    /// Gives up the processor for at least this long.
    virtual void sleepNs(std::int64_t nanoseconds) = 0;
};

} // namespace orv::platform
