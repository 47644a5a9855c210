#include "disk_engine/dialects/AttributeRules.h"

#include "disk_engine/WideText.h"

#include <array>

namespace orv {

namespace {

// ---- Numbers ----------------------------------------------------------------------------------------------

/// The low 32 bits, as a record keeps them.
std::int32_t stored(std::uint64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::uint32_t low32(const SMART_ATTRIBUTE& a) {
    return static_cast<std::uint32_t>(a.raw());
}

/// Current and worst value as one number, where a drive has no raw value.
std::uint32_t valuesWord(const SMART_ATTRIBUTE& a) {
    return a.WorstValue * 256u + a.CurrentValue;
}

/// A percentage, or -1 for what is none.
std::int32_t bounded(std::int32_t value) {
    return value < 0 || value > 100 ? kNone : value;
}

// ---- Power-on time ----------------------------------------------------------------------------------------

// Some drives count hours from an offset, in the low 24 bits of the raw value. No other drive has run for the
// hundred years that such a raw value would mean.
constexpr std::uint32_t kIntelHoursFrom = 0xDA000;
constexpr std::uint32_t kIntelHoursOffset = 0xDA753;

bool hoursAboveOffset(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    if (asi.DetectedTimeUnitType == TIME_UNIT_INTEL) return true;
    return low32(a) >= kIntelHoursFrom &&
           (asi.DetectedTimeUnitType == TIME_UNIT_HOURS || Begins(asi.Model, L"Intel"));
}

std::uint32_t hoursOf(std::uint32_t count, std::uint32_t timeUnit) {
    switch (timeUnit) {
    case TIME_UNIT_HOURS:
    case TIME_UNIT_INTEL:
        return count;
    case TIME_UNIT_MINUTES:
        return count / 60;
    case TIME_UNIT_HALF_MINUTES:
        return count / 120;
    case TIME_UNIT_SECONDS:
        return count / 3600;
    case TIME_UNIT_10_MINUTES:
        return count / 6;
    default:
        return 0;
    }
}

bool setPowerOnTime(AtaSmartInfo& asi, std::uint32_t count) {
    asi.PowerOnRawValue = stored(count);
    asi.DetectedPowerOnHours = stored(hoursOf(count, asi.DetectedTimeUnitType));
    asi.MeasuredPowerOnHours = stored(hoursOf(count, asi.MeasuredTimeUnitType));
    return true;
}

bool applyTimeAboveOffset(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    asi.MeasuredTimeUnitType = TIME_UNIT_INTEL;
    const std::uint32_t count = low32(a) & 0xFFFFFF;
    return setPowerOnTime(asi, count > kIntelHoursOffset ? count - kIntelHoursOffset : 0);
}

constexpr AttributeAction powerOnTime{
    [](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) { return setPowerOnTime(asi, low32(a)); },
    Meaning::powerOnHours};
constexpr AttributeAction powerOnTimeAboveOffset{applyTimeAboveOffset, Meaning::powerOnHours};
constexpr AttributeAction powerOnTimeOfValues{
    [](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) { return setPowerOnTime(asi, valuesWord(a)); },
    Meaning::powerOnHours};

// ---- Power-on count. It wraps, as the record keeps 32 bits of it ------------------------------------------

template <std::uint32_t (*count)(const AtaSmartInfo&, const SMART_ATTRIBUTE&)>
constexpr AttributeAction powerOnCountOf{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                             asi.PowerOnCount = count(asi, a);
                                             return true;
                                         },
                                         Meaning::powerOnCount};

constexpr auto powerOnCount =
    powerOnCountOf<[](const AtaSmartInfo&, const SMART_ATTRIBUTE& a) { return low32(a); }>;
constexpr auto powerOnCountOfValues =
    powerOnCountOf<[](const AtaSmartInfo&, const SMART_ATTRIBUTE& a) { return valuesWord(a); }>;
constexpr auto powerOnCountPlusOne =
    powerOnCountOf<[](const AtaSmartInfo&, const SMART_ATTRIBUTE& a) { return low32(a) + 1; }>;
constexpr auto powerOnCountAdded = powerOnCountOf<[](const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    return asi.PowerOnCount + low32(a);
}>;

// ---- Temperature ------------------------------------------------------------------------------------------

constexpr std::int32_t kTooHot = 100; ///< degrees Celsius; from here on a reading is not one

bool dropWhenTooHot(AtaSmartInfo& asi) {
    if (asi.Temperature >= kTooHot) asi.Temperature = kNoTemperature;
    return asi.Temperature != kNoTemperature;
}

bool inTenths(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    return Begins(asi.Model, L"SAMSUNG SV") && (a.RawValue[1] != 0 || a.RawValue[0] > 70);
}
bool isScaled(const AtaSmartInfo& asi, const SMART_ATTRIBUTE&) {
    return asi.TemperatureMultiplier < 1.0;
}
bool isPlausible(const AtaSmartInfo&, const SMART_ATTRIBUTE& a) {
    return a.RawValue[0] > 0 && a.RawValue[0] < kTooHot;
}

bool applyTemperature(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    if (a.RawValue[0] != 0) asi.Temperature = a.RawValue[0];
    return dropWhenTooHot(asi) && a.RawValue[0] != 0;
}
bool applyScaledTemperature(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    if (a.RawValue[0] != 0)
        asi.Temperature = static_cast<std::int32_t>(a.RawValue[0] * asi.TemperatureMultiplier);
    return dropWhenTooHot(asi) && a.RawValue[0] != 0;
}
bool applyTenths(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    asi.Temperature = rawWord(a) / 10;
    return dropWhenTooHot(asi);
}

constexpr AttributeAction temperature{applyTemperature, Meaning::temperature};
constexpr AttributeAction temperatureScaled{applyScaledTemperature, Meaning::temperature};
constexpr AttributeAction temperatureInTenths{applyTenths, Meaning::temperature};

// ---- Life left --------------------------------------------------------------------------------------------

template <BOOL AtaSmartInfo::*flag>
bool has(const AtaSmartInfo& asi, const SMART_ATTRIBUTE&) {
    return asi.*flag != 0;
}
constexpr auto isInverted = has<&AtaSmartInfo::LifeIsRawInverted>;
constexpr auto isRaw = has<&AtaSmartInfo::LifeIsRaw>;

template <std::int32_t (*percent)(const SMART_ATTRIBUTE&)>
constexpr AttributeAction lifeOf{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                     asi.Life = percent(a);
                                     return true;
                                 },
                                 Meaning::life};

constexpr auto lifeCurrent = lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(a.CurrentValue); }>;
constexpr auto lifeCurrentAsIs =
    lifeOf<[](const SMART_ATTRIBUTE& a) { return std::int32_t{a.CurrentValue}; }>;
constexpr auto lifeCurrentOver100 =
    lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(a.CurrentValue - 100); }>;
constexpr auto lifeRaw = lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(a.RawValue[0]); }>;
constexpr auto lifeRawInverted =
    lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(100 - a.RawValue[0]); }>;
constexpr auto lifeHidden = lifeOf<[](const SMART_ATTRIBUTE&) { return kNone; }>;
constexpr auto lifeHundredths =
    lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(100 - rawWord(a) / 100); }>;
constexpr auto lifeHighByte = lifeOf<[](const SMART_ATTRIBUTE& a) { return bounded(100 - a.RawValue[1]); }>;

constexpr AttributeAction lifeAndWear{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                          asi.WearLevelingCount = stored(a.raw());
                                          asi.Life = bounded(a.CurrentValue);
                                          return true;
                                      },
                                      Meaning::wear};

// ---- Counters of data -------------------------------------------------------------------------------------

template <std::int32_t AtaSmartInfo::*field>
constexpr Meaning meaningOf = field == &AtaSmartInfo::HostWrites   ? Meaning::hostWrites
                              : field == &AtaSmartInfo::HostReads  ? Meaning::hostReads
                              : field == &AtaSmartInfo::NandWrites ? Meaning::nandWrites
                                                                   : Meaning::erased;

template <std::int32_t AtaSmartInfo::*field, int shift>
constexpr AttributeAction shifted{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                      asi.*field = stored(a.raw() >> shift);
                                      return true;
                                  },
                                  meaningOf<field>};
template <int shift>
constexpr auto hostWrites = shifted<&AtaSmartInfo::HostWrites, shift>;
template <int shift>
constexpr auto hostReads = shifted<&AtaSmartInfo::HostReads, shift>;
template <int shift>
constexpr auto nandWrites = shifted<&AtaSmartInfo::NandWrites, shift>;
constexpr auto erased = shifted<&AtaSmartInfo::GBytesErased, 0>;

/// GiB of a count in the drive's unit.
std::uint64_t gibOf(std::uint64_t count, std::uint32_t unit) {
    switch (unit) {
    case HOST_UNIT_512B:
        return count >> 21;
    case HOST_UNIT_1MB:
        return count >> 10;
    case HOST_UNIT_16MB:
        return count >> 6;
    case HOST_UNIT_32MB:
        return count >> 5;
    default:
        return count;
    }
}

template <std::int32_t AtaSmartInfo::*field>
constexpr AttributeAction byUnit{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                     asi.*field = stored(gibOf(a.raw(), asi.HostReadsWritesUnit));
                                     return true;
                                 },
                                 meaningOf<field>};
constexpr auto hostWritesByUnit = byUnit<&AtaSmartInfo::HostWrites>;
constexpr auto hostReadsByUnit = byUnit<&AtaSmartInfo::HostReads>;

/// Units of 32 MiB in a number with a sign.
constexpr AttributeAction nandWritesSigned32MB{[](AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
                                                   asi.NandWrites = stored(a.raw()) / 32;
                                                   return true;
                                               },
                                               Meaning::nandWrites};

// ---- The table --------------------------------------------------------------------------------------------

constexpr UnitSet unit512B = units(HOST_UNIT_512B);
constexpr UnitSet unit1MB = units(HOST_UNIT_1MB);
constexpr UnitSet unit32MB = units(HOST_UNIT_32MB);
constexpr UnitSet unitGB = units(HOST_UNIT_GB);
constexpr UnitSet anyNamedUnit =
    units(HOST_UNIT_512B, HOST_UNIT_1MB, HOST_UNIT_16MB, HOST_UNIT_32MB, HOST_UNIT_GB);

constexpr VendorSet realtekOrSiliconMotion = vendors(VENDOR_REALTEK, VENDOR_SILICON_MOTION);
constexpr VendorSet wdcOrSanDisk = vendors(VENDOR_WDC, VENDOR_SANDISK);
constexpr VendorSet withWearoutAt233 = vendors(VENDOR_INTEL, VENDOR_OCZ, VENDOR_OCZ_VECTOR, VENDOR_SKHYNIX);
constexpr VendorSet withLifeAt231 =
    vendors(VENDOR_JMICRON, VENDOR_SANDFORCE, VENDOR_SEAGATE, VENDOR_SANDISK, VENDOR_CORSAIR, VENDOR_KINGSTON,
            VENDOR_REALTEK, VENDOR_SKHYNIX, VENDOR_SSSTC, VENDOR_APACER, VENDOR_PHISON, VENDOR_MAXIOTEK,
            VENDOR_YMTC, VENDOR_SCY, VENDOR_RECADATA);
constexpr VendorSet nand32MBAt245 = vendors(VENDOR_MICRON_MU03, VENDOR_SILICON_MOTION, VENDOR_SCY);
constexpr VendorSet withHostUnit =
    vendors(VENDOR_SANDFORCE, VENDOR_SEAGATE, VENDOR_WDC, VENDOR_OCZ_VECTOR, VENDOR_CORSAIR, VENDOR_KINGSTON,
            VENDOR_MICRON_MU03, VENDOR_REALTEK, VENDOR_SKHYNIX, VENDOR_SSSTC, VENDOR_MARVELL, VENDOR_MAXIOTEK,
            VENDOR_YMTC, VENDOR_SCY, VENDOR_RECADATA, VENDOR_SANDISK_DELL, VENDOR_SANDISK_HP,
            VENDOR_SANDISK_HP_VENUS, VENDOR_SANDISK_LENOVO, VENDOR_SANDISK_LENOVO_HELEN_VENUS);

constexpr auto onRead = Holds::onRead;
constexpr auto inPass = Holds::inPass;
constexpr auto both = Holds::both;
constexpr bool (*always)(const AtaSmartInfo&, const SMART_ATTRIBUTE&) = nullptr;

// One row a line, so that the table reads as one.
// clang-format off
constexpr AttributeRule kRules[] = {
    // id, vendors, unit, when, action, holds, name
    {9, vendors(VENDOR_INDILINX), kAnyUnit, always, powerOnTimeOfValues, onRead, "9: worst and current value as one number"},
    {9, kAnyVendor, kAnyUnit, hoursAboveOffset, powerOnTimeAboveOffset, onRead, "9: hours above 894803 in the low 24 bits"},
    {9, kAnyVendor, kAnyUnit, always, powerOnTime, onRead, "9: low 32 bits of the raw value"},

    {12, vendors(VENDOR_INDILINX), kAnyUnit, always, powerOnCountOfValues, onRead, "12: worst and current value as one number"},
    {12, kAnyVendor, kAnyUnit, always, powerOnCount, onRead, "12: low 32 bits of the raw value"},

    {100, vendors(VENDOR_SANDFORCE), kAnyUnit, always, erased, both, nullptr},

    {169, realtekOrSiliconMotion, kAnyUnit, isInverted, lifeRawInverted, both, "169: 100 less the raw byte"},
    {169, realtekOrSiliconMotion, kAnyUnit, isRaw, lifeRaw, both, "169: raw byte, percent left"},
    {169, realtekOrSiliconMotion, kAnyUnit, always, lifeCurrent, both, "169: current value, percent left"},
    {169, vendors(VENDOR_KINGSTON), unit32MB, isInverted, lifeRawInverted, both, "169: 100 less the raw byte"},
    {169, vendors(VENDOR_KINGSTON), unit32MB, isRaw, lifeRaw, both, "169: raw byte, percent left"},
    {169, vendors(VENDOR_KINGSTON), unit32MB, always, lifeCurrent, both, "169: current value, percent left"},

    {173, vendors(VENDOR_TOSHIBA, VENDOR_KIOXIA), kAnyUnit, always, lifeCurrentOver100, both, "173: current value above 100, percent left"},
    {177, vendors(VENDOR_SAMSUNG), kAnyUnit, always, lifeAndWear, both, "177: current value, percent left"},
    {187, vendors(VENDOR_MTRON), kAnyUnit, always, lifeCurrent, both, "187: current value, percent left"},

    {190, kAnyVendor, kAnyUnit, isPlausible, temperature, onRead, "190: low byte of the raw value"},
    {191, vendors(VENDOR_SANDISK_CLOUD), kAnyUnit, always, powerOnCountPlusOne, onRead, "191: low 32 bits of the raw value, plus 1"},
    {192, vendors(VENDOR_SANDISK_CLOUD), kAnyUnit, always, powerOnCountAdded, onRead, "192: low 32 bits of the raw value, added"},
    {194, kAnyVendor, kAnyUnit, inTenths, temperatureInTenths, onRead, "194: tenths of a degree in two raw bytes"},
    {194, kAnyVendor, kAnyUnit, isScaled, temperatureScaled, onRead, "194: low byte of the raw value, scaled"},
    {194, kAnyVendor, kAnyUnit, always, temperature, onRead, "194: low byte of the raw value"},

    {198, vendors(VENDOR_OCZ_VECTOR), kAnyUnit, always, hostReads<0>, both, nullptr},
    {199, vendors(VENDOR_OCZ_VECTOR), kAnyUnit, always, hostWrites<0>, both, nullptr},
    {201, vendors(VENDOR_SANDISK_HP, VENDOR_SANDISK_HP_VENUS), kAnyUnit, always, lifeCurrentAsIs, both, "201: current value, percent left"},
    {202, vendors(VENDOR_MICRON, VENDOR_MICRON_MU03, VENDOR_INTEL_DC), kAnyUnit, always, lifeCurrent, both, "202: current value, percent left"},
    {209, vendors(VENDOR_INDILINX), kAnyUnit, always, lifeCurrent, both, "209: current value, percent left"},
    {225, vendors(VENDOR_INTEL), kAnyUnit, always, hostWrites<5>, both, nullptr},

    // The pass does not drop a current value above 100.
    {230, wdcOrSanDisk, kAnyUnit, has<&AtaSmartInfo::LifeHidden>, lifeHidden, both, "230: not shown for this drive"},
    {230, wdcOrSanDisk, kAnyUnit, has<&AtaSmartInfo::LifeIsRawHundredths>, lifeHundredths, both, "230: 100 less hundredths in two raw bytes"},
    {230, wdcOrSanDisk, kAnyUnit, has<&AtaSmartInfo::LifeIsRawHighByte>, lifeHighByte, both, "230: 100 less the second raw byte"},
    {230, wdcOrSanDisk, kAnyUnit, has<&AtaSmartInfo::LifeIsCurrent>, lifeCurrent, onRead, "230: current value, percent left"},
    {230, wdcOrSanDisk, kAnyUnit, has<&AtaSmartInfo::LifeIsCurrent>, lifeCurrentAsIs, inPass, "230: current value, percent left"},
    {230, wdcOrSanDisk, kAnyUnit, always, lifeHighByte, both, "230: 100 less the second raw byte"},
    {230, vendors(VENDOR_SANDISK_DELL, VENDOR_SANDISK_LENOVO), kAnyUnit, always, lifeCurrentAsIs, both, "230: current value, percent left"},

    {231, withLifeAt231, kAnyUnit, isInverted, lifeRawInverted, both, "231: 100 less the raw byte"},
    {231, withLifeAt231, kAnyUnit, isRaw, lifeRaw, both, "231: raw byte, percent left"},
    {231, withLifeAt231, kAnyUnit, always, lifeCurrent, both, "231: current value, percent left"},

    {232, vendors(VENDOR_PLEXTOR), kAnyUnit, always, lifeCurrent, both, "232: current value, percent left"},
    {232, vendors(VENDOR_OCZ), kAnyUnit, always, hostWrites<21>, both, nullptr},

    // The pass knows no NAND writes of two dialects.
    {233, withWearoutAt233, kAnyUnit, isRaw, lifeRaw, both, "233: raw byte, percent left"},
    {233, withWearoutAt233, kAnyUnit, always, lifeCurrent, both, "233: current value, percent left"},
    {233, vendors(VENDOR_SANDISK_LENOVO_HELEN_VENUS), kAnyUnit, always, lifeCurrent, both, "233: current value, percent left"},
    {233, vendors(VENDOR_SANDISK, VENDOR_SANDISK_LENOVO), unitGB, always, nandWrites<0>, both, nullptr},
    {233, vendors(VENDOR_SANDISK_CLOUD), unitGB, always, nandWrites<0>, onRead, nullptr},
    {233, vendors(VENDOR_SEAGATE, VENDOR_WDC, VENDOR_PLEXTOR, VENDOR_KINGSTON, VENDOR_SSSTC), kAnyUnit, always, nandWrites<0>, both, nullptr},
    {233, vendors(VENDOR_YMTC), kAnyUnit, always, nandWrites<0>, onRead, nullptr},
    {233, vendors(VENDOR_JMICRON), kAnyUnit, always, nandWrites<21>, both, nullptr},
    {233, vendors(VENDOR_MAXIOTEK), unit512B, always, nandWrites<21>, both, nullptr},
    {233, vendors(VENDOR_MAXIOTEK), kAnyUnit, always, nandWrites<0>, both, nullptr},

    {234, vendors(VENDOR_SEAGATE, VENDOR_KINGSTON), kAnyUnit, always, nandWrites<0>, both, nullptr},
    {234, vendors(VENDOR_SKHYNIX), unitGB, always, nandWrites<0>, both, nullptr},
    {235, vendors(VENDOR_INTEL_DC), kAnyUnit, always, hostWrites<5>, both, nullptr},

    // The pass knows no host counters of one dialect.
    {241, vendors(VENDOR_GENERAL_SSD), anyNamedUnit, always, hostWritesByUnit, both, nullptr},
    {241, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK), unitGB, always, hostWrites<0>, both, nullptr},
    {241, vendors(VENDOR_JMICRON, VENDOR_SAMSUNG, VENDOR_SANDISK, VENDOR_APACER), kAnyUnit, always, hostWrites<21>, both, nullptr},
    {241, vendors(VENDOR_TOSHIBA), unitGB, always, hostWrites<0>, both, nullptr},
    {241, vendors(VENDOR_INTEL, VENDOR_PLEXTOR, VENDOR_TOSHIBA, VENDOR_KIOXIA, VENDOR_SILICON_MOTION), kAnyUnit, always, hostWrites<5>, both, nullptr},
    {241, withHostUnit | vendors(VENDOR_PHISON), kAnyUnit, always, hostWritesByUnit, both, nullptr},
    {241, vendors(VENDOR_SANDISK_CLOUD), unitGB, always, hostWrites<0>, onRead, nullptr},
    {241, vendors(VENDOR_INTEL_DC), kAnyUnit, always, nandWrites<5>, both, nullptr},

    // Reads in units of 1 MiB are kept as they are, unlike writes.
    {242, vendors(VENDOR_GENERAL_SSD), anyNamedUnit & ~unit1MB, always, hostReadsByUnit, both, nullptr},
    {242, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK), unitGB, always, hostReads<0>, both, nullptr},
    {242, vendors(VENDOR_JMICRON, VENDOR_SAMSUNG, VENDOR_SANDISK), kAnyUnit, always, hostReads<21>, both, nullptr},
    {242, vendors(VENDOR_TOSHIBA), unitGB, always, hostReads<0>, both, nullptr},
    {242, vendors(VENDOR_INTEL, VENDOR_PLEXTOR, VENDOR_TOSHIBA, VENDOR_SILICON_MOTION), kAnyUnit, always, hostReads<5>, both, nullptr},
    {242, withHostUnit, unit1MB, always, hostReads<0>, both, nullptr},
    {242, withHostUnit, kAnyUnit, always, hostReadsByUnit, both, nullptr},
    {242, vendors(VENDOR_SANDISK_CLOUD), unitGB, always, hostReads<0>, onRead, nullptr},
    {242, vendors(VENDOR_MICRON), kAnyUnit, always, lifeCurrent, inPass, "242: current value, percent left"},

    {243, vendors(VENDOR_YMTC), kAnyUnit, always, temperature, both, "243: low byte of the raw value"},
    {243, vendors(VENDOR_INTEL), kAnyUnit, always, nandWrites<5>, both, nullptr},

    // The read takes a sign from the low 32 bits, the pass shifts all 48.
    {245, vendors(VENDOR_SANDISK_CLOUD), kAnyUnit, always, lifeCurrentAsIs, both, "245: current value, percent left"},
    {245, vendors(VENDOR_MICRON), kAnyUnit, always, nandWrites<17>, both, nullptr},
    {245, nand32MBAt245, kAnyUnit, always, nandWritesSigned32MB, onRead, nullptr},
    {245, nand32MBAt245, kAnyUnit, always, nandWrites<5>, inPass, nullptr},
    {245, vendors(VENDOR_KINGSTON), unit32MB, always, nandWritesSigned32MB, onRead, nullptr},
    {245, vendors(VENDOR_KINGSTON), unit32MB, always, nandWrites<5>, inPass, nullptr},
    {245, vendors(VENDOR_RECADATA), kAnyUnit, always, nandWrites<0>, both, nullptr},

    {246, vendors(VENDOR_MICRON, VENDOR_MICRON_MU03), kAnyUnit, always, hostWrites<21>, both, nullptr},
    {249, vendors(VENDOR_INTEL, VENDOR_WDC, VENDOR_REALTEK, VENDOR_SANDISK_HP, VENDOR_SANDISK_HP_VENUS, VENDOR_SANDISK_LENOVO_HELEN_VENUS), kAnyUnit, always, nandWrites<0>, both, nullptr},
    {249, vendors(VENDOR_SANDISK), unitGB, always, nandWrites<0>, both, nullptr},
    {249, vendors(VENDOR_OCZ_VECTOR), kAnyUnit, always, nandWrites<16>, both, nullptr},
    {250, vendors(VENDOR_REALTEK), kAnyUnit, always, nandWrites<0>, both, nullptr},
};
// clang-format on

/// Where an explanation of this meaning stands, null for the counters of data.
constexpr const char* Explanation::*placeOf(Meaning meaning) {
    switch (meaning) {
    case Meaning::temperature:
        return &Explanation::temperature;
    case Meaning::powerOnHours:
        return &Explanation::powerOnHours;
    case Meaning::powerOnCount:
        return &Explanation::powerOnCount;
    case Meaning::life:
    case Meaning::wear:
        return &Explanation::life;
    default:
        return nullptr;
    }
}

constexpr bool namedWhereExplained() {
    return std::all_of(std::begin(kRules), std::end(kRules), [](const AttributeRule& rule) {
        return (rule.name != nullptr) == (placeOf(rule.action.meaning) != nullptr);
    });
}
static_assert(namedWhereExplained());

// ---- Look-up ----------------------------------------------------------------------------------------------

static_assert(std::is_sorted(std::begin(kRules), std::end(kRules),
                             [](const AttributeRule& a, const AttributeRule& b) { return a.id < b.id; }));
static_assert(std::size(kRules) < 256);

/// kFirstRule[id] is the first row that belongs to `id` or a higher id.
constexpr auto kFirstRule = [] {
    std::array<std::uint8_t, 257> first{};
    std::size_t row = 0;
    for (std::size_t id = 0; id < first.size(); ++id) {
        while (row < std::size(kRules) && kRules[row].id < id)
            ++row;
        first[id] = static_cast<std::uint8_t>(row);
    }
    return first;
}();

} // namespace

const AttributeRule* findAttributeRule(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute,
                                       Holds occasion) {
    const VendorSet vendor = vendorBit(asi.DiskVendorId);
    const UnitSet unit = unitBit(asi.HostReadsWritesUnit);
    for (std::size_t row = kFirstRule[attribute.Id]; row < kFirstRule[attribute.Id + 1]; ++row) {
        const AttributeRule& rule = kRules[row];
        const bool fits = (rule.vendors & vendor) && (rule.units & unit) &&
                          (static_cast<unsigned>(rule.holds) & static_cast<unsigned>(occasion));
        if (fits && (!rule.when || rule.when(asi, attribute))) return &rule;
    }
    return nullptr;
}

void applyAttributeRule(AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute, Holds occasion,
                        Explanation* why) {
    const AttributeRule* rule = findAttributeRule(asi, attribute, occasion);
    if (!rule || !rule->action.apply(asi, attribute) || !why) return;
    if (const auto place = placeOf(rule->action.meaning)) why->*place = rule->name;
}

} // namespace orv
