#pragma once

#include "drive_reading/ScsiReading.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace orv {

class CAtaSmart;

/// Reads the SCSI disks among the drives that have no record. One thread uses it, that which uses the engine;
/// it lives as long as the process, so that what a disk refused is not asked again.
class ScsiDiskReader {
  public:
    ScsiDiskReader();
    ~ScsiDiskReader();
    ScsiDiskReader(const ScsiDiskReader&) = delete;
    ScsiDiskReader& operator=(const ScsiDiskReader&) = delete;

    /// Every SCSI disk among the drives without a record (`unreadDrives` of the latest search, and the disks
    /// behind MegaRAID controllers that gave no identify data), in the order of the search. Asks the disks
    /// only when at least `atMostEveryNs` (nanoseconds; 0: always) have passed since the last time; otherwise
    /// the list is that of the last time. A disk that stopped answering stays in it, with a fault.
    const std::vector<ScsiDisk>& read(CAtaSmart& engine, std::int64_t atMostEveryNs);

  private:
    struct Asked; // a disk, and what it was asked for once and for all
    std::map<std::pair<std::int32_t, std::int32_t>, std::unique_ptr<Asked>> asked_;
    std::vector<ScsiDisk> disks_;
    std::optional<std::int64_t> lastNs_;
};

} // namespace orv
