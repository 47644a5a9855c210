#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/SmartPass.h"

namespace orv {

namespace {

/// A drive that sleeps is woken first, or gets a second chance when it is awake; one that stays silent may
/// have another path, which takes over for good.
bool readAgain(CAtaSmart& engine, AtaSmartInfo& asi) {
    using Wake = CommandPath::Wake;
    const CommandPath& path = commandPath(asi.CommandType);
    const auto read = [&] { return path.smart && path.smart->readAttributes(engine, asi); };
    if (path.wake == Wake::first) engine.WakeUp(asi.PhysicalDriveId);
    if (read()) return true;
    if (path.wake != Wake::ifSilent) return false;
    engine.WakeUp(asi.PhysicalDriveId);
    if (read()) return true;
    if (path.takenOverBy == CMD_TYPE_UNKNOWN || !readAttributes(engine, asi, path.takenOverBy)) return false;
    asi.CommandType = path.takenOverBy;
    asi.CommandTypeString = commandTypeString(asi.CommandType, asi.Target);
    return true;
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
