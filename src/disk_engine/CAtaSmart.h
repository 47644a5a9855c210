#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/CommandPath.h"
#include "disk_engine/DriveSighting.h"
#include "disk_engine/UnreadDrive.h"
#include "disk_engine/paths/DeviceAccess.h"
#include "disk_engine/record/DriveRecord.h"
#include "platform/DeviceFiles.h"
#include "platform/NamedMutexes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace orv {

inline constexpr std::int32_t MAX_SEARCH_PHYSICAL_DRIVE = 56; ///< physical drive numbers 0 to 55 are searched
inline constexpr std::size_t kMaxDrives = 80;                 ///< records that `vars` takes

/// A USB mass-storage device.
struct UsbDeviceEntry {
    std::wstring Name;
    std::uint32_t VendorId = 0;
    std::uint32_t ProductId = 0;
};

/// The disk engine: finds every drive that the platform can reach, talks to it on whichever command path
/// works, and keeps one record a drive. It has no lock of its own: one thread fills `vars`.
class CAtaSmart : public AllowedPaths {
  public:
    /// Reads the system's version and makes the JMicron mutex. Probes no drive.
    CAtaSmart();
    virtual ~CAtaSmart();
    CAtaSmart(const CAtaSmart&) = delete;
    CAtaSmart& operator=(const CAtaSmart&) = delete;

    /// Allows the paths that the library runs with. Before the first search.
    void UseStandardPaths();

    // ---- The search

    /// Finds the drives and makes `vars` anew: the management data's rows (`useWmi`), what RAID drivers hide,
    /// every physical drive number, and with `advancedDiskSearch` every SCSI port; then letters, filters and
    /// sort. A failure ends its stage alone and is logged. `changed`, if given, tells whether the list
    /// differs from the one before. `hideNoSmartDisk` drops records without attributes, `sortDriveLetter`
    /// sorts by letter instead of drive number. COM has been started on the thread.
    void Init(BOOL useWmi, BOOL advancedDiskSearch, BOOL* changed, BOOL skipHd204uiOldFirmware,
              BOOL hideNoSmartDisk, BOOL sortDriveLetter);
    /// Reads the drive of the record at `index` anew, on the path that it was found on. A failed read leaves
    /// the record as it was but for `answering`; a record without good SMART data is not read.
    void UpdateSmartInfo(std::size_t index);

    // ---- Drives behind RAID drivers. Each adds what it finds to `vars`.

    /// By the port's CSMI miniport.
    void AddDiskCsmi(std::int32_t scsiPort);
    /// By the AMD library. True when at least one drive was added.
    bool AddDiskAMD_RC2();
    /// By the firmware of a MegaRAID controller. False when it gave no list.
    bool AddDiskMegaRaid(std::int32_t scsiPort);

    // ---- Probing: which path a drive answers on, and its record

    /// Tries the paths in their order until a drive gives its identify data. True when a record was added.
    bool GetDiskInfo(const DriveSighting& drive);
    /// A drive by its number alone: its driver tells the bus, then the paths are tried. True when a record
    /// was added. Not for removable media.
    bool SearchPhysicalDrive(std::int32_t physicalDriveId);
    /// A record from an IDENTIFY DEVICE block and the SMART data that the same path gives. The block is
    /// altered in place. False leaves the list as it was but for what it says of a drive that it had.
    bool AddDisk(const DriveAddress& address, IdentifyBlock identify);
    /// The same from an Identify Controller block. `diskSize` is megabytes, null for unknown.
    bool AddDiskNVMe(const DriveAddress& address, NvmeIdentifyBlock identify, const std::uint32_t* diskSize);
    /// Why the paths failed that were tried since the latest probe or reading of a drive began: a right that
    /// was refused, or else a time-out, or else the code of the last one that failed.
    platform::ErrorCode probeFailure() const { return devices.failure(); }
    /// Puts the drive that was just probed on the list of those without a record.
    void noteUnread(std::int32_t physicalDriveId, const std::wstring& model);
    /// The same with a reason of the caller's. A drive stands there once: what was known of it gives way to
    /// what says more. One without a number is left out: whether it has a record nobody can tell.
    void noteUnread(const UnreadDrive& found);

    // ---- ATA paths. Each opens its own handle. Identify data are 512 bytes. `asi` gets its block and what
    // is read out of it.

    bool DoIdentifyDevicePd(std::int32_t physicalDriveId, std::uint8_t target, std::span<std::uint8_t> data);
    bool GetSmartAttributePd(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi);
    bool GetSmartThresholdPd(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi);
    bool ControlSmartStatusPd(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t subCommand);
    /// One command by pass-through; `data` takes its answer, 512 bytes at most.
    bool SendAtaCommandPd(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t command,
                          std::uint8_t feature, std::uint8_t count, std::span<std::uint8_t> data);

    bool DoIdentifyDeviceScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, std::span<std::uint8_t> data);
    bool GetSmartAttributeScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, AtaSmartInfo& asi);
    bool GetSmartThresholdScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, AtaSmartInfo& asi);
    bool ControlSmartStatusScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, std::uint8_t subCommand);

    bool DoIdentifyDeviceSi(std::int32_t scsiPort, std::int32_t scsiBus, std::int32_t siliconImageType,
                            std::span<std::uint8_t> data);
    bool GetSmartAttributeSi(std::int32_t physicalDriveId, AtaSmartInfo& asi);

    bool DoIdentifyDeviceSat(std::int32_t physicalDriveId, std::uint8_t target, std::span<std::uint8_t> data,
                             std::uint32_t commandType);
    bool GetSmartAttributeSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi);
    bool GetSmartThresholdSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi);
    bool ControlSmartStatusSat(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t subCommand,
                               std::uint32_t commandType);

    /// `phyEntity` is a CSMI_SAS_PHY_ENTITY, 64 bytes.
    bool DoIdentifyDeviceCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                              std::span<std::uint8_t> data);
    bool GetSmartAttributeCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity, AtaSmartInfo& asi);
    bool GetSmartThresholdCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity, AtaSmartInfo& asi);
    bool ControlSmartStatusCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                                std::uint8_t subCommand);
    /// One command to the drive on a phy; `data` takes its answer.
    bool SendAtaCommandCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity, std::uint8_t command,
                            std::uint8_t feature, std::uint8_t count, std::span<std::uint8_t> data);

    bool DoIdentifyDeviceMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, std::span<std::uint8_t> data);
    bool GetSmartAttributeMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, AtaSmartInfo& asi);
    bool GetSmartThresholdMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, AtaSmartInfo& asi);
    bool ControlSmartStatusMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, std::uint8_t subCommand);
    /// One SCSI command of at most 16 bytes; `data` takes what the answer has.
    bool SendPassThroughMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, std::span<std::uint8_t> data,
                                 std::span<const std::uint8_t> cdb);

    /// By the AMD library's number of the drive. An NVMe drive gives its health page.
    bool GetSmartAttributeAmdRc2(std::int32_t index, AtaSmartInfo& asi);
    bool GetSmartThresholdAmdRc2(std::int32_t index, AtaSmartInfo& asi);

    // ---- Any command, by the path of a record

    /// One command; `data` takes its 512 bytes, and is empty for one whose answer is in the registers. Fails
    /// with kNotSupported, and sends nothing, where the path has no way for it; with kIoDevice where the
    /// drive or who speaks for it refused. What `data` holds after a failure is nothing.
    TaskAnswer sendAtaTask(const AtaSmartInfo& asi, const AtaTask& task, std::span<std::uint8_t> data);

    // ---- The platform's failure-prediction data, found by the record's PnpDeviceId

    bool GetSmartAttributeWmi(AtaSmartInfo& asi);
    bool GetSmartThresholdWmi(AtaSmartInfo& asi);

    // ---- NVMe paths. `identify` is 4096 bytes; `diskSize` (megabytes) is set only by a path that learns it.

    bool DoIdentifyDeviceNVMeStorageQuery(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                          std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                          std::uint32_t& diskSize);
    bool DoIdentifyDeviceNVMeIntel(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                   std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                   std::uint32_t& diskSize);
    bool DoIdentifyDeviceNVMeIntelRst(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                      std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                      std::uint32_t& diskSize);
    bool DoIdentifyDeviceNVMeIntelVroc(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                       std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                       std::uint32_t& diskSize);
    bool DoIdentifyDeviceNVMeSamsung(std::int32_t physicalDriveId, NvmeIdentifyBlock identify);
    /// `usb2Mode`: 512 bytes in place of 4096.
    bool DoIdentifyDeviceNVMeJMicron(std::int32_t physicalDriveId, NvmeIdentifyBlock identify, bool usb2Mode);
    bool DoIdentifyDeviceNVMeASMedia(std::int32_t physicalDriveId, NvmeIdentifyBlock identify);
    bool DoIdentifyDeviceNVMeRealtek(std::int32_t physicalDriveId, NvmeIdentifyBlock identify);

    bool GetSmartAttributeNVMeStorageQuery(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeIntel(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeIntelRst(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                       std::int32_t scsiTargetId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeIntelVroc(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                        std::int32_t scsiTargetId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeSamsung(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeSamsungMiniport(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeJMicron(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeASMedia(std::int32_t physicalDriveId, AtaSmartInfo& asi);
    bool GetSmartAttributeNVMeRealtek(std::int32_t physicalDriveId, AtaSmartInfo& asi);

    // ---- Devices

    /// Reads a sector and drops it, so that a sleeping drive is awake for what follows.
    void WakeUp(std::int32_t physicalDriveId);
    /// For reading and writing; null when it cannot be opened.
    std::unique_ptr<platform::DeviceFile> OpenPhysicalDrive(std::int32_t physicalDriveId);

    /// Health of the record at `index`; unknown without records.
    DiskHealth CheckDiskStatus(std::size_t index);

    /// The one lock of all processes that send command pairs to a JMicron NVMe bridge. A failure is traced,
    /// and the caller goes on.
    void AcquireMutexJMicron();
    void ReleaseMutexJMicron();

    std::vector<AtaSmartInfo> vars;
    std::vector<UsbDeviceEntry> usbDevices;
    std::vector<std::wstring> IdeController;          ///< names, for diagnosis
    std::vector<std::wstring> ScsiController;         ///< names, for diagnosis
    std::wstring ControllerMap;                       ///< controllers and their devices, for diagnosis
    std::vector<std::wstring> BlackScsiController;    ///< device ids below controllers that are not probed
    std::vector<std::wstring> SiliconImageController; ///< device ids below Silicon Image controllers
    std::vector<std::wstring> UASPController;         ///< device ids below USB attached SCSI controllers
    std::vector<std::int32_t> SiliconImageType;       ///< model number, parallel to SiliconImageController
    std::vector<UnreadDrive> unreadDrives;            ///< of the latest Init
    std::vector<MegaRaidDisk> silentMegaRaidDisks;    ///< of the latest Init
    BOOL AdvancedDiskSearch = 0;
    BOOL IsWmi = 0; ///< the management data answered in this Init
    BOOL SkipHd204uiOldFirmware = 0;
    std::uint64_t InitCompleteTick = 0; ///< milliseconds
    BOOL IsNvidiaController = 0;
    BOOL IsMarvellController = 0;
    // Beside the paths that are allowed.
    BOOL FlagUsbMemory = 0; ///< treat USB sticks as targets
    BOOL FlagNoWakeUp = 0;
    std::uint32_t CsmiMode = 0; ///< 0 off, 1 every phy, 2 only RAID members
    platform::MutexHandle hMutexJMicron = 0;
    DeviceAccess devices; ///< for the command paths

  private:
    /// What the record says of the reading that was just made.
    void noteAnswer(AtaSmartInfo& asi, bool answered) const;
    void forgetProbe();
    void noteTwin(std::int32_t twinOf);
    void noteFullList(const AtaSmartInfo& asi);
    UnreadDrive probed_;              // why the latest probe made no record, where that is known for certain
    platform::NamedMutexes& mutexes_; // the platform's that made hMutexJMicron
};

/// True when the system's major number is above `major`, or its minor number above `minor`, or its build not
/// below `build`; false when the system cannot tell its version.
bool PlatformVersionTest(std::uint32_t major, std::uint32_t minor, std::uint32_t build);

} // namespace orv
