#include "disk_engine/paths/SmartPass.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/dialects/Interpretation.h"

#include <algorithm>

namespace orv {

namespace {

constexpr std::uint8_t kEnableSmart = 0xD8;
constexpr std::uint8_t kMaster = 0xA0;

/// The commands of one path, each for the drive of the record.
struct SmartTransport {
    std::uint32_t first, last; ///< paths, CommandType
    void (*pass)(CAtaSmart&, const SmartTransport&, AtaSmartInfo&);
    bool (*readAttributes)(CAtaSmart&, AtaSmartInfo&);
    bool (*enable)(CAtaSmart&, const AtaSmartInfo&); ///< null: no such command
    bool (*readThresholds)(CAtaSmart&, AtaSmartInfo&);
    /// Traced before the reads: first and scratch read of the first attempt, then of the second. {} takes the
    /// drive's number and the letters of the path. Null: none.
    const wchar_t* labels[4];
};

bool readTraced(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi, int label) {
    const wchar_t* text = transport.labels[label];
    if (text && debugWanted())
        DebugPrint(fmt::format(fmt::runtime(text), asi.PhysicalDriveId, commandTypeCode(asi.CommandType)));
    return transport.readAttributes(engine, asi);
}

/// Two reads that list the same attributes make the data good; the thresholds are read in any case, into the
/// scratch record when they are not to be kept.
void attempt(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi, int firstLabel,
             bool keepThresholds = true) {
    if (!readTraced(engine, transport, asi, firstLabel)) return;
    ClassifyDrive(asi);
    AtaSmartInfo scratch = asi;
    if (!readTraced(engine, transport, scratch, firstLabel + 1)) return;
    if (CheckSmartAttributeCorrect(asi, scratch)) asi.IsSmartCorrect = 1;
    if (transport.readThresholds(engine, keepThresholds ? asi : scratch)) asi.IsThresholdCorrect = 1;
    asi.IsSmartEnabled = 1;
}

/// A second attempt after SMART was enabled, where the first was not good.
void readTwice(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    attempt(engine, transport, asi, 0);
    if (!asi.IsSmartCorrect && transport.enable(engine, asi)) attempt(engine, transport, asi, 2);
}

/// A path that gives the attributes for thresholds as well gives neither.
void readPhysicalDrive(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    readTwice(engine, transport, asi);
    if (std::ranges::equal(asi.SmartReadData, asi.SmartReadThreshold) &&
        asi.DiskVendorId != VENDOR_INDILINX) {
        DebugPrint(L"asi.SmartReadData == asi.SmartReadThreshold");
        asi.IsSmartCorrect = asi.IsThresholdCorrect = asi.IsSmartEnabled = 0;
    }
}

/// The path behind the physical drive's, where that left something open.
void readTwiceIfNeeded(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    if (!asi.IsSmartEnabled || !asi.IsSmartCorrect || !asi.IsThresholdCorrect)
        readTwice(engine, transport, asi);
}

/// The AMD library gives the thresholds with the attributes; the read of them tells only whether they count.
void readAmdRc2(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    attempt(engine, transport, asi, 0, false);
}

/// The controller's own read tells no thresholds: the physical drive's do, if it is the same drive.
void readSiliconImage(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    if (!readTraced(engine, transport, asi, 0)) return;
    ClassifyDrive(asi);
    asi.IsSmartEnabled = 1;
    AtaSmartInfo scratch = asi;
    if (!readTraced(engine, transport, scratch, 1)) return;
    DebugPrint(L"CheckSmartAttributeCorrect(&asi, &asiCheck) - 1");
    if (!CheckSmartAttributeCorrect(asi, scratch)) return;
    asi.IsSmartCorrect = 1;
    if (!engine.GetSmartAttributePd(asi.PhysicalDriveId, kMaster, scratch)) return;
    DebugPrint(L"CheckSmartAttributeCorrect(&asi, &asiCheck) - 2");
    if (CheckSmartAttributeCorrect(asi, scratch) && transport.readThresholds(engine, asi))
        asi.IsThresholdCorrect = 1;
}

/// The platform vouches for what it has: one read.
void readOnce(CAtaSmart& engine, const SmartTransport& transport, AtaSmartInfo& asi) {
    if (transport.readAttributes(engine, asi)) {
        asi.IsSmartCorrect = asi.IsSmartEnabled = 1;
        ClassifyDrive(asi);
    }
    if (transport.readThresholds(engine, asi)) asi.IsThresholdCorrect = 1;
}

// The commands of the two paths of which a drive can have both.
bool attributesPd(CAtaSmart& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributePd(asi.PhysicalDriveId, asi.Target, asi);
}
bool enablePd(CAtaSmart& engine, const AtaSmartInfo& asi) {
    return engine.ControlSmartStatusPd(asi.PhysicalDriveId, asi.Target, kEnableSmart);
}
bool thresholdsPd(CAtaSmart& engine, AtaSmartInfo& asi) {
    return engine.GetSmartThresholdPd(asi.PhysicalDriveId, asi.Target, asi);
}
bool attributesCsmi(CAtaSmart& engine, AtaSmartInfo& asi) {
    return engine.GetSmartAttributeCsmi(asi.ScsiPort, asi.sasPhyEntity, asi);
}
bool enableCsmi(CAtaSmart& engine, const AtaSmartInfo& asi) {
    return engine.ControlSmartStatusCsmi(asi.ScsiPort, asi.sasPhyEntity, kEnableSmart);
}
bool thresholdsCsmi(CAtaSmart& engine, AtaSmartInfo& asi) {
    return engine.GetSmartThresholdCsmi(asi.ScsiPort, asi.sasPhyEntity, asi);
}

/// Of several rows for a path each is run, in their order.
constexpr SmartTransport kTransports[] = {
    {CMD_TYPE_PHYSICAL_DRIVE,
     CMD_TYPE_PHYSICAL_DRIVE,
     readPhysicalDrive,
     attributesPd,
     enablePd,
     thresholdsPd,
     {L"GetSmartAttributePd({}) - 1", L"GetSmartAttributePd({}) - 1A", L"GetSmartAttributePd({}) - 2",
      L"GetSmartAttributePd({}) - 2A"}},
    {CMD_TYPE_SCSI_MINIPORT,
     CMD_TYPE_SCSI_MINIPORT,
     readTwice,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartAttributeScsi(asi.ScsiPort, asi.ScsiTargetId, asi);
     },
     [](CAtaSmart& engine, const AtaSmartInfo& asi) {
         return engine.ControlSmartStatusScsi(asi.ScsiPort, asi.ScsiTargetId, kEnableSmart);
     },
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartThresholdScsi(asi.ScsiPort, asi.ScsiTargetId, asi);
     },
     {}},
    {CMD_TYPE_SILICON_IMAGE,
     CMD_TYPE_SILICON_IMAGE,
     readSiliconImage,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartAttributeSi(asi.PhysicalDriveId, asi);
     },
     nullptr,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartThresholdPd(asi.PhysicalDriveId, kMaster, asi);
     },
     {L"GetSmartAttributeSi(physicalDriveId, &asi)", L"GetSmartAttributeSi(physicalDriveId, &asiCheck)"}},
    {CMD_TYPE_SAT,
     CMD_TYPE_SAT_ASM1352R,
     readTwice,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartAttributeSat(asi.PhysicalDriveId, asi.Target, asi);
     },
     [](CAtaSmart& engine, const AtaSmartInfo& asi) {
         return engine.ControlSmartStatusSat(asi.PhysicalDriveId, asi.Target, kEnableSmart, asi.CommandType);
     },
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartThresholdSat(asi.PhysicalDriveId, asi.Target, asi);
     },
     {L"GetSmartAttributeSat({}) - 1 [{}]", L"GetSmartAttributeSat - 1A", L"GetSmartAttributeSat - 2",
      L"GetSmartAttributeSat - 2A"}},
    {CMD_TYPE_CSMI, CMD_TYPE_CSMI, readTwice, attributesCsmi, enableCsmi, thresholdsCsmi, {}},
    {CMD_TYPE_CSMI_PHYSICAL_DRIVE,
     CMD_TYPE_CSMI_PHYSICAL_DRIVE,
     readPhysicalDrive,
     attributesPd,
     enablePd,
     thresholdsPd,
     {L"GetSmartAttributePd({}) - 1 CSMI", L"GetSmartAttributePd({}) - 1A CSMI"}},
    {CMD_TYPE_CSMI_PHYSICAL_DRIVE,
     CMD_TYPE_CSMI_PHYSICAL_DRIVE,
     readTwiceIfNeeded,
     attributesCsmi,
     enableCsmi,
     thresholdsCsmi,
     {L"GetSmartAttributeCsmi - 1 CSMI"}},
    {CMD_TYPE_MEGARAID,
     CMD_TYPE_MEGARAID,
     readTwice,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartAttributeMegaRaid(asi.ScsiPort, asi.ScsiTargetId, asi);
     },
     [](CAtaSmart& engine, const AtaSmartInfo& asi) {
         return engine.ControlSmartStatusMegaRaid(asi.ScsiPort, asi.ScsiTargetId, kEnableSmart);
     },
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.GetSmartThresholdMegaRaid(asi.ScsiPort, asi.ScsiTargetId, asi);
     },
     {}},
    {CMD_TYPE_AMD_RC2,
     CMD_TYPE_AMD_RC2,
     readAmdRc2,
     [](CAtaSmart& engine, AtaSmartInfo& asi) { return engine.GetSmartAttributeAmdRc2(asi.ScsiBus, asi); },
     nullptr,
     [](CAtaSmart& engine, AtaSmartInfo& asi) { return engine.GetSmartThresholdAmdRc2(asi.ScsiBus, asi); },
     {}},
    {CMD_TYPE_WMI,
     CMD_TYPE_WMI,
     readOnce,
     [](CAtaSmart& engine, AtaSmartInfo& asi) { return engine.GetSmartAttributeWmi(asi); },
     nullptr,
     [](CAtaSmart& engine, AtaSmartInfo& asi) { return engine.GetSmartThresholdWmi(asi); },
     {}},
};

bool serves(const SmartTransport& transport, std::uint32_t commandType) {
    return commandType >= transport.first && commandType <= transport.last;
}

} // namespace

bool readAttributes(CAtaSmart& engine, AtaSmartInfo& asi, std::uint32_t commandType) {
    return std::ranges::any_of(kTransports, [&](const SmartTransport& transport) {
        return serves(transport, commandType) && transport.readAttributes(engine, asi);
    });
}

bool readSmart(CAtaSmart& engine, AtaSmartInfo& asi) {
    if (!asi.IsSmartSupported && !asi.Is9126MB && !engine.AdvancedDiskSearch) return true;
    if (asi.CommandType >= CMD_TYPE_NVME_SAMSUNG && asi.CommandType <= CMD_TYPE_NVME_INTEL_VROC) return false;
    for (const SmartTransport& transport : kTransports)
        if (serves(transport, asi.CommandType)) transport.pass(engine, transport, asi);
    return true;
}

} // namespace orv
