#pragma once

#include "drive_reading/ScsiReading.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace orv {

class CAtaSmart;

/// Reads the SCSI disks among the drives that have no record. What a disk refuses is not asked again as long
/// as the reader lives, so a program has one for its whole life. Not for several threads at once.
class ScsiDiskReader {
  public:
    ScsiDiskReader();
    ~ScsiDiskReader();
    ScsiDiskReader(const ScsiDiskReader&) = delete;
    ScsiDiskReader& operator=(const ScsiDiskReader&) = delete;

    /// Every SCSI disk among the drives without a record (`unreadDrives` of the latest search, and the disks
    /// behind MegaRAID controllers that gave no identify data), in the order of the search. Asks them unless
    /// that was less than `atMostEveryNs` ago by the platform's clock (0: always); otherwise gives the list
    /// of that time. A disk that stops answering stays, with a fault. Never throws for what a disk does. The
    /// list stands until the next call.
    const std::vector<ScsiDisk>& read(CAtaSmart& engine, std::int64_t atMostEveryNs);

  private:
    struct Disks;
    std::unique_ptr<Disks> known_;
    std::vector<ScsiDisk> disks_;
    std::optional<std::int64_t> lastNs_;
};

} // namespace orv
