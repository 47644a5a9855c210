#pragma once

#include "platform/Result.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/drives/MachineScsiDisk.h"
#include "platform/servers/ManagementRows.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

class Node;

/// How a drive is asked: the paths of a command to it, and the control codes that its drivers answer.
enum class DriveWay : std::uint8_t {
    ataPassThrough,
    idePassThrough,
    smartIoctl,
    scsiDisk,
    siliconImage,
    predictFailure,
    csmi, // behind a RAID driver
    megaRaid,
    scsi, // a disk with the key "scsi"
    sat,  // the ATA bridges
    asm1352r,
    sunplus,
    ioData,
    logitec,
    prolific,
    jmicron,
    cypress,
    storageQuery, // NVMe from here on
    nvmeMini,
    intelNvm,
    nvmeRaid,
    samsung, // the NVMe bridges, and what travels like one
    jmicronNvme,
    jmicronNvmeUsb2,
    asmediaNvme,
    realtekNvme,
    address, // the drivers' own answers
    geometry,
    descriptor,
    performance,
};

inline bool isNvmeWay(DriveWay way) {
    return way >= DriveWay::storageQuery && way <= DriveWay::realtekNvme;
}
inline bool isAtaBridge(DriveWay way) {
    return way >= DriveWay::sat && way <= DriveWay::cypress;
}
inline bool isBridge(DriveWay way) {
    return isAtaBridge(way) || (way >= DriveWay::samsung && way <= DriveWay::realtekNvme);
}

enum class DriveOperation : std::uint8_t {
    identify,
    smart,
    thresholds,
    control,
    namespaceData,
    health,
    request, ///< the outgoing half of a pair
    log,     ///< a page of a general purpose log
    status,  ///< whether a threshold was exceeded, in the registers
};

using DriveBlock = std::vector<std::uint8_t>;

inline constexpr std::size_t kAtaBlockBytes = 512;
inline constexpr std::size_t kHealthBytes = 512;

/// What SMART RETURN STATUS tells.
enum class DriveStatus : std::uint8_t {
    good,
    exceeded,
    none, ///< who carries the command does not give its registers
};

/// An entry of "answers": what a request gets instead of the right answer.
struct DriveAnswer {
    DriveWay way = DriveWay::ataPassThrough;
    std::optional<DriveOperation> operation;
    std::uint64_t nth = 0; ///< 0: every request that fits
    std::optional<std::uint32_t> bytes;
    std::optional<DriveBlock> data;
    ErrorCode error = kSuccess;
    bool hang = false;
    bool vanish = false;
    std::uint64_t met = 0; ///< requests that fitted so far
};

struct DriveDescriptor {
    std::optional<std::string> vendor;
    std::optional<std::string> product;
    std::optional<std::string> revision;
    std::optional<std::string> serial;
    std::optional<std::uint32_t> busType;
};

struct DrivePerformance {
    std::uint64_t bytesRead = 0;
    std::uint64_t bytesWritten = 0;
    std::uint64_t readPerSecond = 0;
    std::uint64_t writtenPerSecond = 0;
    std::int64_t sinceNs = 0;
};

struct FailurePredict {
    std::optional<std::wstring> instanceName; ///< none: made of the drive's id
    DriveBlock data;
    DriveBlock thresholds;
};

/// What the file has for the drive's row of Win32_DiskDrive.
struct DriveRow {
    bool present = true;
    ManagementColumns columns; ///< in place of the drive's own
};

/// What a drive says at one time. An empty block is one that the drive does not have.
struct DriveFacts {
    bool present = true;
    ErrorCode openError = kSuccess;
    DriveBlock identifyAsGiven; ///< without the texts below
    std::optional<std::string> model;
    std::optional<std::string> serialNumber;
    std::optional<std::string> firmware;
    DriveBlock identify;
    DriveBlock smart;
    DriveBlock thresholds;
    DriveBlock namespaceData;
    DriveBlock health;
    DriveBlock deviceStatistics; ///< log 04h, its page n 512 * n bytes in; empty: no logs at all
    DriveStatus status = DriveStatus::good;
    std::uint32_t sleep = 0; ///< number of the latest "asleep", 0 for none
    std::int64_t spinUpNs = 0;
    std::vector<DriveAnswer> answers;
    std::uint32_t mediaType = 12;
    std::uint64_t capacityBytes = 0;
    DriveDescriptor descriptor;
    std::optional<DrivePerformance> performance;
    std::optional<FailurePredict> failurePredict;
    std::optional<ScsiDiskFacts> scsi;
    DriveRow managementRow;
};

struct DriveAddress {
    std::uint8_t port = 0;
    std::uint8_t path = 0;
    std::uint8_t target = 0;
    std::uint8_t lun = 0;
    std::wstring device; ///< the port's system name when it is not reached by its number

    auto place() const { return std::array{port, path, target, lun}; }
};

/// Link of a controller, in the order of kLinkProperties; a value may be missing.
using DriveLink = std::array<std::optional<std::uint32_t>, 4>;

enum class ControllerKind : std::uint8_t { ide, scsi, usb };

struct DriveController {
    std::wstring id;
    std::wstring name;
    std::optional<ControllerKind> kind; ///< none: the management data has no row of it
    std::optional<DriveLink> link;
};

/// The USB device that a drive stands in.
struct DriveUsb {
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::wstring name;
};

/// A drive of a described machine, with what its life so far has made of it.
class MachineDrive {
  public:
    MachineDrive(const Node& entry, MachineClock& clock);

    std::optional<std::uint32_t> number;
    std::optional<DriveAddress> address;
    std::set<DriveWay> ways;
    std::uint8_t target = 0xA0;
    bool checksCondition = false; ///< a bridge tells a refusal by status and sense data
    std::wstring pnpDeviceId;
    std::wstring controllerId;
    std::optional<DriveLink> link;
    std::optional<DriveUsb> usb;

    bool smartEnabled = true;
    bool gone = false; ///< by an answer that makes it vanish
    /// What the request before asked for, of a pair that is not complete.
    std::optional<std::pair<DriveWay, DriveOperation>> pending;
    std::size_t attentionsGiven = 0; ///< unit attentions of a SCSI disk

    bool isNvme() const;
    bool present() const { return !gone && facts().present; }
    const DriveFacts& facts() const { return *stage().facts; }
    MachineClock& clock() const { return clock_; }

    /// The entry of "answers" for this request, which is counted; null for none.
    const DriveAnswer* answerFor(DriveWay way, std::optional<DriveOperation> operation);
    /// Wakes the drive and waits for it, at most so many seconds (0: as long as it takes).
    ErrorCode awaken(std::uint32_t timeOutSeconds);

  private:
    struct Stage {
        std::int64_t fromNs = 0;
        std::unique_ptr<DriveFacts> facts;
    };
    const Stage& stage() const;

    MachineClock& clock_;
    std::vector<Stage> stages_; // in the order of time
    std::uint32_t wakingFrom_ = 0;
    std::int64_t readyAtNs_ = 0;
};

/// Sections "drives" and "controllers" of a machine file (docs/machine/disk.md).
class MachineDrives {
  public:
    MachineDrives(const Node& root, MachineClock& clock);

    const std::vector<std::unique_ptr<MachineDrive>>& all() const { return drives_; }
    /// Null when no drive has that number; it may be one that is not present now.
    MachineDrive* byNumber(std::uint32_t number) const;
    /// The drives of a port, by its number or by its system name.
    std::vector<MachineDrive*> ofPort(std::uint32_t port) const;
    std::vector<MachineDrive*> ofPort(std::wstring_view device) const;
    const std::vector<DriveController>& controllers() const { return controllers_; }

    /// Whether drives and controllers fill in management data (MachineDriveRows.h).
    bool managed() const;

  private:
    void readControllers(const Node& root);

    std::vector<std::unique_ptr<MachineDrive>> drives_;
    std::vector<DriveController> controllers_;
};

} // namespace orv::platform
