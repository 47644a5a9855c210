#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/WideText.h"
#include "disk_engine/search/SearchStages.h"
#include "disk_engine/search/SystemServiceStart.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/records/StorageRecords.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <exception>
#include <new>
#include <tuple>

namespace orv {

namespace {

constexpr std::int32_t kScsiPorts = 16;
constexpr std::int32_t kScsiTargets = 8;
constexpr wchar_t kService[] = L"Winmgmt";
constexpr int kFirstAmdLibraryVersion = 93;
constexpr int kAmdVersionWithoutCsmi = 92;

/// Runs a stage, which gives false where the road of the management data ends. What it throws ends it alone,
/// save for a lack of memory: that ends the search, so that it is run anew when there is some.
template <class Body>
bool stage(const wchar_t* name, const wchar_t* trace, Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        if (trace) DebugPrint(trace);
        log::warn(diskLogger, L"the search for drives: {} ended early: {}", name,
                  platform::utf8ToWide(failure.what()));
        return true;
    }
}

bool refuse(const wchar_t* trace, const wchar_t* what, platform::ErrorCode error) {
    endWithoutDescriptors(error);
    DebugPrint(trace);
    log::warn(diskLogger, L"no management data for the search for drives: {} ({:#x})", what, error);
    return false;
}

bool connect(ManagementSession& session) {
    platform::ManagementData& data = platform::current().managementData();
    if (!isServiceRunning(kService)) {
        DebugPrint(L"Waiting... Winmgmt");
        if (!startService(kService))
            return refuse(L"NG:WMI Init 3", L"the service Winmgmt does not run", platform::kSuccess);
    }
    data.initializeSecurity();
    auto locator = data.createLocator();
    if (!locator.ok()) return refuse(L"NG:WMI Init 1", L"no locator", locator.error);
    session.locator = std::move(locator.value);
    const std::uint32_t flags = PlatformVersionTest(6, 0, 0) ? platform::kConnectWaitsAtMost : 0;
    auto services = session.locator->connectServer(LR"(\\.\root\cimv2)", flags);
    if (!services.ok()) return refuse(L"NG:WMI Init 2", L"no connection", services.error);
    const platform::ErrorCode blanket = services.value->setProxyBlanket();
    if (blanket != platform::kSuccess)
        return refuse(fmt::format(L"NG:WMI Init - {:08X}", blanket).c_str(), L"no right", blanket);
    session.services = std::move(services.value);
    DebugPrint(L"OK:WMI Init");
    return true;
}

// ---- Wake-up and RAID scans

void wakeDrives(CAtaSmart& engine) {
    for (std::int32_t i = 0; i < MAX_SEARCH_PHYSICAL_DRIVE; ++i) {
        const auto drive = engine.OpenPhysicalDrive(i);
        if (!drive) continue;
        platform::DISK_GEOMETRY geometry{};
        const auto measured = drive->control(platform::IOCTL_DISK_GET_DRIVE_GEOMETRY, {},
                                             std::as_writable_bytes(std::span(&geometry, 1)));
        endWithoutDescriptors(measured.error);
        if (!measured.ok() || geometry.MediaType != platform::kFixedMedia) continue;
        DebugFormat(L"WakeUp({})", i);
        engine.WakeUp(i);
    }
}

void scanCsmi(CAtaSmart& engine, const wchar_t* label) {
    DebugPrint(label);
    for (std::int32_t port = 0; port < kScsiPorts; ++port)
        engine.AddDiskCsmi(port);
}

/// AMD's library tells more than its driver; one version of the driver does not bear CSMI.
void scanAmdAndCsmi(CAtaSmart& engine, int amdVersion) {
    if (engine.FlagAmdRc2 && amdVersion >= kFirstAmdLibraryVersion) {
        DebugPrint(L"AddDiskAMD_RC2");
        if (!engine.AddDiskAMD_RC2()) scanCsmi(engine, L"AMD RAID (CSMI)");
    } else if (amdVersion != kAmdVersionWithoutCsmi) {
        scanCsmi(engine, L"Intel/AMD RAID (CSMI)");
    }
}

void scanMegaRaid(CAtaSmart& engine) {
    if (!engine.FlagMegaRaid) return;
    DebugPrint(L"MegaRAID");
    for (std::int32_t port = 0; port < kScsiPorts; ++port)
        engine.AddDiskMegaRaid(port);
}

void scanVroc(CAtaSmart& engine) {
    if (!engine.FlagIntelVroc) return;
    std::array<std::uint8_t, kNvmeIdentifyBytes> identify;
    for (std::int32_t port = 0; port < kScsiPorts; ++port) {
        for (std::int32_t target = 0; target < kScsiTargets; ++target) {
            std::uint32_t diskSize = 0;
            identify.fill(0);
            const DriveSighting drive{.scsiPort = port, .scsiTargetId = target};
            const auto identifyDrive = commandPath(CMD_TYPE_NVME_INTEL_VROC).nvme[0].identify;
            if (!identifyDrive(engine, drive, identify, diskSize)) continue;
            engine.AddDiskNVMe({.scsiPort = port,
                                .scsiTargetId = target,
                                .scsiBus = 0,
                                .target = 0,
                                .commandType = CMD_TYPE_NVME_INTEL_VROC},
                               identify, &diskSize);
        }
    }
}

void scanRaid(CAtaSmart& engine, int amdVersion) {
    const auto scan = [](const wchar_t* name, auto body) {
        stage(name, nullptr, [&] {
            body();
            return true;
        });
    };
    scan(L"the AMD and CSMI scan", [&] { scanAmdAndCsmi(engine, amdVersion); });
    scan(L"the MegaRAID scan", [&] { scanMegaRaid(engine); });
    scan(L"the VROC scan", [&] { scanVroc(engine); });
}

// ---- The stages

/// Everything that the management data lead to.
void searchManagement(CAtaSmart& engine, bool& removableTargetSeen) {
    ManagementSession session;
    stage(L"the connection to the management data", L"EX:WMI Init", [&] {
        engine.IsWmi = connect(session);
        return true;
    });
    if (!engine.IsWmi) return;
    platform::ManagementServices& services = *session.services;

    int amdVersion = 0; // of the rows that were read, should the others break off
    stage(L"the AMD driver's version", L"EX:Win32_PnPSignedDriver", [&] {
        readAmdRaidDriverVersion(services, amdVersion);
        return true;
    });
    const bool controllersKnown = stage(L"the IDE controllers", L"EX:Win32_IDEController",
                                        [&] { return readIdeControllers(engine, services); }) &&
                                  stage(L"the SCSI controllers", L"EX:Win32_SCSIController",
                                        [&] { return readScsiControllers(engine, services); }) &&
                                  stage(L"the USB devices", L"EX:Win32_USBController",
                                        [&] { return readUsbDevices(engine, services); });
    if (!controllersKnown) return; // nor are the drives told then
    stage(L"the wake-up", nullptr, [&] {
        wakeDrives(engine);
        return true;
    });
    scanRaid(engine, amdVersion);
    stage(L"the rows of the disks", L"EX:SELECT * FROM Win32_DiskDrive", [&] {
        searchDiskRows(engine, services, removableTargetSeen);
        return true;
    });
}

void walkPhysicalDrives(CAtaSmart& engine) {
    for (std::int32_t i = 0; i < MAX_SEARCH_PHYSICAL_DRIVE; ++i)
        engine.SearchPhysicalDrive(i);
    DebugPrint(L"OK:GetDiskInfo - PhysicalDrive");
}

void walkPorts(CAtaSmart& engine) {
    for (std::int32_t port = 0; port < kScsiPorts; ++port)
        for (std::int32_t target = 0; target < kScsiTargets; ++target)
            if (engine.GetDiskInfo({.scsiPort = port, .scsiTargetId = target}))
                checkReverse(engine.vars.back());
    DebugPrint(L"OK:GetDiskInfo - Scsi");
}

// ---- The end

/// Drops records from the last to the first; they count as unread.
template <class Unwanted>
void drop(CAtaSmart& engine, UnreadDrive::Reason reason, Unwanted unwanted) {
    for (std::size_t i = engine.vars.size(); i-- > 0;) {
        const AtaSmartInfo& asi = engine.vars[i];
        if (!unwanted(asi)) continue;
        const bool isUnread = reason == UnreadDrive::Reason::noAttributes;
        std::erase_if(engine.unreadDrives, [&](const UnreadDrive& drive) {
            return asi.PhysicalDriveId >= 0 && drive.physicalDriveId == asi.PhysicalDriveId;
        });
        engine.unreadDrives.push_back(
            {asi.PhysicalDriveId, asi.Model, reason, isUnread ? asi.answering.failure : platform::kSuccess});
        engine.vars.erase(engine.vars.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

/// Those stay that another path gave no record either. The twin of a record without a number is that drive.
void settleUnread(CAtaSmart& engine) {
    std::erase_if(engine.unreadDrives, [&](const UnreadDrive& drive) {
        if (drive.reason == UnreadDrive::Reason::twin && drive.twinOf < 0) return true;
        return std::ranges::any_of(engine.vars, [&](const AtaSmartInfo& asi) {
            return asi.PhysicalDriveId >= 0 && asi.PhysicalDriveId == drive.physicalDriveId;
        });
    });
}

/// Who misses a drive in the list finds the reason in the log.
void tellUnread(const CAtaSmart& engine) {
    for (const UnreadDrive& drive : engine.unreadDrives)
        log::warn(diskLogger, L"drive {}, \"{}\", is not listed: {}", drive.physicalDriveId, drive.model,
                  whyUnread(drive));
}

/// Drives without a letter come last, and so does one on A. A number can be any, where a vendor's library
/// tells it.
std::int64_t sortKey(const AtaSmartInfo& asi, bool byDriveLetter) {
    constexpr std::int64_t unnumbered = 255;
    constexpr std::uint32_t letters = (1U << 26) - 1;
    constexpr std::int64_t unlettered = 27;
    const std::int64_t id = asi.PhysicalDriveId == -1 ? unnumbered : asi.PhysicalDriveId;
    if (!byDriveLetter) return id * 257;
    const std::uint32_t map = asi.DriveLetterMap & letters;
    const std::int64_t lowest = map == 0 ? 0 : std::countr_zero(map);
    return (lowest == 0 ? unlettered : lowest) * 256 + id;
}

void sortDrives(std::vector<AtaSmartInfo>& vars, bool byDriveLetter) {
    constexpr std::size_t portIdentifier = 28; // bPortIdentifier of CSMI_SAS_PHY_ENTITY
    DebugPrint(byDriveLetter ? L"Sort by DriveLetter" : L"Sort by PhysicalDriveId");
    std::ranges::stable_sort(vars, {}, [&](const AtaSmartInfo& asi) {
        return std::pair(sortKey(asi, byDriveLetter), asi.sasPhyEntity[portIdentifier]);
    });
}

/// What tells one record of a drive from another's.
using Identity = std::tuple<std::int32_t, std::int32_t, std::int32_t,
                            std::array<std::uint8_t, sizeof(AtaSmartInfo::sasPhyEntity)>>;

std::vector<Identity> identities(const std::vector<AtaSmartInfo>& vars) {
    std::vector<Identity> all;
    for (const AtaSmartInfo& asi : vars)
        all.emplace_back(asi.PhysicalDriveId, asi.ScsiPort, asi.ScsiTargetId,
                         std::to_array(asi.sasPhyEntity));
    return all;
}

/// Marks the engine for a scope.
class Searching {
  public:
    explicit Searching(DeviceAccess& devices) : devices_(devices) { devices_.setSearching(true); }
    ~Searching() { devices_.setSearching(false); }
    Searching(const Searching&) = delete;
    Searching& operator=(const Searching&) = delete;

  private:
    DeviceAccess& devices_;
};

} // namespace

void CAtaSmart::Init(BOOL useWmi, BOOL advancedDiskSearch, BOOL* changed, BOOL skipHd204uiOldFirmware,
                     BOOL hideNoSmartDisk, BOOL sortDriveLetter) {
    AdvancedDiskSearch = advancedDiskSearch;
    SkipHd204uiOldFirmware = skipHd204uiOldFirmware;
    IsWmi = IsNvidiaController = IsMarvellController = 0;
    std::vector<Identity> before;
    if (changed) {
        *changed = 0;
        before = identities(vars);
    }
    vars.clear();
    usbDevices.clear();
    IdeController.clear();
    ScsiController.clear();
    ControllerMap.clear();
    BlackScsiController.clear();
    SiliconImageController.clear();
    UASPController.clear();
    SiliconImageType.clear();
    unreadDrives.clear();
    silentMegaRaidDisks.clear();
    const Searching searching(devices);

    bool removableTargetSeen = false;
    DebugPrint(useWmi ? L"CAtaSmart::Init WMI on - Start" : L"CAtaSmart::Init WMI off - Start");
    if (useWmi) searchManagement(*this, removableTargetSeen);
    const auto run = [](const wchar_t* name, auto body) {
        stage(name, nullptr, [&] {
            body();
            return true;
        });
    };
    run(L"the walk over the drive numbers", [&] { walkPhysicalDrives(*this); });
    if (AdvancedDiskSearch) run(L"the walk over the ports", [&] { walkPorts(*this); });
    run(L"the drive letters", [&] { mapDriveLetters(vars, removableTargetSeen); });

    constexpr std::int64_t nanosecondsOfMillisecond = 1'000'000;
    InitCompleteTick =
        static_cast<std::uint64_t>(platform::current().clock().monotonicNs() / nanosecondsOfMillisecond);
    DebugPrint(L"CAtaSmart::Init - Complete");
    if (changed) *changed = identities(vars) != before;
    if (hideNoSmartDisk)
        drop(*this, UnreadDrive::Reason::noAttributes,
             [](const AtaSmartInfo& asi) { return asi.AttributeCount == 0; });
    drop(*this, UnreadDrive::Reason::raidVolume,
         [](const AtaSmartInfo& asi) { return Contains(Upper(asi.Model), L"RAID"); });
    settleUnread(*this);
    tellUnread(*this);
    sortDrives(vars, sortDriveLetter != 0);
}

} // namespace orv
