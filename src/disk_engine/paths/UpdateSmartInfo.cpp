#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/SmartPass.h"

namespace orv {

namespace {

/// A drive with a number that may also be behind a CSMI driver: the number's path gets a second chance on a
/// drive that is awake, then the driver's path takes over for good.
bool readPhysicalDrive(CAtaSmart& engine, AtaSmartInfo& asi) {
    if (readAttributes(engine, asi, CMD_TYPE_PHYSICAL_DRIVE)) return true;
    engine.WakeUp(asi.PhysicalDriveId);
    if (readAttributes(engine, asi, CMD_TYPE_PHYSICAL_DRIVE)) return true;
    if (asi.CommandType != CMD_TYPE_CSMI_PHYSICAL_DRIVE) return false;
    if (!readAttributes(engine, asi, CMD_TYPE_CSMI)) return false;
    asi.CommandType = CMD_TYPE_CSMI;
    asi.CommandTypeString = commandTypeString(asi.CommandType, asi.Target);
    return true;
}

bool readAgain(CAtaSmart& engine, AtaSmartInfo& asi) {
    if (asi.CommandType == CMD_TYPE_PHYSICAL_DRIVE || asi.CommandType == CMD_TYPE_CSMI_PHYSICAL_DRIVE)
        return readPhysicalDrive(engine, asi);
    if (asi.CommandType >= CMD_TYPE_SAT && asi.CommandType <= CMD_TYPE_SAT_ASM1352R)
        engine.WakeUp(asi.PhysicalDriveId);
    return readAttributes(engine, asi, asi.CommandType);
}

} // namespace

void CAtaSmart::UpdateSmartInfo(std::size_t index) {
    if (index >= vars.size()) return;
    // A read that fails half-way must leave nothing behind, so it works on a copy.
    AtaSmartInfo fresh = vars[index];
    const bool isNvme = fresh.DiskVendorId == VENDOR_NVME;
    if (!isNvme && (!fresh.IsSmartEnabled || !fresh.IsSmartCorrect)) return;
    forgetProbe();
    if (isNvme) fillNvmeAttributes(vars[index]); // of the page that is held, in case there is no other
    const bool answered = isNvme ? readHealthPage(*this, fresh) : readAgain(*this, fresh);
    if (answered) {
        if (isNvme) takeNvmeHealth(fresh, kHottestRefreshedNvme);
        vars[index] = std::move(fresh);
    }
    noteAnswer(vars[index], answered);
    if (answered || isNvme) vars[index].DiskStatus = CheckDiskStatus(index);
}

} // namespace orv
