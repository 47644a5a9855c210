#pragma once

#include "platform/DeviceFiles.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orv {

class CAtaSmart;
struct MegaRaidDisk;

/// Which disks have a command.
enum class Support : std::uint8_t {
    every,    ///< one that does not carry it out is not there
    expected, ///< a refusal is worth telling
    some,
};

/// A SCSI command that reads, and the most that its answer may have.
struct ScsiCommand {
    std::string name; ///< as a person is told of it
    std::vector<std::uint8_t> cdb;
    std::size_t bytes = 0;
    Support support = Support::expected;
};

// INQUIRY, LOG SENSE and REQUEST SENSE (SPC-4, 6.6, 6.8, 6.39), READ CAPACITY (SBC-3, 5.15 and 5.16).
ScsiCommand inquiryCommand();
ScsiCommand productDataCommand(std::uint8_t page);
ScsiCommand readCapacity16Command();
ScsiCommand readCapacity10Command();
ScsiCommand requestSenseCommand();
/// The cumulative values of a page, at most so many bytes of it. More than the usual ones need not be given.
ScsiCommand logSenseCommand(std::uint8_t page, std::size_t bytes);

/// How a command ended.
struct ScsiEnding {
    platform::ErrorCode error = platform::kSuccess; ///< the disk was not reached, or did not get ready
    bool good = false;
    bool maybeRefused = false; ///< the path does not tell a refusal from another failure
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> sense; ///< empty where the disk sent none
};

/// The way of commands to a disk. Each takes ten seconds at most.
class ScsiPath {
  public:
    virtual ~ScsiPath() = default;
    virtual ScsiEnding send(const ScsiCommand& command) = 0;
};

/// By the SCSI pass-through of a physical drive.
class ScsiDrivePath : public ScsiPath {
  public:
    explicit ScsiDrivePath(platform::DeviceFile& drive) : drive_(drive) {}
    ScsiEnding send(const ScsiCommand& command) override;
    /// True for a drive on a bus that no SCSI disk hangs on, whatever its bridge says.
    bool hasOtherBus();

  private:
    platform::DeviceFile& drive_;
};

/// By the firmware of a MegaRAID controller, which tells neither status nor sense data, nor how much of the
/// answer's room was filled.
class ScsiMegaRaidPath : public ScsiPath {
  public:
    ScsiMegaRaidPath(CAtaSmart& engine, const MegaRaidDisk& disk) : engine_(engine), disk_(disk) {}
    ScsiEnding send(const ScsiCommand& command) override;

  private:
    CAtaSmart& engine_;
    const MegaRaidDisk& disk_;
};

} // namespace orv
