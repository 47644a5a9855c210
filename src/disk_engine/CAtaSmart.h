#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/record/DriveRecord.h"
#include "platform/DeviceFiles.h"
#include "platform/NamedMutexes.h"
#include "platform/records/CsmiRecords.h"
#include "platform/records/MegaRaidRecords.h"
#include "platform/records/StorageRecords.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

inline constexpr std::int32_t MAX_SEARCH_PHYSICAL_DRIVE = 56; ///< physical drive numbers 0 to 55 are searched
inline constexpr std::size_t kMaxDrives = 80;                 ///< records that `vars` takes

struct AtaTask;   ///< AtaTask.h
struct BridgeCdb; ///< BridgeCommands.h
struct CsmiCall;
struct NvmeBridgeRead;
struct NvmeCommand;

/// A USB mass-storage device.
struct UsbDeviceEntry {
    std::wstring Name;
    std::uint32_t VendorId = 0;
    std::uint32_t ProductId = 0;
};

/// A drive that is there and has no record.
struct UnreadDrive {
    enum class Reason {
        noAnswer,      ///< no path gave identify data that can be used; `error` tells why, if it is known
        noAttributes,  ///< it was read but has no SMART data; `error` tells why, if they could not be read
        raidVolume,    ///< its model says that it is one
        twin,          ///< another record has its model and serial number: `twinOf`
        listFull,      ///< `vars` takes no more
        removable,     ///< left out on purpose: its medium can be taken out
        tieredStorage, ///< left out on purpose: a volume of a storage tier, which bears no drive commands
        noAtaCommands, ///< a SCSI disk, which has no ATA commands
    };
    std::int32_t physicalDriveId = -1;
    std::wstring model; ///< as the platform or the record names it; may be empty
    Reason reason = Reason::noAnswer;
    platform::ErrorCode error = platform::kSuccess; ///< of probeFailure
    std::int32_t twinOf = -1; ///< physical drive number of the record that has the drive
    std::wstring serialNumber =
        {}; ///< of a drive that found the list full; tells those without a number apart
};

/// A disk that a MegaRAID controller lists and that gave no identify data.
struct MegaRaidDisk {
    std::int32_t scsiPort = -1;
    std::int32_t deviceId = -1; ///< the firmware's number
};

/// What the search knows of a drive before it has answered anything. -1 is unknown.
struct DriveSighting {
    std::int32_t physicalDriveId = -1;
    std::int32_t scsiPort = -1;
    std::int32_t scsiTargetId = -1;
    std::uint32_t interfaceType = INTERFACE_TYPE_UNKNOWN;
    std::uint32_t usbVendorId = 0;
    std::uint32_t usbProductId = 0;
    std::int32_t scsiBus = -1;
    std::int32_t siliconImageType = 0; ///< model number of the controller
    BOOL isNvidiaController = 0;
    BOOL isMarvellController = 0;
    std::wstring pnpDeviceId = {};
    BOOL nvmeHint = 0; ///< the name suggests an NVMe drive behind a bridge
};

/// Link of a drive's PCI device; 0 for unknown.
struct PcieLink {
    std::uint32_t MaxLinkSpeed = 0; ///< generation, as the three below
    std::uint32_t MaxLinkWidth = 0; ///< lanes
    std::uint32_t CurrentLinkSpeed = 0;
    std::uint32_t CurrentLinkWidth = 0;
};

/// The disk engine: finds every drive that the platform can reach, talks to it on whichever command path
/// works, and keeps one record a drive. It has no lock of its own: one thread fills `vars`.
class CAtaSmart {
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
    platform::ErrorCode probeFailure() const { return probeFailure_; }
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

    /// The registers that a command left, where the path tells them: the error in bFeaturesReg, the status in
    /// bCommandReg.
    using TaskAnswer = platform::Result<std::optional<platform::IDEREGS>>;
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
    // Paths that are allowed.
    BOOL FlagUsbSat = 0;
    BOOL FlagUsbSunplus = 0;
    BOOL FlagUsbIoData = 0;
    BOOL FlagUsbLogitec = 0;
    BOOL FlagUsbProlific = 0;
    BOOL FlagUsbJmicron = 0;
    BOOL FlagUsbCypress = 0;
    BOOL FlagUsbMemory = 0;          ///< treat USB sticks as targets
    BOOL FlagUsbNvmeJmicron = 0;     ///< 4096-byte mode
    BOOL FlagUsbNvmeJmicronUsb2 = 0; ///< 512-byte mode
    BOOL FlagUsbNvmeAsmedia = 0;
    BOOL FlagUsbNvmeRealtek = 0;
    BOOL FlagMegaRaid = 0;
    BOOL FlagIntelVroc = 0; ///< port scan for VROC drives
    BOOL FlagUsbAsm1352r = 0;
    BOOL FlagAmdRc2 = 1;
    BOOL FlagNoWakeUp = 0;
    std::uint32_t CsmiMode = 0; ///< 0 off, 1 every phy, 2 only RAID members
    platform::MutexHandle hMutexJMicron = 0;
    BOOL FlagAtaPassThrough = 0;
    BOOL FlagAtaPassThroughSmart = 0;
    BOOL FlagStorageQuery = 0;

  private:
    /// Null when the device cannot be opened; the code counts for probeFailure.
    std::unique_ptr<platform::DeviceFile> open(const std::wstring& path,
                                               const platform::DeviceOpening& opening = {});
    /// A control code; a failure counts for probeFailure.
    platform::Result<std::uint32_t> control(platform::DeviceFile& file, std::uint32_t code,
                                            std::span<const std::byte> in, std::span<std::byte> out);
    /// In a search throws TooManyOpenFiles for that code.
    void noteFailure(platform::ErrorCode error);
    /// What the record says of the reading that was just made.
    void noteAnswer(AtaSmartInfo& asi, bool answered) const;
    void forgetProbe();
    void noteTwin(std::int32_t twinOf);
    void noteFullList(const AtaSmartInfo& asi);
    /// A control code whose answer is written over its question. An answer of fewer than `wanted` bytes, or
    /// of more than there is room for, is a failure.
    bool exchange(platform::DeviceFile& file, std::uint32_t code, std::span<std::byte> block,
                  std::size_t wanted);

    struct NvmeMiniport;
    static std::optional<NvmeMiniport> intelMiniport(std::int32_t physicalDriveId);
    static std::optional<NvmeMiniport> rstMiniport(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                                   std::int32_t scsiTargetId);
    static std::optional<NvmeMiniport> vrocMiniport(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                                    std::int32_t scsiTargetId);
    bool sendNvme(platform::DeviceFile& file, const NvmeMiniport& miniport, const NvmeCommand& command,
                  std::span<std::uint8_t> data);
    bool identifyNvme(const std::optional<NvmeMiniport>& miniport, NvmeIdentifyBlock identify,
                      std::uint32_t& diskSize);
    bool readNvmeHealth(const std::optional<NvmeMiniport>& miniport, const NvmeCommand& command,
                        AtaSmartInfo& asi);
    bool readNvmeBridge(std::int32_t physicalDriveId, const NvmeBridgeRead& read,
                        std::span<std::uint8_t> into);

    /// A control code whose answer has `data` at a place. True when the answer is as long as it has to be;
    /// otherwise nothing of it is kept. Without data its length does not count.
    platform::Result<bool> exchange(platform::DeviceFile& file, std::uint32_t code,
                                    std::span<const std::byte> question, std::span<std::byte> answer,
                                    std::size_t dataAt, std::span<std::uint8_t> data);
    /// SMART_RCV_DRIVE_DATA; `operation` names the command in the trace.
    bool receiveSmart(std::int32_t physicalDriveId, const platform::IDEREGS& registers,
                      const wchar_t* operation, std::span<std::uint8_t, kIdentifyBytes> data);
    bool readSmartPd(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t feature,
                     const wchar_t* operation, AtaSmartInfo& asi);
    bool askScsiDisk(std::int32_t scsiPort, std::int32_t scsiTargetId, std::uint32_t controlCode,
                     const platform::IDEREGS& registers, std::span<std::uint8_t> data);
    bool readSmartScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, std::uint8_t feature,
                       AtaSmartInfo& asi);
    std::unique_ptr<platform::DeviceFile> openSiliconImage(std::int32_t scsiPort,
                                                           std::int32_t siliconImageType);
    platform::Result<bool> sendBridge(platform::DeviceFile& drive, const BridgeCdb& cdb,
                                      std::span<std::uint8_t> data);
    bool readSmartSat(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t feature,
                      AtaSmartInfo& asi);

    struct TaskPath;
    friend bool carriesAtaTask(std::uint32_t commandType, const AtaTask& task);
    static const TaskPath* taskPath(std::uint32_t commandType, const AtaTask& task); ///< null: no way
    TaskAnswer sendTaskPd(const AtaSmartInfo& asi, const AtaTask& task, std::span<std::uint8_t> data);
    TaskAnswer sendTaskSat(const AtaSmartInfo& asi, const AtaTask& task, std::span<std::uint8_t> data);
    TaskAnswer sendTaskCsmi(const AtaSmartInfo& asi, const AtaTask& task, std::span<std::uint8_t> data);
    TaskAnswer sendTaskMegaRaid(const AtaSmartInfo& asi, const AtaTask& task, std::span<std::uint8_t> data);

    /// The bytes that a CSMI request gave; its answer is written over it.
    platform::Result<std::uint32_t> exchangeCsmi(platform::DeviceFile& port, const CsmiCall& call,
                                                 std::span<std::byte> block);
    /// A CSMI request; its answer is written over it. False, and traced, only when the driver has no such
    /// request.
    bool askCsmi(platform::DeviceFile& port, const CsmiCall& call, std::span<std::byte> block);
    /// The target numbers of the drives of all RAID sets.
    bool readRaidTargets(platform::DeviceFile& port, const platform::CSMI_SAS_RAID_INFO_BUFFER& info,
                         std::vector<std::uint8_t>& raidTargets);
    /// Adds the NVMe drives among the members of RAID sets.
    void addRaidNvme(std::int32_t scsiPort, const std::vector<std::uint8_t>& raidTargets);
    bool readSmartCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity, std::uint8_t feature,
                       AtaSmartInfo& asi);
    /// The data of a good answer, which are no more than the request has room for.
    std::optional<std::vector<std::byte>> askMegaRaid(platform::DeviceFile& port,
                                                      const platform::MegaRaidHead& request);
    std::optional<std::vector<std::byte>> readMegaRaidList(platform::DeviceFile& port);
    /// The data that one SCSI command gave, which are `dataBytes` at most.
    std::optional<std::vector<std::byte>> passThroughMegaRaid(std::int32_t scsiPort, std::int32_t deviceId,
                                                              std::size_t dataBytes,
                                                              std::span<const std::uint8_t> cdb);
    bool readSmartMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, std::uint8_t feature,
                           AtaSmartInfo& asi);

    platform::ErrorCode probeFailure_ = platform::kSuccess;
    UnreadDrive probed_; // why the latest probe made no record, where that is known for certain
    bool searching_ = false;
    platform::NamedMutexes& mutexes_; // the platform's that made hMutexJMicron
};

/// True when the system's major number is above `major`, or its minor number above `minor`, or its build not
/// below `build`; false when the system cannot tell its version.
bool PlatformVersionTest(std::uint32_t major, std::uint32_t minor, std::uint32_t build);

std::wstring physicalDrivePath(std::int32_t physicalDriveId); ///< "\\.\PhysicalDrive0"
std::wstring scsiPath(std::int32_t scsiPort);                 ///< "\\.\Scsi0:"

/// The address that a device has on its SCSI port; empty when it has none.
std::optional<platform::SCSI_ADDRESS> GetScsiAddress(const std::wstring& path);
/// "\\.\SCSI0:" of the port of a device; empty when it has none.
std::wstring GetScsiPath(const std::wstring& path);

/// The device id of the controller that a drive is attached to; empty when it cannot be found.
std::wstring GetControllerDeviceId(std::int32_t physicalDriveId);
/// The link of that controller, by the device tree.
PcieLink GetPcieLink(std::int32_t physicalDriveId);
std::wstring FormatPcieLink(std::uint32_t speed, std::uint32_t width);

/// The texts with each byte pair swapped back take the place of the texts.
void takeReverseTexts(AtaSmartInfo& asi);
/// The same, when the model is one of those that bridges are known to swap.
void checkReverse(AtaSmartInfo& asi);

/// The two letters of a path; empty for a number without a row.
std::wstring commandTypeCode(std::uint32_t commandType);

/// As it stands in a record: for a path with two device selects "1" or "2" follows the letters.
std::wstring commandTypeString(std::uint32_t commandType, std::uint8_t target);

} // namespace orv
