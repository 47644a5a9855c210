#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/dialects/Explanation.h"

#include <algorithm>
#include <concepts>
#include <cstdint>

namespace orv {

// Which attribute of a drive means what. Outside a few ids that all drives share, a maker gives an id a
// meaning of his own, so a rule says whose drives it is for. docs/disk-attributes.md tells how to add one.

using VendorSet = std::uint64_t; ///< bit n: DiskVendorId n
using UnitSet = std::uint8_t;    ///< bit n: HostReadsWritesUnit n

inline constexpr VendorSet kAnyVendor = ~VendorSet{0};
inline constexpr UnitSet kAnyUnit = 0xFF;

/// The bit of an id. All ids beyond the sets share their last bit, which only the "any" sets hold.
constexpr VendorSet vendorBit(std::uint32_t vendor) {
    return VendorSet{1} << std::min(vendor, 63u);
}
constexpr UnitSet unitBit(std::uint32_t unit) {
    return static_cast<UnitSet>(1u << std::min(unit, 7u));
}

constexpr VendorSet vendors(std::same_as<DiskVendor> auto... each) {
    return (vendorBit(each) | ...);
}
constexpr UnitSet units(std::same_as<HostUnit> auto... each) {
    return static_cast<UnitSet>((unitBit(each) | ...));
}
static_assert(VENDOR_SANDISK_CLOUD < 63 && HOST_UNIT_GB < 7);

/// What an attribute tells.
enum class Meaning : std::uint8_t {
    temperature,
    powerOnHours,
    powerOnCount,
    life,
    wear, ///< life, from a count of wear that is kept as well
    erased,
    hostWrites,
    hostReads,
    nandWrites,
};

/// Writes a record's fields from one attribute. False when the attribute holds no value and nothing but the
/// bounds of a field was touched.
struct AttributeAction {
    bool (*apply)(AtaSmartInfo&, const SMART_ATTRIBUTE&);
    Meaning meaning;
};

/// Reading a block and the attribute pass of the classification follow the same rules but for a few.
enum class Holds : std::uint8_t { onRead = 1, inPass = 2, both = 3 };

/// One row of the table. Of the rows of an id, the first that holds for the drive is the one that applies.
struct AttributeRule {
    std::uint8_t id;
    VendorSet vendors;
    UnitSet units;
    bool (*when)(const AtaSmartInfo&, const SMART_ATTRIBUTE&); ///< what else must hold; null: nothing
    AttributeAction action;
    Holds holds;
    const char* name; ///< for an Explanation; null where it has no place for the value
};

/// The rule that holds for an attribute of this drive, null when none does. `occasion` is onRead or inPass.
const AttributeRule* findAttributeRule(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute,
                                       Holds occasion);

/// Applies that rule and notes its name where the rule wrote a value.
void applyAttributeRule(AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute, Holds occasion,
                        Explanation* why);

/// The first two raw bytes as one number.
inline std::int32_t rawWord(const SMART_ATTRIBUTE& attribute) {
    return attribute.RawValue[0] + attribute.RawValue[1] * 256;
}

} // namespace orv
