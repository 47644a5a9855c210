#pragma once

#include <cstdint>
#include <string>

namespace tool {

/// Files with a drive's raw blocks, as other tools save them; empty for none.
struct DriveBlocks {
    std::string identify;   ///< 512 bytes of IDENTIFY DEVICE, or 4096 of NVMe Identify Controller
    std::string smart;      ///< 512 bytes of SMART READ DATA, or of NVMe log page 2
    std::string thresholds; ///< 512 bytes of SMART READ THRESHOLDS
    bool nvme = false;
};

/// Tells what the library makes of a drive's blocks, and by which rule: of a record that is made and read
/// anew at once, as it is in the library's list.
int explain(const DriveBlocks& files, bool json);
/// The same of a drive that is read now, by its number.
int explainDrive(std::int32_t number, bool json);

} // namespace tool
