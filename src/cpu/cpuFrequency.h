#pragma once

#include <cstdint>

namespace orv {

class CCpuInfo {
  public:
    /// The base clock in MHz, timed against two clocks: over half a second of spinning at the highest
    /// priority.
    static std::uint32_t GetCPUSpeed();
};

/// Nearest integer, ties to the even one.
double RoundHalfEven(double x);

} // namespace orv
