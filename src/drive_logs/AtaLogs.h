#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "drive_reading/DriveReading.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orv {

class CAtaSmart;

/// What an ATA drive gave of its standard logs and its status. Everything is empty for a drive that has none,
/// and for one whose path carries no such command.
struct AtaLogs {
    /// General purpose log 04h, device statistics (ACS-4, 9.5): the list of its pages, and behind it those of
    /// the pages 1, 5 and 7 that it lists, 512 bytes each. Whether their contents can be used tells
    /// readDeviceStatistics.
    std::vector<std::uint8_t> deviceStatistics;
    std::optional<bool> saysItFails; ///< SMART RETURN STATUS: a threshold has been exceeded
    std::string note; ///< one line: why something is missing that the drive claims to have; else empty

    /// For readingOf, as long as this lives.
    StandardLogs standard() const { return {deviceStatistics, saysItFails}; }
};

/// Reads the standard logs of drives by the paths of their records: only what the identify words and the log
/// directory say is there. What a drive refuses is not asked again as long as the reader lives, so a program
/// has one for its whole life. Not for several threads at once. Wakes a sleeping drive no more than the
/// reading of its record does.
class AtaLogReader {
  public:
    AtaLogReader();
    ~AtaLogReader();
    AtaLogReader(const AtaLogReader&) = delete;
    AtaLogReader& operator=(const AtaLogReader&) = delete;

    /// Asks the drive unless it was asked less than `atMostEveryNs` ago by the platform's clock (0: always),
    /// and gives what it told; without having asked, what it told then. Never throws for what a drive does.
    /// The result stands until the next read of the same drive.
    const AtaLogs& read(CAtaSmart& engine, const AtaSmartInfo& asi, std::int64_t atMostEveryNs);

  private:
    struct Drives;
    std::unique_ptr<Drives> drives_;
};

} // namespace orv
