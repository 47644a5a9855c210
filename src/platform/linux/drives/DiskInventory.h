#pragma once

#include "platform/linux/drives/DriveNode.h"
#include "platform/linux/files/PciFunctions.h"
#include "platform/linux/files/RootedFiles.h"
#include "state/HeldMutex.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// The whole text as a number; empty when it is none.
std::optional<std::uint64_t> wholeNumber(std::string_view text, int base = 10);

/// Where a disk hangs on the SCSI side of the kernel. An NVMe namespace takes the port kFirstNvmePort plus
/// its controller's number, channel and target 0, and its own number less one as the unit.
struct ScsiPlace {
    std::uint64_t port;
    std::uint64_t channel;
    std::uint64_t target;
    std::uint64_t lun;
};

inline constexpr std::uint64_t kFirstNvmePort = 128;

/// A disk of the machine by the kernel's name of it, "sda".
struct NumberedDisk {
    std::uint32_t number;
    std::string name;
};

/// The counters of a disk's file `stat` (kernel documentation, block/stat), times in milliseconds.
enum DiskCounter {
    reads,
    readsMerged,
    readSectors,
    readMs,
    writes,
    writesMerged,
    writtenSectors,
    writeMs,
    kDiskCounters
};
using DiskCounters = std::array<std::uint64_t, kDiskCounters>;

/// What sysfs tells of a disk; the disk itself is not asked. A text is empty where sysfs has none.
struct DiskFacts {
    std::string name;
    std::string vendor;
    std::string model;
    std::string firmware;
    std::string serial;
    bool removable = false;
    std::uint32_t bus = 0; ///< STORAGE_BUS_TYPE
    std::optional<ScsiPlace> place;
    std::optional<std::uint32_t> nvmeController; ///< K of "nvmeK"
    std::string usbDevice;                       ///< folder of the USB device, empty for a disk without one
    std::uint16_t usbVendorId = 0;
    std::uint16_t usbProductId = 0;
    bool usbAttachedScsi = false;
    std::string pciController; ///< folder of the PCI function that the disk hangs on
};

/// What decides how a command reaches a disk.
struct CommandWay {
    bool scsi = false; ///< a disk of the SCSI layer
    bool usb = false;  ///< that hangs on a USB device
    std::optional<std::uint32_t> nvmeController;
    DriveNode node; ///< that takes the command
    /// False where another controller may lead to the disk the next time.
    bool lasts = true;
};

/// The disks of the machine: sda, sdb, ... sdz, sdaa, then IDE disks (hda), NVMe namespaces by controller and
/// number (nvme0n1), then the disks that know no SMART: virtio (vda), Xen (xvda), cards (mmcblk0).
///
/// A disk has the number that it takes in this order when disks are first asked for, and one that comes later
/// takes the next number. A number is the disk's, by its identity, and not its name's: the number of one that
/// went fails, whichever disk has the name now, until that very disk is back, under whatever name. Whether it
/// is there is looked up each time.
class DiskInventory {
  public:
    explicit DiskInventory(const RootedFiles& files) : files_(files) {}

    /// The present disks by their numbers.
    std::vector<NumberedDisk> disks();
    /// The name of a number's disk; empty when it is not there.
    std::string nameOf(std::uint32_t number);
    /// True while a disk has its name still. What was read or opened by the name before is that disk's then.
    bool holds(const NumberedDisk& disk) { return nameOf(disk.number) == disk.name; }
    /// Of 512 bytes, whatever the disk's own are; 0 when the disk is not there.
    std::uint64_t sectors(const NumberedDisk& disk);
    /// Empty when the disk is not there. The firmware of an NVMe drive may be that of an earlier call where
    /// it doesn't count.
    std::optional<DiskFacts> facts(const NumberedDisk& disk, bool firmwareCounts);
    /// Empty when the disk is not there. One that lasts is kept as long as the disk is not seen to go, so
    /// whoever opens its node asks afterwards whether it still holds().
    std::optional<CommandWay> commandWay(const NumberedDisk& disk);
    /// Counters of a present disk that never fall: where those of the kernel do, for the disk came back or
    /// lost one of its paths, they go on from where they were.
    DiskCounters cumulative(const NumberedDisk& disk, const DiskCounters& kernels);

    const RootedFiles& files() const { return files_; }
    /// Of the controllers that disks hang on.
    PciFunctionFacts& pciFunctions() { return pciFunctions_; }

  private:
    struct Entry {
        std::string identity;
        std::string name; ///< latest
        FolderStamp stamp;
        std::optional<CommandWay> way;
        std::optional<DiskFacts> facts; ///< of a namespace whose way lasts
        DiskCounters latest{};          ///< of the kernel
        DiskCounters before{};          ///< what they lost when they fell
    };
    std::vector<NumberedDisk> scan();

    const RootedFiles& files_;
    PciFunctionFacts pciFunctions_{files_};
    HeldMutex mutex_;
    std::vector<Entry> numbered_; // by number, gone ones too
};

/// Folder of sysfs of a disk.
inline std::string diskFolder(std::string_view name) {
    return "/sys/block/" + std::string(name);
}

} // namespace orv::platform
