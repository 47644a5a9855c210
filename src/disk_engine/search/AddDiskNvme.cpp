#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/PcieLink.h"
#include "disk_engine/paths/SmartPass.h"

#include <algorithm>

namespace orv {

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
    devices.forget(); // it gave its identify data: what failed before them says nothing more
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
