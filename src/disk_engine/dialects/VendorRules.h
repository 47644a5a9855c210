#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/DiskTypes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orv {

// The classification's knowledge of drives: an ordered table of rules, of which the first that decides gives
// a drive its dialect. docs/disk-dialects.md shows how to add one.

/// What a decided drive's record takes over. Several dialects share an id: the id selects the interpretation,
/// the key tells them apart.
struct Dialect {
    DiskVendor id;
    const wchar_t* key;  ///< SmartKeyName
    const wchar_t* code; ///< SsdVendorString
};

/// Sets of letter pairs, hashed to 64 bits: a text that lacks the pair which a part begins with lacks the
/// part. They answer most conditions without a search.
constexpr std::uint64_t letterPair(wchar_t first, wchar_t second) {
    return std::uint64_t{1} << ((static_cast<std::uint32_t>(first) * 29 +
                                 static_cast<std::uint32_t>(second)) &
                                63);
}

inline constexpr std::uint64_t kAnyLetterPair = ~std::uint64_t{0}; ///< of what is too short for a pair

/// One question about a drive. Comparisons are case-sensitive.
struct Condition {
    enum class Subject : std::uint8_t {
        Nothing, ///< holds for every drive
        Model,
        UpperModel, ///< a copy of the model in upper case
        Firmware,
        Ids,   ///< the first attributes have exactly these ids, in this order; later ones do not matter
        Record ///< a question of its own about the record
    };
    enum class Place : std::uint8_t { Beginning, Anywhere, BehindFirst };

    Subject subject = Subject::Nothing;
    Place place = Place::Anywhere;
    bool wanted = true;           ///< false: the condition holds where the text is absent
    std::wstring_view texts = {}; ///< alternatives, with '|' between them
    std::uint64_t beginnings = 0; ///< letterPair of the first two letters of each of them
    const std::uint8_t* ids = nullptr;
    std::size_t idCount = 0;
    bool (*ask)(const AtaSmartInfo&) = nullptr;
};

struct VendorRule;

struct RuleTable {
    const VendorRule* first = nullptr;
    const VendorRule* last = nullptr;

    constexpr RuleTable() = default;
    template <std::size_t N>
    constexpr RuleTable(const VendorRule (&rules)[N]) : first(rules), last(rules + N) {}

    const VendorRule* begin() const { return first; }
    const VendorRule* end() const { return last; }
};

/// A row. Where all its conditions hold, its unit and its flag are written, and then those of the first row
/// of `finer` that holds. The dialect is that row's if it has one, else this row's; a row that ends without a
/// dialect has written its unit and flag all the same, and the search goes on behind it.
struct VendorRule {
    const char* name; ///< stable and unique: a support person reads it, tests name it
    Condition when[2] = {};
    const Dialect* dialect = nullptr;
    std::optional<HostUnit> unit = {}; ///< none: HostReadsWritesUnit keeps what it has
    BOOL AtaSmartInfo::*set = nullptr;
    BOOL AtaSmartInfo::*clear = nullptr;
    RuleTable finer = {};
};

/// Name of the result for a drive that is no SSD; the rules are not asked then.
inline constexpr const char* kHardDiskRule = "Hard disk";
extern const Dialect kHardDisk;

/// Any of these marks a drive as an SSD.
extern const Condition kSsdHints[3];

/// The last row holds for every drive.
extern const RuleTable kVendorRules;

} // namespace orv
