#pragma once

#include "platform/Result.h"
#include "platform/records/ProcessorRecords.h"

#include <bitset>
#include <cstdint>

namespace orv::platform {

struct CpuidRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// One bit a logical processor. A 32-bit Windows process sees the first 32.
using AffinityMask = std::bitset<1024>;

class Processor {
  public:
    virtual ~Processor() = default;

    /// The instruction, with ECX 0, on whichever logical processor the thread is.
    virtual CpuidRegisters cpuid(std::uint32_t leaf) = 0;
    virtual std::uint64_t timeStampCounter() = 0;

    /// Whether the system has GetLogicalProcessorInformation; the cause when it has not.
    virtual ErrorCode findLogicalProcessorInformation() = 0;
    /// Fills `records` and sets `length` to the bytes used. When `length` comes with too few bytes, it is
    /// set to the bytes needed and the answer is kInsufficientBuffer.
    virtual ErrorCode GetLogicalProcessorInformation(LogicalProcessorRecord* records,
                                                     std::uint32_t& length) = 0;

    /// Binds this thread to `mask` and gives the mask before.
    virtual Result<AffinityMask> SetThreadAffinityMask(const AffinityMask& mask) = 0;
};

} // namespace orv::platform
