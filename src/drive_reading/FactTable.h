#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/dialects/AttributeRules.h"

#include <optional>
#include <span>
#include <string_view>

namespace orv {

// What is known of drives whose dialect's rule misses them. docs/drive-readings.md tells what evidence a row
// needs.

/// Which drives a row is for. Texts are alternatives with '|' between them, each looked for anywhere; an
/// empty one holds for every drive.
struct FactSubject {
    std::wstring_view models = {};
    std::wstring_view alsoInModel = {};
    std::wstring_view notInModel = {};
    std::wstring_view firmware = {};
    VendorSet dialects = kAnyVendor;

    bool holds(const AtaSmartInfo& asi) const;
};

/// One attribute that tells a value in another way than the dialect's rule reads it.
struct AttributeFact {
    FactSubject subject;
    std::uint8_t id;
    Meaning meaning; ///< life (percent left), powerOnHours (hours), hostReads, hostWrites (bytes)
    std::optional<std::uint64_t> (*read)(const SMART_ATTRIBUTE&);
    const char* basis;
};

/// Drives that speak another dialect than the one that they are taken for.
struct DialectFact {
    FactSubject subject;
    DiskVendor dialect;
    HostUnit unit;
    BOOL AtaSmartInfo::*flag; ///< set for the dialect's rules; null for none
    const char* basis;
};

/// The first fact that holds for the drive and whose attribute tells the value.
struct FactValue {
    std::uint64_t value;
    const char* basis;
};
std::optional<FactValue> valueByFact(const AtaSmartInfo& asi, Meaning meaning);

/// Null for a drive that is what it is taken for.
const DialectFact* spokenDialect(const AtaSmartInfo& asi);

/// A drive without moving parts that neither its rotation word nor its dialect tells.
const char* solidStateByFact(const AtaSmartInfo& asi);

} // namespace orv
