#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

/// Values of the device statistics (ACS-4, 9.5). Each is there only where the drive supports it and says that
/// it is valid, and a count only where it is a count and no normalised value.
struct DeviceStatistics {
    std::optional<std::uint32_t> powerOnResets;         ///< page 1, byte 8
    std::optional<std::uint32_t> powerOnHours;          ///< page 1, byte 16
    std::optional<std::uint64_t> logicalSectorsWritten; ///< page 1, byte 24
    std::optional<std::uint64_t> logicalSectorsRead;    ///< page 1, byte 40
    std::optional<std::int32_t> temperature;            ///< page 5, byte 8, degrees Celsius
    std::optional<std::uint32_t> percentageUsed;        ///< page 7, byte 8; may be above 100
    std::string fault;                                  ///< what is wrong with the log; empty for a good one
};

/// Reads the pages that the list in page 0 names. A page that is missing or is another one counts as not
/// there, and `fault` says so.
DeviceStatistics readDeviceStatistics(std::span<const std::uint8_t> log);

/// Which pages the list in page 0 names of those that are read; none for a page that is no such list.
std::vector<std::uint8_t> listedPages(std::span<const std::uint8_t> list);

} // namespace orv
