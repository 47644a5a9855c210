#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/DriveSighting.h"
#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/paths/AtaTask.h"
#include "platform/records/CsmiRecords.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

namespace orv {

namespace {

/// A request of CSMI.
struct CsmiCall {
    std::uint32_t code;
    const char* signature; ///< eight characters
    const wchar_t* failure;
};

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its records

constexpr CsmiCall kDriverInfo = {CC_CSMI_SAS_GET_DRIVER_INFO, CSMI_ALL_SIGNATURE,
                                  L"FAILED: CC_CSMI_SAS_GET_DRIVER_INFO"};
constexpr CsmiCall kRaidInfo = {CC_CSMI_SAS_GET_RAID_INFO, CSMI_RAID_SIGNATURE,
                                L"FAILED: CC_CSMI_SAS_GET_RAID_INFO"};
constexpr CsmiCall kRaidConfig = {CC_CSMI_SAS_GET_RAID_CONFIG, CSMI_RAID_SIGNATURE,
                                  L"FAILED: CC_CSMI_SAS_GET_RAID_CONFIG"};
constexpr CsmiCall kPhyInfo = {CC_CSMI_SAS_GET_PHY_INFO, CSMI_SAS_SIGNATURE,
                               L"FAILED: CC_CSMI_SAS_GET_PHY_INFO"};
constexpr CsmiCall kPassThrough = {CC_CSMI_SAS_STP_PASSTHRU, CSMI_SAS_SIGNATURE, nullptr};

constexpr std::uint32_t kSeconds = 60;
constexpr std::uint8_t kSetFeatures = 0xEF; // the command without data
constexpr std::uint8_t kMaster = 0xA0;
constexpr std::size_t kTargetAt = 2; // in a SAS address: the drive's target number on the port

constexpr std::size_t kDrivesAt = offsetof(CSMI_SAS_RAID_CONFIG_BUFFER, Drives);
constexpr std::size_t kDriveBytes = sizeof(CSMI_SAS_RAID_DRIVES);
constexpr std::uint32_t kMostSets = 256; // more than a controller has
constexpr std::size_t kMostConfigBytes = std::size_t{16} << 20;

/// The errors by which a driver says that it has no such request. After any other the scan goes on.
bool isRefusal(ErrorCode error) {
    constexpr ErrorCode deviceNotThere = 55; // ERROR_DEV_NOT_EXIST
    return error == kInvalidFunction || error == kNotSupported || error == deviceNotThere;
}

template <class Record>
Record recordOf(const std::uint8_t* bytes) {
    Record record;
    std::memcpy(&record, bytes, sizeof record);
    return record;
}

/// Room for the configuration of every set; 0 where the driver's counts cannot be true. A set without drives
/// counts as one with a drive, since each set is a request.
std::size_t configBytes(const CSMI_SAS_RAID_INFO_BUFFER& info) {
    const std::uint64_t drives = std::uint64_t{info.uNumRaidSets} * std::max(info.uMaxDrivesPerSet, 1U);
    if (drives > (kMostConfigBytes - sizeof(CSMI_SAS_RAID_CONFIG_BUFFER)) / kDriveBytes) return 0;
    return static_cast<std::size_t>(std::uint64_t{info.uNumRaidSets} * info.uMaxDrivesPerSet) * kDriveBytes +
           sizeof(CSMI_SAS_RAID_CONFIG_BUFFER);
}

/// A target for each drive of a set that has a name; the same one may come again.
void addTargets(std::span<const std::byte> config, std::uint32_t drives,
                std::vector<std::uint8_t>& raidTargets) {
    for (std::size_t i = 0; i < drives; ++i) {
        const std::size_t at = kDrivesAt + i * kDriveBytes;
        if (at + kDriveBytes > config.size()) return;
        CSMI_SAS_RAID_DRIVES drive;
        std::memcpy(&drive, config.data() + at, sizeof drive);
        if (drive.bModel[0] != '\0') raidTargets.push_back(drive.bSASAddress[kTargetAt]);
    }
}

void traceDriver(const CSMI_SAS_DRIVER_INFO_BUFFER& driver, const std::wstring& name) {
    DebugFormat(L"DriverName: {}", name);
    DebugFormat(L"Revision: {}.{}.{}.{}", +driver.usMajorRevision, +driver.usMinorRevision,
                +driver.usBuildRevision, +driver.usReleaseRevision);
    DebugFormat(L"CSMI Revision: {}.{}", +driver.usCSMIMajorRevision, +driver.usCSMIMinorRevision);
}

/// This driver reports one phy for all of its drives, which are told apart by their numbers.
void spreadPhys(CSMI_SAS_PHY_INFO_BUFFER& phys, std::uint32_t drives) {
    const auto count = static_cast<std::uint8_t>(std::min<std::size_t>(drives, kCsmiPhys));
    for (std::uint8_t i = 0; i < count; ++i) {
        if (i >= phys.bNumberOfPhys) phys.Phy[i] = phys.Phy[0];
        phys.Phy[i].bPortIdentifier = phys.Phy[i].Attached.bPhyIdentifier = i;
    }
    phys.bNumberOfPhys = count;
}

CSMI_SAS_STP_PASSTHRU passThroughOf(const CSMI_SAS_PHY_ENTITY& phy, std::uint8_t command,
                                    std::uint8_t feature, std::uint8_t count, std::size_t dataBytes) {
    constexpr std::uint8_t hostToDevice = 0x27;
    constexpr std::uint8_t isCommand = 0x80;
    CSMI_SAS_STP_PASSTHRU request{};
    request.bPhyIdentifier = phy.Attached.bPhyIdentifier;
    request.bPortIdentifier = phy.bPortIdentifier;
    std::ranges::copy(phy.Attached.bSASAddress, request.bDestinationSASAddress);
    std::uint8_t* fis = request.bCommandFIS;
    fis[0] = hostToDevice;
    fis[1] = isCommand;
    fis[2] = command;
    fis[3] = feature;
    fis[5] = command == kSmart ? kSmartLbaMid : 0;
    fis[6] = command == kSmart ? kSmartLbaHigh : 0;
    fis[7] = kMaster;
    fis[12] = count;
    request.uFlags =
        command == kSetFeatures ? CSMI_SAS_STP_UNSPECIFIED : CSMI_SAS_STP_READ | CSMI_SAS_STP_PIO;
    request.uDataLength = static_cast<std::uint32_t>(dataBytes);
    return request;
}

CSMI_SAS_STP_PASSTHRU passThroughOf(const CSMI_SAS_PHY_ENTITY& phy, const AtaTask& task,
                                    std::size_t dataBytes) {
    const IDEREGS& low = task.registers;
    const IDEREGS& high = task.high;
    auto request = passThroughOf(phy, low.bCommandReg, low.bFeaturesReg, low.bSectorCountReg, dataBytes);
    const std::uint8_t registers[] = {
        low.bSectorNumberReg,  low.bCylLowReg,      low.bCylHighReg,  kMaster,
        high.bSectorNumberReg, high.bCylLowReg,     high.bCylHighReg, high.bFeaturesReg,
        low.bSectorCountReg,   high.bSectorCountReg};
    std::ranges::copy(registers, request.bCommandFIS + 4);
    if (task.isAnswerInRegisters) request.uFlags = CSMI_SAS_STP_UNSPECIFIED;
    return request;
}

/// The registers of the FIS from the device to the host; another FIS has none.
std::optional<IDEREGS> registersOf(const CSMI_SAS_STP_PASSTHRU_STATUS& status) {
    constexpr std::uint8_t deviceToHost = 0x34;
    const std::uint8_t* fis = status.bStatusFIS;
    if (fis[0] != deviceToHost) return std::nullopt;
    return IDEREGS{fis[3], fis[12], fis[4], fis[5], fis[6], fis[7], fis[2], 0};
}

/// The bytes that a request gave; its answer is written over it.
platform::Result<std::uint32_t> exchangeCsmi(DeviceAccess& devices, DeviceFile& port, const CsmiCall& call,
                                             std::span<std::byte> block) {
    IOCTL_HEADER head{};
    head.HeaderLength = sizeof head;
    std::memcpy(head.Signature, call.signature, sizeof head.Signature);
    head.Timeout = kSeconds;
    head.ControlCode = call.code;
    head.Length = static_cast<std::uint32_t>(block.size() - sizeof head);
    std::memcpy(block.data(), &head, sizeof head);
    const std::vector<std::byte> question(block.begin(), block.end());
    return devices.control(port, IOCTL_SCSI_MINIPORT, question, block);
}

/// False, and traced, only when the driver has no such request.
bool askCsmi(DeviceAccess& devices, DeviceFile& port, const CsmiCall& call, std::span<std::byte> block) {
    const auto answer = exchangeCsmi(devices, port, call, block);
    const bool tooLong = answer.ok() && answer.value > block.size();
    if (tooLong) devices.noteFailure(kInvalidData);
    if (!tooLong && !isRefusal(answer.error)) return true;
    if (call.failure) DebugPrint(call.failure);
    return false;
}

/// The target numbers of the drives of all RAID sets.
bool readRaidTargets(DeviceAccess& devices, DeviceFile& port, const CSMI_SAS_RAID_INFO_BUFFER& info,
                     std::vector<std::uint8_t>& raidTargets) {
    const std::size_t bytes = configBytes(info);
    const std::unique_ptr<std::byte[]> memory(bytes == 0 ? nullptr : new (std::nothrow) std::byte[bytes]);
    if (!memory) {
        DebugPrint(L"FAILED: PCSMI_SAS_RAID_CONFIG_BUFFER Memory Alloc");
        return false;
    }
    const std::span config(memory.get(), bytes);
    // Each set is a request with the whole buffer, so a count that lies is not followed for long.
    for (std::uint32_t set = 0; set < std::min(info.uNumRaidSets, kMostSets); ++set) {
        std::ranges::fill(config, std::byte{0});
        std::memcpy(config.data() + offsetof(CSMI_SAS_RAID_CONFIG_BUFFER, uRaidSetIndex), &set, sizeof set);
        if (!askCsmi(devices, port, kRaidConfig, config)) return false;
        addTargets(config, info.uMaxDrivesPerSet, raidTargets);
    }
    return true;
}

/// Adds the NVMe drives among the members of RAID sets.
void addRaidNvme(CAtaSmart& engine, std::int32_t scsiPort, const std::vector<std::uint8_t>& raidTargets) {
    const struct {
        CommandType commandType;
        const wchar_t* name;
    } paths[] = {{CMD_TYPE_NVME_INTEL_VROC, L"Vroc"}, {CMD_TYPE_NVME_INTEL_RST, L"Rst"}};
    for (const auto& path : paths) {
        for (const std::uint8_t target : raidTargets) {
            DebugFormat(L"DoIdentifyDeviceNVMeIntel{}(-1, {}, {})", path.name, scsiPort, +target);
            std::array<std::uint8_t, kNvmeIdentifyBytes> identify{};
            std::uint32_t diskSize = 0;
            const DriveSighting drive{.scsiPort = scsiPort, .scsiTargetId = target};
            if (!commandPath(path.commandType).nvme[0].identify(engine, drive, identify, diskSize)) continue;
            DebugPrint(L"AddDiskNVMe");
            engine.AddDiskNVMe({.scsiPort = scsiPort,
                                .scsiTargetId = target,
                                .scsiBus = 0,
                                .target = 0,
                                .commandType = path.commandType},
                               identify, &diskSize);
        }
    }
}

bool readSmartCsmi(CAtaSmart& engine, std::int32_t scsiPort, const std::uint8_t* phyEntity,
                   std::uint8_t feature, AtaSmartInfo& asi) {
    AtaBlock table{};
    return engine.SendAtaCommandCsmi(scsiPort, phyEntity, kSmart, feature, 0, table) &&
           keepSmart(asi, feature, table);
}

} // namespace

void CAtaSmart::AddDiskCsmi(std::int32_t scsiPort) {
    if (CsmiMode == 0) return;
    DebugFormat(L"AddDiskCsmi({})", scsiPort);
    const auto port = devices.open(scsiPath(scsiPort), kCommandOpening);
    if (!port) {
        DebugPrint(L"FAILED: INVALID_HANDLE_VALUE");
        return;
    }
    CSMI_SAS_DRIVER_INFO_BUFFER driver{};
    CSMI_SAS_RAID_INFO_BUFFER info{};
    CSMI_SAS_PHY_INFO_BUFFER phys{};
    std::vector<std::uint8_t> raidTargets;
    askCsmi(devices, *port, kDriverInfo, room(driver));
    askCsmi(devices, *port, kRaidInfo, room(info));
    if (!readRaidTargets(devices, *port, info, raidTargets) || !askCsmi(devices, *port, kPhyInfo, room(phys)))
        return;

    const std::wstring name(driver.szName, std::ranges::find(driver.szName, '\0'));
    traceDriver(driver, name);
    if (name == L"rcraid") {
        DebugPrint(L"rcraid");
        spreadPhys(phys, info.uMaxPhysicalDrives);
    } else {
        addRaidNvme(*this, scsiPort, raidTargets);
    }
    if (phys.bNumberOfPhys > kCsmiPhys) return;
    for (const CSMI_SAS_PHY_ENTITY& phy : std::span(phys.Phy).first(phys.bNumberOfPhys)) {
        constexpr std::uint32_t membersAlone = 2;
        if (CsmiMode == membersAlone &&
            std::ranges::find(raidTargets, phy.Attached.bSASAddress[kTargetAt]) == raidTargets.end())
            continue;
        std::uint8_t entity[sizeof phy];
        std::memcpy(entity, &phy, sizeof phy);
        AtaBlock identify{};
        if (DoIdentifyDeviceCsmi(scsiPort, entity, identify))
            AddDisk({.scsiPort = scsiPort, .commandType = CMD_TYPE_CSMI, .sasPhyEntity = entity}, identify);
    }
}

bool CAtaSmart::SendAtaCommandCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity, std::uint8_t command,
                                   std::uint8_t feature, std::uint8_t count, std::span<std::uint8_t> data) {
    const auto port = devices.open(scsiPath(scsiPort), kCommandOpening);
    if (!port) return false;
    const auto parameters =
        passThroughOf(recordOf<CSMI_SAS_PHY_ENTITY>(phyEntity), command, feature, count, data.size());
    std::vector<std::byte> block(sizeof(CSMI_SAS_STP_PASSTHRU_BUFFER) + data.size());
    std::memcpy(block.data() + offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, Parameters), &parameters,
                sizeof parameters);
    if (!askCsmi(devices, *port, kPassThrough, block)) return false;
    if (command != kSetFeatures && !data.empty())
        std::memcpy(data.data(), block.data() + offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, bDataBuffer),
                    data.size());
    return true;
}

bool CAtaSmart::DoIdentifyDeviceCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                                     std::span<std::uint8_t> data) {
    DebugPrint(L"DoIdentifyDeviceCsmi");
    return data.size() >= kAtaBytes &&
           SendAtaCommandCsmi(scsiPort, phyEntity, kIdentifyDevice, 0, 0, data.first(kAtaBytes));
}

bool CAtaSmart::GetSmartAttributeCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                                      AtaSmartInfo& asi) {
    DebugPrint(L"GetSmartAttributeCsmi");
    return readSmartCsmi(*this, scsiPort, phyEntity, kSmartReadData, asi);
}

bool CAtaSmart::GetSmartThresholdCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                                      AtaSmartInfo& asi) {
    DebugPrint(L"GetSmartThresholdCsmi");
    return readSmartCsmi(*this, scsiPort, phyEntity, kSmartReadThresholds, asi);
}

bool CAtaSmart::ControlSmartStatusCsmi(std::int32_t scsiPort, const std::uint8_t* phyEntity,
                                       std::uint8_t subCommand) {
    DebugPrint(L"ControlSmartStatusCsmi");
    return SendAtaCommandCsmi(scsiPort, phyEntity, kSmart, subCommand, 0, {});
}

TaskAnswer sendTaskCsmi(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                        std::span<std::uint8_t> data) {
    constexpr std::size_t dataAt = offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, bDataBuffer);
    const auto port = engine.devices.open(scsiPath(asi.ScsiPort), kCommandOpening);
    if (!port) return TaskAnswer::failed(kIoDevice);
    const auto parameters = passThroughOf(recordOf<CSMI_SAS_PHY_ENTITY>(asi.sasPhyEntity), task, data.size());
    std::vector<std::byte> block(sizeof(CSMI_SAS_STP_PASSTHRU_BUFFER) + data.size());
    std::memcpy(block.data() + offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, Parameters), &parameters,
                sizeof parameters);
    const auto told = exchangeCsmi(engine.devices, *port, kPassThrough, block);
    CSMI_SAS_STP_PASSTHRU_BUFFER head;
    std::memcpy(&head, block.data(), sizeof head);
    // The driver's own word, and whether the drive was reached.
    const bool good = told.ok() && told.value >= dataAt + data.size() && told.value <= block.size() &&
                      head.IoctlHeader.ReturnCode == 0 && head.Status.bConnectionStatus == 0;
    if (!good) {
        if (told.ok())
            engine.devices.noteFailure(head.IoctlHeader.ReturnCode != 0 ? kIoDevice : kInvalidData);
        return TaskAnswer::failed(kIoDevice);
    }
    if (!data.empty()) std::memcpy(data.data(), block.data() + dataAt, data.size());
    return {registersOf(head.Status)};
}

} // namespace orv
