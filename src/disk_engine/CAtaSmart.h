#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "platform/NamedMutexes.h"

#include <cstddef>
#include <cstdint>
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
class CAtaSmart {
  public:
    /// Reads the system's version and makes the JMicron mutex. Probes no drive.
    CAtaSmart();
    virtual ~CAtaSmart();
    CAtaSmart(const CAtaSmart&) = delete;
    CAtaSmart& operator=(const CAtaSmart&) = delete;

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
    platform::NamedMutexes& mutexes_; // the platform's that made hMutexJMicron
};

/// True when the system's major number is above `major`, or its minor number above `minor`, or its build not
/// below `build`; false when the system cannot tell its version.
bool PlatformVersionTest(std::uint32_t major, std::uint32_t minor, std::uint32_t build);

/// The two letters of a path; empty for a number without a row.
std::wstring commandTypeCode(std::uint32_t commandType);

/// As it stands in a record: for a path with two device selects "1" or "2" follows the letters.
std::wstring commandTypeString(std::uint32_t commandType, std::uint8_t target);

} // namespace orv
