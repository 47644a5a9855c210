#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/SmartPass.h"

#include <optional>

namespace orv {

namespace {

/// What the list already says of a drive.
struct EarlierSighting {
    bool refused = false;                ///< it has the drive; no second record
    std::optional<std::size_t> replaced; ///< a record that gives way to one with good SMART data
};

/// The record was made from a port; now the drive's number is known.
bool numberPortRecord(CAtaSmart& engine, AtaSmartInfo& record, std::int32_t physicalDriveId) {
    record.PhysicalDriveId = physicalDriveId;
    if (engine.CsmiMode != 1) return false;
    record.CommandType = CMD_TYPE_CSMI_PHYSICAL_DRIVE;
    DebugPrint(L"vars[i].CommandType = CMD_TYPE_CSMI_PHYSICAL_DRIVE");
    record.CommandTypeString = commandTypeCode(record.CommandType);
    return true;
}

EarlierSighting findEarlier(CAtaSmart& engine, const AtaSmartInfo& asi) {
    EarlierSighting earlier;
    for (std::size_t i = 0; i < engine.vars.size(); ++i) {
        AtaSmartInfo& record = engine.vars[i];
        if (asi.Model == record.Model && asi.SerialNumber == record.SerialNumber) {
            if (record.PhysicalDriveId == -1) {
                earlier.refused = !numberPortRecord(engine, record, asi.PhysicalDriveId);
                return earlier;
            }
            // The new record has no such model yet: the search puts it in afterwards.
            if (!record.ModelWmi.empty()) return {.refused = true, .replaced = {}};
            earlier.replaced = i;
        }
        if (asi.ModelReverse == record.Model && asi.SerialNumberReverse == record.SerialNumber) {
            DebugFormat(L"Duplicate Check: {}:{}", asi.Model, asi.SerialNumber);
            return {.refused = true, .replaced = {}};
        }
    }
    return earlier;
}

} // namespace

bool CAtaSmart::AddDisk(const DriveAddress& address, IdentifyBlock identify) {
    if (vars.size() >= kMaxDrives) return false;
    AtaSmartInfo asi = startRecord(address);
    if (!readIdentifyTexts(asi, identify)) return false;
    const EarlierSighting earlier = findEarlier(*this, asi);
    if (earlier.refused) return false;
    interpretIdentify(asi, identify);
    if (!readSmart(*this, asi)) return false;
    finishRecord(asi);
    // Only the plain paths are trusted with a geometry that no drive has.
    if (asi.IsIdInfoIncorrect && !(AdvancedDiskSearch && asi.CommandType < CMD_TYPE_SAT)) return false;
    if (earlier.replaced && !asi.IsSmartCorrect) return false;
    vars.push_back(std::move(asi));
    if (earlier.replaced) vars.erase(vars.begin() + static_cast<std::ptrdiff_t>(*earlier.replaced));
    return true;
}

} // namespace orv
