#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/paths/SmartPass.h"

#include <algorithm>
#include <array>
#include <optional>

namespace orv {

namespace {

/// What the list already says of a drive. Both are places in it.
struct EarlierSighting {
    std::optional<std::size_t> twin;     ///< it has the drive; no second record
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
                if (!numberPortRecord(engine, record, asi.PhysicalDriveId)) earlier.twin = i;
                return earlier;
            }
            // The new record has no such model yet: the search puts it in afterwards.
            if (!record.ModelWmi.empty()) return {.twin = i, .replaced = {}};
            earlier.replaced = i;
        }
        if (asi.ModelReverse == record.Model && asi.SerialNumberReverse == record.SerialNumber) {
            DebugFormat(L"Duplicate Check: {}:{}", asi.Model, asi.SerialNumber);
            return {.twin = i, .replaced = {}};
        }
    }
    return earlier;
}

} // namespace

bool CAtaSmart::AddDisk(const DriveAddress& address, IdentifyBlock identify) {
    AtaSmartInfo asi = startRecord(address);
    if (vars.size() >= kMaxDrives) {
        std::array<std::uint8_t, kIdentifyBytes> copy; // the caller's block stays as it is
        std::ranges::copy(identify, copy.begin());
        if (takeIdentifyTexts(asi, copy)) noteFullList(asi);
        return false;
    }
    if (!readIdentifyTexts(asi, identify)) return false;
    const EarlierSighting earlier = findEarlier(*this, asi);
    if (earlier.twin) {
        noteTwin(vars[*earlier.twin].PhysicalDriveId);
        return false;
    }
    interpretIdentify(asi, identify);
    devices.forget(); // it gave its identify data: what failed before them says nothing more
    if (!readSmart(*this, asi)) return false;
    finishRecord(asi);
    if (!asi.IsSmartCorrect && asi.AttributeCount != 0) devices.noteFailure(platform::kInvalidData);
    noteAnswer(asi, asi.IsSmartCorrect != 0);
    // Only the plain paths are trusted with a geometry that no drive has.
    if (asi.IsIdInfoIncorrect && !(AdvancedDiskSearch && commandPath(asi.CommandType).isPlain)) return false;
    if (!earlier.replaced) {
        vars.push_back(std::move(asi));
        return true;
    }
    const AtaSmartInfo& old = vars[*earlier.replaced];
    if (!asi.IsSmartCorrect) {
        noteTwin(old.PhysicalDriveId);
        return false;
    }
    noteUnread({.physicalDriveId = old.PhysicalDriveId,
                .model = old.Model,
                .reason = UnreadDrive::Reason::twin,
                .twinOf = asi.PhysicalDriveId});
    vars.push_back(std::move(asi));
    vars.erase(vars.begin() + static_cast<std::ptrdiff_t>(*earlier.replaced));
    return true;
}

} // namespace orv
