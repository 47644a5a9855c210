#pragma once

#include "cpu/cpu_info.h"

#include <cstdint>

namespace orv {

/// The chipset's SMBus host controller, reached through its I/O ports. Addresses are the 8-bit form, with the
/// direction in bit 0.
class SMBus {
  public:
    /// Finds the controller and switches it on; throws HWException when there is none.
    SMBus();

    /// The byte at a device's register; 0xFF when it cannot be read.
    std::uint8_t readSlaveData(std::uint8_t address, std::uint8_t command);
    /// Whether the device took the byte.
    bool writeSlaveData(std::uint8_t address, std::uint8_t command, std::uint8_t data);

  private:
    enum class Attempt { taken, deviceError, timeout };

    void findIntel();
    void findAmd();
    std::uint8_t addressOfWrite(std::uint8_t address) const;
    Attempt pollWrite(std::uint8_t& last);

    std::uint8_t readPort(std::uint16_t offset);
    void writePort(std::uint16_t offset, std::uint8_t value);
    /// Reads the status and writes it back, which clears the bits that were set.
    std::uint8_t acknowledgeStatus();

    std::uint16_t base_ = 0;
    std::uint32_t pciAddress_ = 0; ///< Set on Intel only.
    CpuVendor vendor_ = CpuVendor::unknown;
};

} // namespace orv
