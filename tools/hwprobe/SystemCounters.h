#pragma once

#include "Exports.h"

namespace tool {

/// As `run`, for whoever wants the value whoever tells it: a processor that the library has no class for, so
/// that every export fails, has its load and clock by the system's counters in `bySystem`.
Outcome read(const Export& entry, std::uint32_t index = 0);

/// "the system's counters": how such a value is marked.
inline constexpr char kBySystem[] = "the system's counters";

} // namespace tool
