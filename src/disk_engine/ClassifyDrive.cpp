#include "disk_engine/Interpretation.h"
#include "disk_engine/VendorRules.h"
#include "disk_engine/WideText.h"

#include <algorithm>
#include <array>

namespace orv {
namespace {

/// A drive as the conditions see it.
class Drive {
  public:
    explicit Drive(const AtaSmartInfo& asi) : asi_(asi), upperModel_(Upper(asi.Model)) {
        std::transform(std::begin(asi.Attribute), std::end(asi.Attribute), ids_.begin(),
                       [](const SMART_ATTRIBUTE& attribute) { return attribute.Id; });
    }

    bool meets(const Condition& condition) const {
        switch (condition.subject) {
        case Condition::Subject::Nothing:
            return true;
        case Condition::Subject::Model:
            return has(asi_.Model, condition) == condition.wanted;
        case Condition::Subject::UpperModel:
            return has(upperModel_, condition) == condition.wanted;
        case Condition::Subject::Firmware:
            return has(asi_.FirmwareRev, condition) == condition.wanted;
        case Condition::Subject::Ids:
            return condition.idCount <= ids_.size() &&
                   std::equal(condition.ids, condition.ids + condition.idCount, ids_.begin());
        case Condition::Subject::Record:
            return condition.ask(asi_);
        }
        return false;
    }

    bool meets(const VendorRule& rule) const {
        return std::all_of(std::begin(rule.when), std::end(rule.when),
                           [this](const Condition& condition) { return meets(condition); });
    }

    static bool has(std::wstring_view text, const Condition& condition) {
        for (std::wstring_view rest = condition.texts;;) {
            const auto end = rest.find(L'|');
            if (stands(text, rest.substr(0, end), condition.place)) return true;
            if (end == rest.npos) return false;
            rest.remove_prefix(end + 1);
        }
    }

  private:
    static bool stands(std::wstring_view text, std::wstring_view part, Condition::Place place) {
        switch (place) {
        case Condition::Place::Beginning:
            return Begins(text, part);
        case Condition::Place::Anywhere:
            return Contains(text, part);
        case Condition::Place::BehindFirst:
            return ContainsAfterStart(text, part);
        }
        return false;
    }

    const AtaSmartInfo& asi_;
    std::wstring upperModel_;
    std::array<std::uint8_t, kSmartEntries> ids_;
};

/// What one row's effects come to: a rule with a dialect, or null where the search goes on.
const VendorRule* take(const VendorRule& rule, const Drive& drive, AtaSmartInfo& asi) {
    if (rule.unit) asi.HostReadsWritesUnit = *rule.unit;
    if (rule.set) asi.*rule.set = 1;
    if (rule.clear) asi.*rule.clear = 0;
    const auto* finer = std::find_if(rule.finer.begin(), rule.finer.end(),
                                     [&](const VendorRule& row) { return drive.meets(row); });
    if (finer != rule.finer.end())
        if (const VendorRule* decided = take(*finer, drive, asi)) return decided;
    return rule.dialect ? &rule : nullptr;
}

const VendorRule& decide(AtaSmartInfo& asi) {
    const Drive drive(asi);
    for (const VendorRule& rule : kVendorRules) {
        if (!drive.meets(rule)) continue;
        if (const VendorRule* decided = take(rule, drive, asi)) return *decided;
    }
    return kVendorRules.end()[-1]; // not reached: the last row holds for every drive
}

void write(AtaSmartInfo& asi, const Dialect& dialect, const char* name, Explanation* why) {
    asi.DiskVendorId = dialect.id;
    asi.SmartKeyName = dialect.key;
    asi.SsdVendorString = dialect.code;
    if (why) why->dialect = name;
}

} // namespace

// Id, key and code are written anew each time. The unit and the flags start as 0 with the record and change
// only where a row says so, in a second classification of the same record as well.
void ClassifyDrive(AtaSmartInfo& asi, Explanation* why) {
    if (std::any_of(std::begin(kSsdHints), std::end(kSsdHints),
                    [&](const Condition& hint) { return Drive::has(asi.Model, hint); }))
        asi.IsSsd = 1;
    if (!asi.IsSsd) {
        write(asi, kHardDisk, kHardDiskRule, why);
        return;
    }
    const VendorRule& rule = decide(asi);
    write(asi, *rule.dialect, rule.name, why);
    if (rule.dialect->id != VENDOR_GENERAL_SSD) InterpretAttributes(asi, why);
}

} // namespace orv
