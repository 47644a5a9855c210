#pragma once

#include "platform/servers/ManagementRows.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orv::platform {

// SMBIOS structures (DMTF DSP0134). Firmware wrote them: nothing outside of the given bytes is read, whatever
// they say.

/// One structure: its formatted part, and the texts behind it.
class SmbiosStructure {
  public:
    SmbiosStructure(std::span<const std::uint8_t> formatted, std::span<const std::uint8_t> texts)
        : formatted_(formatted), texts_(texts) {}

    std::uint8_t type() const { return formatted_[0]; }
    /// True when a field of so many bytes lies inside the formatted part; older firmware has shorter ones.
    bool has(std::size_t at, std::size_t size) const { return at + size <= formatted_.size(); }
    std::uint32_t byte(std::size_t at) const { return number(at, 1); }
    std::uint32_t word(std::size_t at) const { return number(at, 2); }
    std::uint32_t dword(std::size_t at) const { return number(at, 4); }
    /// The text whose number, counted from 1, stands in a byte; empty when there is none.
    std::string_view text(std::size_t at) const;

  private:
    /// Little-endian; 0 where the structure is too short.
    std::uint32_t number(std::size_t at, std::size_t size) const;

    std::span<const std::uint8_t> formatted_;
    std::span<const std::uint8_t> texts_;
};

/// The structures of a table up to its end marker or the first one that does not lie inside the table. They
/// refer to the table's bytes.
std::vector<SmbiosStructure> smbiosStructures(std::span<const std::uint8_t> table);

/// The table inside a dump that starts with an entry point, as `dmidecode --dump-bin` writes it; other bytes
/// are a table themselves.
std::span<const std::uint8_t> smbiosTableOfDump(std::span<const std::uint8_t> dump);

/// The rows of Win32_PhysicalMemory: one for each fitted memory device (type 17). A value that the firmware
/// does not know is null, as on Windows; texts stand as the firmware wrote them.
std::vector<ManagementColumns> physicalMemoryRows(std::span<const std::uint8_t> table);

} // namespace orv::platform
