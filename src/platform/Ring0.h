#pragma once

#include "platform/Result.h"

#include <cstdint>

namespace orv::platform {

/// bus << 8 | device << 3 | function
using pciAddress = std::uint32_t;

/// The state of the ring-0 component: 0 ready, 1 to 5 a known trouble, anything else unknown with its cause.
struct Ring0Status {
    std::uint32_t status = 0;
    ErrorCode cause = kSuccess;
};

/// What an operation with a result of its own gave. `result` is 1 on success and 0 on failure, `error` the
/// cause of a failure, `value` what was read.
struct Ring0Answer {
    std::uint32_t result = 0;
    ErrorCode error = kSuccess;
    std::uint64_t value = 0;

    static Ring0Answer read(std::uint64_t value) { return {1, kSuccess, value}; }
    static Ring0Answer failed(ErrorCode error) { return {0, error, 0}; }
};

/// Access to machine registers, PCI configuration space and I/O ports: the thirteen operations of the
/// component WinRing0.dll, under its names. Registers are byte offsets in the configuration space. The
/// operations without a result cannot tell a failure: a read that fails gives ones in every bit.
class Ring0 {
  public:
    virtual ~Ring0() = default;

    virtual Ring0Status GetDllStatus() = 0;
    virtual ErrorCode InitializeOls() = 0;
    virtual void releaseOls() = 0;

    /// A model specific register (EDX high, EAX low) of a logical processor of the mask, or of one near to it
    /// where the system has taken it off line.
    virtual Ring0Answer RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) = 0;

    virtual std::uint8_t ReadIoPortByte(std::uint16_t port) = 0;
    virtual void WriteIoPortByte(std::uint16_t port, std::uint8_t value) = 0;
    virtual void WriteIoPortWord(std::uint16_t port, std::uint16_t value) = 0;

    virtual std::uint8_t ReadPciConfigByte(pciAddress address, std::uint32_t reg) = 0;
    virtual std::uint16_t ReadPciConfigWord(pciAddress address, std::uint32_t reg) = 0;
    virtual std::uint32_t ReadPciConfigDword(pciAddress address, std::uint32_t reg) = 0;
    virtual void WritePciConfigDword(pciAddress address, std::uint32_t reg, std::uint32_t value) = 0;
    virtual Ring0Answer ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) = 0;
    virtual Ring0Answer WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) = 0;
};

} // namespace orv::platform
