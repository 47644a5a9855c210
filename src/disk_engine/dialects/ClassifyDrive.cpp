#include "disk_engine/WideText.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/dialects/VendorRules.h"

#include <algorithm>
#include <array>

namespace orv {
namespace {

/// A text that conditions look at.
class SearchedText {
  public:
    explicit SearchedText(std::wstring_view text) : text_(text) {
        if (text.size() < 2) return;
        firstPair_ = letterPair(text[0], text[1]);
        pairs_ = 0;
        for (std::size_t at = 1; at < text.size(); ++at)
            pairs_ |= letterPair(text[at - 1], text[at]);
    }

    bool meets(const Condition& condition) const {
        const bool beginning = condition.place == Condition::Place::Beginning;
        const bool possible = (condition.beginnings & (beginning ? firstPair_ : pairs_)) != 0;
        return (possible && hasOne(condition)) == condition.wanted;
    }

  private:
    bool hasOne(const Condition& condition) const {
        for (std::wstring_view rest = condition.texts;;) {
            const auto end = rest.find(L'|');
            if (has(rest.substr(0, end), condition.place)) return true;
            if (end == rest.npos) return false;
            rest.remove_prefix(end + 1);
        }
    }

    bool has(std::wstring_view part, Condition::Place place) const {
        switch (place) {
        case Condition::Place::Beginning:
            return Begins(text_, part);
        case Condition::Place::Anywhere:
            return Contains(text_, part);
        case Condition::Place::BehindFirst:
            return ContainsAfterStart(text_, part);
        }
        return false;
    }

    std::wstring_view text_;
    std::uint64_t pairs_ = kAnyLetterPair;
    std::uint64_t firstPair_ = kAnyLetterPair;
};

/// A drive as the conditions see it.
class Drive {
  public:
    explicit Drive(const AtaSmartInfo& asi)
        : asi_(asi), upper_(Upper(asi.Model)), model_(asi.Model), upperModel_(upper_),
          firmware_(asi.FirmwareRev) {
        std::transform(std::begin(asi.Attribute), std::end(asi.Attribute), ids_.begin(),
                       [](const SMART_ATTRIBUTE& attribute) { return attribute.Id; });
    }
    Drive(const Drive&) = delete; // its texts view its own members
    Drive& operator=(const Drive&) = delete;

    bool meets(const Condition& condition) const {
        switch (condition.subject) {
        case Condition::Subject::Nothing:
            return true;
        case Condition::Subject::Model:
            return model_.meets(condition);
        case Condition::Subject::UpperModel:
            return upperModel_.meets(condition);
        case Condition::Subject::Firmware:
            return firmware_.meets(condition);
        case Condition::Subject::Ids:
            return std::equal(condition.ids, condition.ids + condition.idCount, ids_.begin());
        case Condition::Subject::Record:
            return condition.ask(asi_);
        }
        return false;
    }

    bool meets(const VendorRule& rule) const { return meets(rule.when[0]) && meets(rule.when[1]); }

  private:
    const AtaSmartInfo& asi_;
    std::wstring upper_;
    SearchedText model_;
    SearchedText upperModel_;
    SearchedText firmware_;
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
    const SearchedText model(asi.Model);
    if (std::any_of(std::begin(kSsdHints), std::end(kSsdHints),
                    [&](const Condition& hint) { return model.meets(hint); }))
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
