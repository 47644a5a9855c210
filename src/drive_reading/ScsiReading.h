#pragma once

#include "drive_reading/DriveReading.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

// Disks that speak SCSI alone (SAS, parallel SCSI, fibre channel). They have no ATA identify data and so no
// record; what they tell stands in log pages (SPC-4, 7.3; SBC-3, 6.4). Nothing here talks to a device.

/// Allocation lengths of LOG SENSE: the first question, which every drive can answer, and the most that is
/// read of a longer page.
inline constexpr std::size_t kLogPageBytes = 252;
inline constexpr std::size_t kMostLogPageBytes = 4096;

/// What is read of a disk, for whoever asks it.
inline constexpr std::uint8_t kSupportedPages = 0x00; ///< log page that lists the others
inline constexpr std::uint8_t kReadLogPages[] = {0x02, 0x03, 0x04, 0x05, 0x0D, 0x0E, 0x11, 0x15, 0x2F};

using ScsiBytes = std::vector<std::uint8_t>;

/// The data that a disk gave. Empty: it was not asked, or refused.
struct ScsiAnswers {
    ScsiBytes inquiry = {};                          ///< standard INQUIRY data
    ScsiBytes serialNumberPage = {};                 ///< vital product data, page 80h
    ScsiBytes characteristicsPage = {};              ///< vital product data, page B1h
    ScsiBytes capacity = {};                         ///< READ CAPACITY (16), or (10), which has 8 bytes
    std::map<std::uint8_t, ScsiBytes> logPages = {}; ///< LOG SENSE, by the page that was asked for
    std::vector<ScsiBytes> sense = {}; ///< of REQUEST SENSE, and sense data that came with other commands
    std::vector<std::string> refusals = {}; ///< what the disk was asked and did not give, in words
};

enum UncorrectedErrors : std::uint8_t { readErrors, writeErrors, verifyErrors };

/// One SCSI disk, as far as it tells.
struct ScsiDisk {
    std::int32_t physicalDriveId = -1; ///< N of \\.\PhysicalDriveN; -1 behind MegaRAID
    std::int32_t scsiPort = -1;        ///< of the MegaRAID controller, with the firmware's number of the disk
    std::int32_t deviceId = -1;
    std::string vendor, product, revision, serialNumber; ///< printable ASCII, without blanks around it
    std::uint64_t sizeBytes = 0;                         ///< 0: unknown
    std::uint16_t rotationRate = 0;                      ///< a minute; 0: unknown, or nothing turns
    bool solidState = false;                             ///< told, and true; reading.solidState has the basis
    DriveReading reading;
    /// Since the counters were cleared; by UncorrectedErrors.
    std::array<std::optional<std::uint64_t>, 3> uncorrectedErrors;
    /// What could not be read and why, in one line; empty where nothing is wrong. A page that the disk does
    /// not have is no fault. The line stays the same as long as the reasons do.
    std::string fault;
};

/// A disk by its INQUIRY data: of device type 0, there, with a fixed medium, of a known version, and no ATA
/// or NVMe drive in translation.
bool isScsiDisk(std::span<const std::uint8_t> inquiry);

/// Those of kReadLogPages that the list in log page 00h names. `fault` tells why a list cannot be used.
std::vector<std::uint8_t> listedLogPages(std::span<const std::uint8_t> page, std::string& fault);

/// Reads the answers. What cannot be used is left out and told in `fault`. The place of the disk is the
/// caller's to fill in.
ScsiDisk scsiDiskOf(const ScsiAnswers& answers);

/// Sense key, additional code and its qualifier; empty for data that are no sense data.
struct ScsiSense {
    std::uint8_t key = 0, code = 0, qualifier = 0;
    bool operator==(const ScsiSense&) const = default;
};
std::optional<ScsiSense> scsiSenseOf(std::span<const std::uint8_t> sense);
/// As "05/20/00".
std::string senseText(const ScsiSense& sense);

} // namespace orv
