#include "drive_reading/FactTable.h"

#include <algorithm>

namespace orv {

namespace {

using Value = std::optional<std::uint64_t>;

std::uint64_t low32(const SMART_ATTRIBUTE& a) {
    return a.raw() & 0xFFFFFFFF;
}

// ---- How an attribute is read

Value leftOf(std::uint64_t used) {
    return 100 - std::min<std::uint64_t>(used, 100);
}

/// Percent used, in the fourth raw byte where the upper four say anything, else in the second.
Value leftOfFourthOrSecondByte(const SMART_ATTRIBUTE& a) {
    const std::uint8_t* r = a.RawValue;
    return leftOf((r[2] | r[3] | r[4] | r[5]) != 0 ? r[3] : r[1]);
}

/// Percent used past 100, where the value has wrapped; before that the value tells it.
Value leftPastTheEnd(const SMART_ATTRIBUTE& a) {
    constexpr std::uint64_t end = 100, most = 1000; // more is no percentage
    const std::uint64_t used = low32(a);
    return used > end && used <= most ? leftOf(used) : std::nullopt;
}

Value leftInFirstByte(const SMART_ATTRIBUTE& a) {
    const std::uint8_t left = a.RawValue[0];
    const bool tells = left <= 100 && (left > 0 || a.CurrentValue <= 1); // 0 beside a good value: not kept
    return tells ? Value(left) : std::nullopt;
}

Value leftInValue(const SMART_ATTRIBUTE& a) {
    return a.CurrentValue <= 100 ? Value(a.CurrentValue) : std::nullopt;
}

Value hoursOfMinutes(const SMART_ATTRIBUTE& a) {
    return low32(a) / 60;
}

Value hoursBelowTheOffset(const SMART_ATTRIBUTE& a) {
    constexpr std::uint64_t offset = 894803;        // from which the dialect's other drives count
    const std::uint64_t hours = a.raw() & 0xFFFFFF; // the bytes above are parts of an hour
    return hours < offset ? Value(hours) : std::nullopt;
}

Value unitsOf32MiB(const SMART_ATTRIBUTE& a) {
    return a.raw() << 25;
}

Value gigabytes(const SMART_ATTRIBUTE& a) {
    return a.raw() * 1'000'000'000;
}

// ---- The tables. The numbers are of drives whose own statistics or maker's document agree -----------------

constexpr VendorSet kWdcOrSanDisk = vendors(VENDOR_WDC, VENDOR_SANDISK);
constexpr VendorSet kMicronKinds = vendors(VENDOR_MICRON, VENDOR_MICRON_MU03);

// clang-format off
constexpr FactSubject kSanDiskWear = {.notInModel = L"SSD U100|SSD U110|SSD i100|SSD i110|pSSD|SDSSDP|SDSSDRC|G1001", .dialects = kWdcOrSanDisk};
constexpr FactSubject kMicronWear = {.notInModel = L"BX100SSD|BX200SSD", .dialects = kMicronKinds};
constexpr FactSubject kRawByteAt231 = {.models = L"SKC400|SEDC400|SHSS37|SUV300|Corsair Force LS"};
constexpr FactSubject kIntelDataCentre = {.models = L"SSDSC2KB|SSDSC2KG|SSDSC2BB|SSDSC2BA|SSDSCKKB", .notInModel = L"INTEL"};
constexpr FactSubject kSamsungDataCentre = {.models = L"MZ7KH|MZ7LH|MZ7KM|MZ7LM|Samsung SSD 883"};
constexpr FactSubject kSupermicro = {.models = L"SuperMicro|Supermicro|SUPERMICRO"};
constexpr FactSubject kToshibaUnits = {.models = L"KHK61|THNSN8"};
constexpr FactSubject kSanDisk64 = {.models = L"SanDisk 64G SSD"};
constexpr FactSubject kHynixShg = {.models = L"SHGS31"};
constexpr FactSubject kHynixHfs = {.models = L"HFS", .alsoInModel = L"TND"};
constexpr FactSubject kCloud = {.models = L"SDLF1"};

constexpr AttributeFact kFacts[] = {
    {kSanDiskWear, 230, Meaning::life, leftOfFourthOrSecondByte, "attribute 230: 100 less raw byte 3, or byte 1 where bytes 2 to 5 are zero; right on 540 of 548 drives"},
    {kMicronWear, 202, Meaning::life, leftPastTheEnd, "attribute 202: the raw value is the percent used, past 100 on 127 drives"},
    {kRawByteAt231, 231, Meaning::life, leftInFirstByte, "attribute 231: raw byte 0 is the percent left; seen on 46 drives"},
    {kIntelDataCentre, 245, Meaning::life, leftInValue, "attribute 245: current value, percent left; such drives, 327 seen"},
    {kIntelDataCentre, 233, Meaning::life, leftInValue, "attribute 233: current value, percent left; such drives, 327 seen"},
    {kSamsungDataCentre, 177, Meaning::life, leftInValue, "attribute 177: current value, percent left; such drives, 1,071 seen"},
    {kSupermicro, 177, Meaning::life, leftInValue, "attribute 177: current value, percent left; such drives, 211 seen"},

    {{.models = L"MK5061GSY|MK1651GSY"}, 9, Meaning::powerOnHours, hoursOfMinutes, "attribute 9 counts minutes on these drives"},
    {{.models = L"MHY2120BH|MHY2250BH", .firmware = L"0085000B"}, 9, Meaning::powerOnHours, hoursOfMinutes, "attribute 9 counts minutes under this firmware"},
    {{.firmware = L"LF1i|520i", .dialects = vendors(VENDOR_INTEL, VENDOR_SANDFORCE)}, 9, Meaning::powerOnHours, hoursBelowTheOffset, "attribute 9 counts from no offset under this firmware"},

    {kToshibaUnits, 241, Meaning::hostWrites, unitsOf32MiB, "attribute 241: units of 32 MiB; seen on 146 drives"},
    {kToshibaUnits, 242, Meaning::hostReads, unitsOf32MiB, "attribute 242: units of 32 MiB; seen on 146 drives"},
    {kSanDisk64, 241, Meaning::hostWrites, unitsOf32MiB, "attribute 241: units of 32 MiB"},
    {kSanDisk64, 242, Meaning::hostReads, unitsOf32MiB, "attribute 242: units of 32 MiB"},
    {kIntelDataCentre, 241, Meaning::hostWrites, unitsOf32MiB, "attribute 241: the maker's units of 32 MiB"},
    {kIntelDataCentre, 242, Meaning::hostReads, unitsOf32MiB, "attribute 242: the maker's units of 32 MiB"},
    {kHynixShg, 241, Meaning::hostWrites, gigabytes, "attribute 241: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
    {kHynixShg, 242, Meaning::hostReads, gigabytes, "attribute 242: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
    {kHynixHfs, 241, Meaning::hostWrites, gigabytes, "attribute 241: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
    {kHynixHfs, 242, Meaning::hostReads, gigabytes, "attribute 242: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
    {kCloud, 241, Meaning::hostWrites, gigabytes, "attribute 241: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
    {kCloud, 242, Meaning::hostReads, gigabytes, "attribute 242: gigabytes of 1,000,000,000 bytes; seen on 88 drives"},
};

constexpr DialectFact kDialects[] = {
    {{.models = L"BX100SSD|BX200SSD"}, VENDOR_SILICON_MOTION, HOST_UNIT_NONE, &AtaSmartInfo::LifeIsRaw, "Silicon Motion's dialect, which these Crucial drives speak"},
    {{.models = L"HP SSD S700|HP SSD M700"}, VENDOR_SILICON_MOTION, HOST_UNIT_NONE, &AtaSmartInfo::LifeIsRaw, "Silicon Motion's dialect, which these HP drives speak (16 seen)"},
    {{.models = L"SDLF1CRR0|SDLF1DAR480G"}, VENDOR_SANDISK_CLOUD, HOST_UNIT_GB, nullptr, "the dialect of the series, which the names without a dash speak too (32 seen)"},
    {kIntelDataCentre, VENDOR_INTEL, HOST_UNIT_NONE, nullptr, "Intel's dialect, which these drives speak under other names"},
    {kSamsungDataCentre, VENDOR_SAMSUNG, HOST_UNIT_NONE, nullptr, "Samsung's dialect, which these drives speak under other names"},
};
// clang-format on

struct SolidStateFact {
    FactSubject subject;
    const char* basis;
};
constexpr SolidStateFact kSolidState[] = {
    {{.models = L"MCCOE64GEMPP"}, "64 GB of flash without a rotation word"},
};

/// Whether one of the alternatives stands in the text.
bool containsOne(std::wstring_view text, std::wstring_view alternatives) {
    for (std::size_t at = 0; at <= alternatives.size();) {
        const std::size_t end = std::min(alternatives.find(L'|', at), alternatives.size());
        if (text.find(alternatives.substr(at, end - at)) != std::wstring_view::npos) return true;
        at = end + 1;
    }
    return false;
}

const SMART_ATTRIBUTE* attributeOf(const AtaSmartInfo& asi, std::uint8_t id) {
    const auto entries =
        std::span(asi.Attribute).first(std::min<std::size_t>(asi.AttributeCount, kSmartEntries));
    const auto found = std::ranges::find(entries, id, &SMART_ATTRIBUTE::Id);
    return found == entries.end() ? nullptr : &*found;
}

} // namespace

bool FactSubject::holds(const AtaSmartInfo& asi) const {
    return (dialects & vendorBit(asi.DiskVendorId)) != 0 &&
           (models.empty() || containsOne(asi.Model, models)) &&
           (alsoInModel.empty() || containsOne(asi.Model, alsoInModel)) &&
           (notInModel.empty() || !containsOne(asi.Model, notInModel)) &&
           (firmware.empty() || containsOne(asi.FirmwareRev, firmware));
}

std::optional<FactValue> valueByFact(const AtaSmartInfo& asi, Meaning meaning) {
    for (const AttributeFact& fact : kFacts) {
        if (fact.meaning != meaning) continue;
        // Most facts are of attributes that the drive has not, which is quicker to see than its model.
        const SMART_ATTRIBUTE* attribute = attributeOf(asi, fact.id);
        if (!attribute || !fact.subject.holds(asi)) continue;
        if (const auto value = fact.read(*attribute)) return FactValue{*value, fact.basis};
    }
    return std::nullopt;
}

const DialectFact* spokenDialect(const AtaSmartInfo& asi) {
    const auto found = std::ranges::find_if(kDialects, [&](const DialectFact& fact) {
        return fact.dialect != asi.DiskVendorId && fact.subject.holds(asi);
    });
    return found == std::end(kDialects) ? nullptr : found;
}

const char* solidStateByFact(const AtaSmartInfo& asi) {
    const auto found = std::ranges::find_if(
        kSolidState, [&](const SolidStateFact& fact) { return fact.subject.holds(asi); });
    return found == std::end(kSolidState) ? nullptr : found->basis;
}

} // namespace orv
