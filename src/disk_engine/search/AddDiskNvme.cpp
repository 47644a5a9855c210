#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/SmartPass.h"

#include <algorithm>

namespace orv {

namespace {

struct HealthRead {
    std::uint32_t commandType;
    bool (*read)(CAtaSmart&, AtaSmartInfo&);
};

using HealthReadOfDrive = bool (CAtaSmart::*)(std::int32_t, AtaSmartInfo&);
using HealthReadOfPort = bool (CAtaSmart::*)(std::int32_t, std::int32_t, std::int32_t, AtaSmartInfo&);

template <HealthReadOfDrive Routine>
bool byDrive(CAtaSmart& engine, AtaSmartInfo& asi) {
    return (engine.*Routine)(asi.PhysicalDriveId, asi);
}
template <HealthReadOfPort Routine>
bool byPort(CAtaSmart& engine, AtaSmartInfo& asi) {
    return (engine.*Routine)(asi.PhysicalDriveId, asi.ScsiPort, asi.ScsiTargetId, asi);
}

constexpr HealthRead kHealthReads[] = {
    {CMD_TYPE_AMD_RC2,
     [](CAtaSmart& engine, AtaSmartInfo& asi) { return engine.GetSmartAttributeAmdRc2(asi.ScsiBus, asi); }},
    {CMD_TYPE_NVME_STORAGE_QUERY,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return engine.FlagStorageQuery &&
                byDrive<&CAtaSmart::GetSmartAttributeNVMeStorageQuery>(engine, asi);
     }},
    {CMD_TYPE_NVME_INTEL, byDrive<&CAtaSmart::GetSmartAttributeNVMeIntel>},
    {CMD_TYPE_NVME_INTEL_RST, byPort<&CAtaSmart::GetSmartAttributeNVMeIntelRst>},
    {CMD_TYPE_NVME_INTEL_VROC, byPort<&CAtaSmart::GetSmartAttributeNVMeIntelVroc>},
    {CMD_TYPE_NVME_SAMSUNG,
     [](CAtaSmart& engine, AtaSmartInfo& asi) {
         return byDrive<&CAtaSmart::GetSmartAttributeNVMeSamsung>(engine, asi) ||
                byDrive<&CAtaSmart::GetSmartAttributeNVMeSamsungMiniport>(engine, asi);
     }},
    {CMD_TYPE_NVME_JMICRON, byDrive<&CAtaSmart::GetSmartAttributeNVMeJMicron>},
    {CMD_TYPE_NVME_ASMEDIA, byDrive<&CAtaSmart::GetSmartAttributeNVMeASMedia>},
    {CMD_TYPE_NVME_REALTEK, byDrive<&CAtaSmart::GetSmartAttributeNVMeRealtek>},
};

} // namespace

bool readHealthPage(CAtaSmart& engine, AtaSmartInfo& asi) {
    return std::ranges::any_of(kHealthReads, [&](const HealthRead& row) {
        return row.commandType == asi.CommandType && row.read(engine, asi);
    });
}

bool CAtaSmart::AddDiskNVMe(const DriveAddress& address, NvmeIdentifyBlock identify,
                            const std::uint32_t* diskSize) {
    AtaSmartInfo asi = startRecord(address);
    if (!readNvmeIdentify(asi, identify, diskSize ? *diskSize : 0)) return false;
    if (vars.size() >= kMaxDrives) {
        noteFullList(asi);
        return false;
    }
    // One drive may be met on several paths, and several namespaces are one drive.
    const auto twin = std::ranges::find_if(vars, [&](const AtaSmartInfo& record) {
        return record.Model == asi.Model && record.SerialNumber == asi.SerialNumber;
    });
    if (twin != vars.end()) {
        noteTwin(twin->PhysicalDriveId);
        return false;
    }
    probeFailure_ =
        platform::kSuccess; // it gave its identify data: what failed before them says nothing more
    const bool answered = readHealthPage(*this, asi);
    noteAnswer(asi, answered);
    if (answered) {
        interpretNvmeHealth(asi, kHottestNewNvme);
        const PcieLink link = GetPcieLink(asi.PhysicalDriveId);
        asi.MaxTransferMode = FormatPcieLink(link.MaxLinkSpeed, link.MaxLinkWidth);
        asi.CurrentTransferMode = FormatPcieLink(link.CurrentLinkSpeed, link.CurrentLinkWidth);
        if (asi.CommandType == CMD_TYPE_AMD_RC2) readAmdNvmeLink(asi, identify);
    }
    vars.push_back(std::move(asi));
    return true;
}

} // namespace orv
