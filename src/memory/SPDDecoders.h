#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::memory {

/// One SPD EEPROM, its pages end to end: 512 bytes of DDR4, 1024 bytes of DDR5.
using Spd = std::vector<std::uint8_t>;

// Offsets and meanings are those of the JEDEC SPD annexes for DDR4 (annex L) and DDR5. Each function throws
// HWException when the blob is too short or holds nothing usable.

/// Highest CAS latency that the module supports, in clock cycles.
std::uint32_t parseLargeCLDDR4(const Spd& spd);
std::uint32_t parseLargeCLDDR5(const Spd& spd);

/// CL-tRCD-tRP-tRAS in clock cycles, each with at least two digits.
std::wstring parseDDR4TimingBySPD(const Spd& spd);
std::wstring parseDDR5TimingBySPD(const Spd& spd);

/// Eight hexadecimal digits. That of DDR3 always throws.
std::wstring parseSerialNumberDDR3(const Spd& spd);
std::wstring parseSerialNumberDDR4(const Spd& spd);
std::wstring parseSerialNumberDDR5(const Spd& spd);

} // namespace orv::memory
