#pragma once

#include <cstdint>

namespace orv::test {

/// From now on the `number`th allocation of this thread fails, and every later one too where `lasting`; 0
/// only counts. The tests' operator new does it.
void failAllocation(std::uint64_t number, bool lasting = false);

/// Allocations of this thread since failAllocation. Memory is plentiful again afterwards.
std::uint64_t endOfScarcity();

} // namespace orv::test
