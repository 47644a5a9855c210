// What is known of the command paths, one row each, and what USB bridges understand. In which order they are
// tried, and with which labels, stands in search/ProbeDrive.cpp.

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/CommandPath.h"
#include "disk_engine/DriveSighting.h"
#include "disk_engine/paths/AtaBridges.h"
#include "disk_engine/paths/AtaTask.h"
#include "disk_engine/paths/SmartPass.h"

#include <iterator>

namespace orv {

namespace {

using Wake = CommandPath::Wake;
using Engine = CAtaSmart;
using Allowed = AllowedPaths;

constexpr std::uint8_t kEnableSmart = 0xD8;
constexpr std::uint8_t kMaster = 0xA0;
constexpr std::uint8_t kSlave = 0xB0;

// ---- The physical drive's own path, and that of CSMI, of which a drive can have both

bool identifyPd(Engine& engine, const DriveSighting& drive, std::uint8_t target, IdentifyBlock block) {
    return engine.DoIdentifyDevicePd(drive.physicalDriveId, target, block);
}
bool attributesPd(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributePd(asi.PhysicalDriveId, asi.Target, asi);
}
bool enablePd(Engine& engine, const AtaSmartInfo& asi) {
    return engine.ControlSmartStatusPd(asi.PhysicalDriveId, asi.Target, kEnableSmart);
}
bool thresholdsPd(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartThresholdPd(asi.PhysicalDriveId, asi.Target, asi);
}
bool attributesCsmi(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributeCsmi(asi.ScsiPort, asi.sasPhyEntity, asi);
}
bool enableCsmi(Engine& engine, const AtaSmartInfo& asi) {
    return engine.ControlSmartStatusCsmi(asi.ScsiPort, asi.sasPhyEntity, kEnableSmart);
}
bool thresholdsCsmi(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartThresholdCsmi(asi.ScsiPort, asi.sasPhyEntity, asi);
}

constexpr SmartReads kPdReads = {readUnlessEqual,
                                 attributesPd,
                                 enablePd,
                                 thresholdsPd,
                                 {L"GetSmartAttributePd({}) - 1", L"GetSmartAttributePd({}) - 1A",
                                  L"GetSmartAttributePd({}) - 2", L"GetSmartAttributePd({}) - 2A"}};
constexpr SmartReads kCsmiReads = {readTwice, attributesCsmi, enableCsmi, thresholdsCsmi, {}};
constexpr SmartReads kCsmiPdReads = {
    readUnlessEqual,
    attributesPd,
    enablePd,
    thresholdsPd,
    {L"GetSmartAttributePd({}) - 1 CSMI", L"GetSmartAttributePd({}) - 1A CSMI"}};
constexpr SmartReads kCsmiReadsBehind = {
    readTwiceIfNeeded, attributesCsmi, enableCsmi, thresholdsCsmi, {L"GetSmartAttributeCsmi - 1 CSMI"}};

// ---- Ports

bool identifyScsi(Engine& engine, const DriveSighting& drive, std::uint8_t, IdentifyBlock block) {
    return engine.DoIdentifyDeviceScsi(drive.scsiPort, drive.scsiTargetId, block);
}
constexpr SmartReads kScsiReads = {
    readTwice,
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartAttributeScsi(asi.ScsiPort, asi.ScsiTargetId, asi);
    },
    [](Engine& engine, const AtaSmartInfo& asi) {
        return engine.ControlSmartStatusScsi(asi.ScsiPort, asi.ScsiTargetId, kEnableSmart);
    },
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartThresholdScsi(asi.ScsiPort, asi.ScsiTargetId, asi);
    },
    {}};

bool identifySi(Engine& engine, const DriveSighting& drive, std::uint8_t, IdentifyBlock block) {
    return engine.DoIdentifyDeviceSi(drive.scsiPort, drive.scsiBus, drive.siliconImageType, block);
}
constexpr SmartReads kSiReads = {
    readSiliconImage,
    [](Engine& engine, AtaSmartInfo& asi) { return engine.GetSmartAttributeSi(asi.PhysicalDriveId, asi); },
    nullptr,
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartThresholdPd(asi.PhysicalDriveId, kMaster, asi);
    },
    {L"GetSmartAttributeSi(physicalDriveId, &asi)", L"GetSmartAttributeSi(physicalDriveId, &asiCheck)"}};

constexpr SmartReads kMegaRaidReads = {
    readTwice,
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartAttributeMegaRaid(asi.ScsiPort, asi.ScsiTargetId, asi);
    },
    [](Engine& engine, const AtaSmartInfo& asi) {
        return engine.ControlSmartStatusMegaRaid(asi.ScsiPort, asi.ScsiTargetId, kEnableSmart);
    },
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartThresholdMegaRaid(asi.ScsiPort, asi.ScsiTargetId, asi);
    },
    {}};

// ---- A library, and the management data

bool attributesAmdRc2(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributeAmdRc2(asi.ScsiBus, asi);
}
constexpr SmartReads kAmdRc2Reads = {
    readWithoutThresholds,
    attributesAmdRc2,
    nullptr,
    [](Engine& engine, AtaSmartInfo& asi) { return engine.GetSmartThresholdAmdRc2(asi.ScsiBus, asi); },
    {}};
constexpr SmartReads kWmiReads = {
    readOnce,
    [](Engine& engine, AtaSmartInfo& asi) { return engine.GetSmartAttributeWmi(asi); },
    nullptr,
    [](Engine& engine, AtaSmartInfo& asi) { return engine.GetSmartThresholdWmi(asi); },
    {}};

// ---- USB bridges to ATA drives: identify, attributes, thresholds, control

constexpr std::uint16_t T = kDeviceByte;
constexpr std::uint16_t F = kFeature;

// clang-format off
constexpr AtaBridge kSat = {
    {12, {0xA1, 0x08, 0x0E, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC, 0x00, 0x00}},
    {12, {0xA1, 0x08, 0x0E, 0xD0, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
    {12, {0xA1, 0x08, 0x0E, 0xD1, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
    {12, {0xA1, 0x06, 0x0E, F, 0x00, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
};
constexpr AtaBridge kSunplus = {
    {12, {0xF8, 0x00, 0x22, 0x10, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC}},
    {12, {0xF8, 0x00, 0x22, 0x10, 0x01, 0xD0, 0x01, 0x00, 0x4F, 0xC2, T, 0xB0}},
    {12, {0xF8, 0x00, 0x22, 0x10, 0x01, 0xD1, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0}},
    {12, {0xF8, 0x00, 0x22, 0x10, 0x01, F, 0x01, 0x00, 0x4F, 0xC2, T, 0xB0}},
};
constexpr AtaBridge kIoData = {
    {12, {0xE3, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, T, 0xEC, 0x00, 0x00, 0x00}},
    {12, {0xE3, 0x00, 0xD0, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
    {12, {0xE3, 0x00, 0xD1, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
    {12, {0xE3, 0x00, F, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
};
constexpr AtaBridge kLogitec = {
    {10, {0xE0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, T, 0xEC, 0x4C}},
    {10, {0xE0, 0x00, 0xD0, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x4C}},
    {10, {0xE0, 0x00, 0xD1, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x4C}},
    {10, {0xE0, 0x00, F, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x4C}},
};
constexpr AtaBridge kProlific = {
    {16, {0xD8, 0x15, 0x00, 0x00, 0x06, 0x7B, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC}},
    {16, {0xD8, 0x15, 0x00, 0xD0, 0x06, 0x7B, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00, 0x4F, 0xC2, T, 0xB0}},
    {16, {0xD8, 0x15, 0x00, 0xD1, 0x06, 0x7B, 0x00, 0x00, 0x02, 0x00, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0}},
    {16, {0xD8, 0x15, 0x00, F, 0x06, 0x7B, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00, 0x4F, 0xC2, T, 0xB0}},
};
constexpr AtaBridge kJMicron = {
    {12, {0xDF, 0x10, 0x00, 0x02, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC}},
    {12, {0xDF, 0x10, 0x00, 0x02, 0x00, 0xD0, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0}},
    {12, {0xDF, 0x10, 0x00, 0x02, 0x00, 0xD1, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0}},
    {12, {0xDF, 0x10, 0x00, 0x02, 0x00, F, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0}},
};
constexpr AtaBridge kCypress = {
    {16, {0x24, 0x24, 0x00, 0xBE, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC, 0x00, 0x00, 0x00}},
    {16, {0x24, 0x24, 0x00, 0xBE, 0x01, 0x00, 0xD0, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
    {16, {0x24, 0x24, 0x00, 0xBE, 0x01, 0x00, 0xD1, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
    {16, {0x24, 0x24, 0x00, 0xBE, 0x00, 0x00, F, 0x00, 0x00, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00, 0x00}},
};
constexpr AtaBridge kAsm1352r = {
    {12, {0xA1, 0x1C, 0x0E, 0x00, 0x01, 0x00, 0x00, 0x00, T, 0xEC, 0x00, 0x00}},
    {12, {0xA1, 0x1C, 0x0E, 0xD0, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
    {12, {0xA1, 0x1C, 0x0E, 0xD1, 0x01, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
    {12, {0xA1, 0x1C, 0x0E, F, 0x00, 0x01, 0x4F, 0xC2, T, 0xB0, 0x00, 0x00}},
};
// clang-format on

template <CommandType Type>
bool identifyByBridge(Engine& engine, const DriveSighting& drive, std::uint8_t target, IdentifyBlock block) {
    return engine.DoIdentifyDeviceSat(drive.physicalDriveId, target, block, Type);
}
constexpr SmartReads kBridgeReads = {
    readTwice,
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartAttributeSat(asi.PhysicalDriveId, asi.Target, asi);
    },
    [](Engine& engine, const AtaSmartInfo& asi) {
        return engine.ControlSmartStatusSat(asi.PhysicalDriveId, asi.Target, kEnableSmart, asi.CommandType);
    },
    [](Engine& engine, AtaSmartInfo& asi) {
        return engine.GetSmartThresholdSat(asi.PhysicalDriveId, asi.Target, asi);
    },
    {L"GetSmartAttributeSat({}) - 1 [{}]", L"GetSmartAttributeSat - 1A", L"GetSmartAttributeSat - 2",
     L"GetSmartAttributeSat - 2A"}};

template <CommandType Type>
constexpr CommandPath bridgePath(const wchar_t* letters, BOOL Allowed::*allowedBy, const AtaBridge& bridge) {
    return {.type = Type,
            .letters = letters,
            .tellsSelect = true,
            .allowedBy = allowedBy,
            .identify = identifyByBridge<Type>,
            .bridge = &bridge,
            .smart = &kBridgeReads,
            .wake = Wake::first};
}

// ---- NVMe drives

using IdentifyOfPort = bool (Engine::*)(std::int32_t, std::int32_t, std::int32_t, NvmeIdentifyBlock,
                                        std::uint32_t&);
using IdentifyOfDrive = bool (Engine::*)(std::int32_t, NvmeIdentifyBlock);
using HealthOfPort = bool (Engine::*)(std::int32_t, std::int32_t, std::int32_t, AtaSmartInfo&);
using HealthOfDrive = bool (Engine::*)(std::int32_t, AtaSmartInfo&);

template <IdentifyOfPort Routine>
bool byPort(Engine& engine, const DriveSighting& drive, NvmeIdentifyBlock block, std::uint32_t& diskSize) {
    return (engine.*Routine)(drive.physicalDriveId, drive.scsiPort, drive.scsiTargetId, block, diskSize);
}
template <IdentifyOfDrive Routine>
bool byDrive(Engine& engine, const DriveSighting& drive, NvmeIdentifyBlock block, std::uint32_t&) {
    return (engine.*Routine)(drive.physicalDriveId, block);
}
template <bool Usb2Mode>
bool byJMicron(Engine& engine, const DriveSighting& drive, NvmeIdentifyBlock block, std::uint32_t&) {
    return engine.DoIdentifyDeviceNVMeJMicron(drive.physicalDriveId, block, Usb2Mode);
}
template <HealthOfPort Routine>
bool healthByPort(Engine& engine, AtaSmartInfo& asi) {
    return (engine.*Routine)(asi.PhysicalDriveId, asi.ScsiPort, asi.ScsiTargetId, asi);
}
template <HealthOfDrive Routine>
bool healthByDrive(Engine& engine, AtaSmartInfo& asi) {
    return (engine.*Routine)(asi.PhysicalDriveId, asi);
}
bool healthByQuery(Engine& engine, AtaSmartInfo& asi) {
    return engine.FlagStorageQuery && engine.GetSmartAttributeNVMeStorageQuery(asi.PhysicalDriveId, asi);
}
bool healthBySamsung(Engine& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributeNVMeSamsung(asi.PhysicalDriveId, asi) ||
           engine.GetSmartAttributeNVMeSamsungMiniport(asi.PhysicalDriveId, asi);
}

// ---- The rows, by their numbers

constexpr CommandPath kPaths[] = {
    {.type = CMD_TYPE_UNKNOWN, .letters = L"un", .isPlain = true},
    {.type = CMD_TYPE_PHYSICAL_DRIVE,
     .letters = L"pd",
     .tellsSelect = true,
     .isPlain = true,
     .identify = identifyPd,
     .smart = &kPdReads,
     .wake = Wake::ifSilent,
     .sendTask = sendTaskPd,
     .tellsRegisters = true},
    {.type = CMD_TYPE_SCSI_MINIPORT,
     .letters = L"sm",
     .isPlain = true,
     .identify = identifyScsi,
     .smart = &kScsiReads},
    {.type = CMD_TYPE_SILICON_IMAGE,
     .letters = L"si",
     .isPlain = true,
     .identify = identifySi,
     .smart = &kSiReads},
    {.type = CMD_TYPE_SAT,
     .letters = L"sa",
     .tellsSelect = true,
     .allowedBy = &Allowed::FlagUsbSat,
     .identify = identifyByBridge<CMD_TYPE_SAT>,
     .bridge = &kSat,
     .smart = &kBridgeReads,
     .wake = Wake::first,
     .sendTask = sendTaskSat,
     .tellsRegisters = true},
    bridgePath<CMD_TYPE_SUNPLUS>(L"sp", &Allowed::FlagUsbSunplus, kSunplus),
    bridgePath<CMD_TYPE_IO_DATA>(L"io", &Allowed::FlagUsbIoData, kIoData),
    bridgePath<CMD_TYPE_LOGITEC>(L"lo", &Allowed::FlagUsbLogitec, kLogitec),
    bridgePath<CMD_TYPE_PROLIFIC>(L"pr", &Allowed::FlagUsbProlific, kProlific),
    bridgePath<CMD_TYPE_JMICRON>(L"jm", &Allowed::FlagUsbJmicron, kJMicron),
    bridgePath<CMD_TYPE_CYPRESS>(L"cy", &Allowed::FlagUsbCypress, kCypress),
    bridgePath<CMD_TYPE_SAT_ASM1352R>(L"pr", &Allowed::FlagUsbAsm1352r, kAsm1352r),
    {.type = CMD_TYPE_CSMI,
     .letters = L"cs",
     .smart = &kCsmiReads,
     .sendTask = sendTaskCsmi,
     .tellsRegisters = true},
    {.type = CMD_TYPE_CSMI_PHYSICAL_DRIVE,
     .letters = L"cp",
     .smart = &kCsmiPdReads,
     .smartBehind = &kCsmiReadsBehind,
     .wake = Wake::ifSilent,
     .takenOverBy = CMD_TYPE_CSMI,
     .sendTask = sendTaskPd,
     .tellsRegisters = true},
    {.type = CMD_TYPE_WMI, .letters = L"wm", .smart = &kWmiReads},
    {.type = CMD_TYPE_NVME_SAMSUNG,
     .letters = L"ns",
     .nvme = {{nullptr, byDrive<&Engine::DoIdentifyDeviceNVMeSamsung>}},
     .readHealth = healthBySamsung},
    {.type = CMD_TYPE_NVME_INTEL,
     .letters = L"ni",
     .nvme = {{nullptr, byPort<&Engine::DoIdentifyDeviceNVMeIntel>}},
     .readHealth = healthByDrive<&Engine::GetSmartAttributeNVMeIntel>},
    {.type = CMD_TYPE_NVME_STORAGE_QUERY,
     .letters = L"sq",
     .nvme = {{&Allowed::FlagStorageQuery, byPort<&Engine::DoIdentifyDeviceNVMeStorageQuery>}},
     .readHealth = healthByQuery},
    {.type = CMD_TYPE_NVME_JMICRON,
     .letters = L"nj",
     .isUsbNvme = true,
     .nvme = {{&Allowed::FlagUsbNvmeJmicron, byJMicron<false>},
              {&Allowed::FlagUsbNvmeJmicronUsb2, byJMicron<true>}},
     .readHealth = healthByDrive<&Engine::GetSmartAttributeNVMeJMicron>},
    {.type = CMD_TYPE_NVME_ASMEDIA,
     .letters = L"na",
     .isUsbNvme = true,
     .nvme = {{&Allowed::FlagUsbNvmeAsmedia, byDrive<&Engine::DoIdentifyDeviceNVMeASMedia>}},
     .readHealth = healthByDrive<&Engine::GetSmartAttributeNVMeASMedia>},
    {.type = CMD_TYPE_NVME_REALTEK,
     .letters = L"nr",
     .isUsbNvme = true,
     .nvme = {{&Allowed::FlagUsbNvmeRealtek, byDrive<&Engine::DoIdentifyDeviceNVMeRealtek>}},
     .readHealth = healthByDrive<&Engine::GetSmartAttributeNVMeRealtek>},
    {.type = CMD_TYPE_NVME_INTEL_RST,
     .letters = L"nt",
     .nvme = {{nullptr, byPort<&Engine::DoIdentifyDeviceNVMeIntelRst>}},
     .sizeCounts = true,
     .readHealth = healthByPort<&Engine::GetSmartAttributeNVMeIntelRst>},
    {.type = CMD_TYPE_NVME_INTEL_VROC,
     .letters = L"iv",
     .nvme = {{nullptr, byPort<&Engine::DoIdentifyDeviceNVMeIntelVroc>}},
     .sizeCounts = true,
     .readHealth = healthByPort<&Engine::GetSmartAttributeNVMeIntelVroc>},
    {.type = CMD_TYPE_MEGARAID, .letters = L"mr", .smart = &kMegaRaidReads, .sendTask = sendTaskMegaRaid},
    {.type = CMD_TYPE_AMD_RC2,
     .letters = L"rc",
     .hidesSizes = true,
     .smart = &kAmdRc2Reads,
     .readHealth = attributesAmdRc2},
    {.type = CMD_TYPE_RESERVED_25, .letters = L"j5", .hidesSizes = true},
    {.type = CMD_TYPE_RESERVED_26, .letters = L"j3", .hidesSizes = true},
    {.type = CMD_TYPE_RESERVED_27, .letters = L"dg"},
};

/// A value of CommandType that no row knows does not compile.
consteval bool isComplete() {
    for (std::size_t i = 0; i < std::size(kPaths); ++i)
        if (kPaths[i].type != i) return false;
    return std::size(kPaths) == kCommandTypes;
}
static_assert(isComplete());

} // namespace

const CommandPath& commandPath(std::uint32_t commandType) {
    return kPaths[commandType < kCommandTypes ? commandType : CMD_TYPE_UNKNOWN];
}

std::wstring commandTypeCode(std::uint32_t commandType) {
    return commandType < kCommandTypes ? kPaths[commandType].letters : L"";
}

std::wstring commandTypeString(std::uint32_t commandType, std::uint8_t target) {
    const bool selects = commandPath(commandType).tellsSelect;
    return commandTypeCode(commandType) + (!selects ? L"" : target == kSlave ? L"2" : L"1");
}

} // namespace orv
