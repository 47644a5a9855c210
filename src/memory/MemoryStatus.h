#pragma once

#include <cstdint>

namespace orv::memory {

/// Answer to the memory load query. Sizes are bytes.
struct MemoryStatus {
    std::uint32_t memLoad = 0; ///< Percentage of physical memory in use, 0 to 100.
    std::uint64_t totalPhys = 0;
    std::uint64_t availPhys = 0;
    std::uint64_t totalPageFile = 0; ///< Commit limit.
    std::uint64_t availPageFile = 0;
    std::uint64_t totalVirtual = 0; ///< User address space of the process.
    std::uint64_t availVirtual = 0;
    std::uint64_t availExtendedVirtual = 0;
};

/// Throws HWException when the system does not answer.
MemoryStatus getMemoryStatus();

} // namespace orv::memory
