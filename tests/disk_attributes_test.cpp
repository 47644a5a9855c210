#include "disk_engine/AttributeRules.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/Interpretation.h"
#include "support/SmartDrives.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace orv::test {
namespace {

constexpr std::uint32_t kVendors = 49, kUnits = 6;

/// A record whose values differ from those that say "none", so that a rule which gives none is seen.
AtaSmartInfo usedDrive() {
    AtaSmartInfo asi;
    asi.Temperature = 41;
    asi.PowerOnCount = 42;
    asi.HostWrites = asi.HostReads = asi.NandWrites = asi.GBytesErased = asi.WearLevelingCount = 43;
    asi.Life = 44;
    return asi;
}

/// What has changed, as "Life=97 NandWrites=5".
std::string changes(const AtaSmartInfo& before, const AtaSmartInfo& after) {
    std::string text;
    const auto note = [&](const char* name, auto field) {
        if (before.*field == after.*field) return;
        text += (text.empty() ? "" : " ") + std::string(name) + "=" + std::to_string(after.*field);
    };
    note("Temperature", &AtaSmartInfo::Temperature);
    note("PowerOnCount", &AtaSmartInfo::PowerOnCount);
    note("PowerOnRawValue", &AtaSmartInfo::PowerOnRawValue);
    note("DetectedPowerOnHours", &AtaSmartInfo::DetectedPowerOnHours);
    note("MeasuredPowerOnHours", &AtaSmartInfo::MeasuredPowerOnHours);
    note("MeasuredTimeUnitType", &AtaSmartInfo::MeasuredTimeUnitType);
    note("HostWrites", &AtaSmartInfo::HostWrites);
    note("HostReads", &AtaSmartInfo::HostReads);
    note("NandWrites", &AtaSmartInfo::NandWrites);
    note("GBytesErased", &AtaSmartInfo::GBytesErased);
    note("WearLevelingCount", &AtaSmartInfo::WearLevelingCount);
    note("Life", &AtaSmartInfo::Life);
    return text;
}

struct Reading {
    std::uint8_t current;
    std::uint64_t raw;
};
constexpr Reading worn{97, 0x0B60};         // bytes 96 and 11, a word of 2912
constexpr Reading over{150, 0xC8C8};        // bytes of 200, a word of 51400
constexpr Reading count{100, 0x0340000400}; // >> 5, 6, 10, 16, 17 and 21 all differ, and the high bits count
constexpr Reading negative{100, 0x01FFFFFFC1}; // -63 in the low 32 bits
constexpr Reading ones{255, 0xFFFFFFFFFFFF};

struct Rule {
    std::vector<std::pair<std::uint8_t, VendorSet>> attributes; // id and dialects
    std::vector<std::uint32_t> units;                           // empty: all
    std::vector<DriveFlag> flags;
    Reading reading;
    std::string read;           // "Field=": of `count`, by the drive's unit
    const char* pass = nullptr; // null: as the read
};
constexpr std::array countByUnit{1073742848, 6656, 13631489, 218103824, 436207648, 1073742848};

constexpr VendorSet lifeAt231 =
    vendors(VENDOR_JMICRON, VENDOR_SANDFORCE, VENDOR_SEAGATE, VENDOR_SANDISK, VENDOR_CORSAIR, VENDOR_KINGSTON,
            VENDOR_REALTEK, VENDOR_SKHYNIX, VENDOR_SSSTC, VENDOR_APACER, VENDOR_PHISON, VENDOR_MAXIOTEK,
            VENDOR_YMTC, VENDOR_SCY, VENDOR_RECADATA);
constexpr VendorSet hostUnit =
    vendors(VENDOR_SANDFORCE, VENDOR_SEAGATE, VENDOR_WDC, VENDOR_OCZ_VECTOR, VENDOR_CORSAIR, VENDOR_KINGSTON,
            VENDOR_MICRON_MU03, VENDOR_REALTEK, VENDOR_SKHYNIX, VENDOR_SSSTC, VENDOR_MARVELL, VENDOR_MAXIOTEK,
            VENDOR_YMTC, VENDOR_SCY, VENDOR_RECADATA, VENDOR_SANDISK_DELL, VENDOR_SANDISK_HP,
            VENDOR_SANDISK_HP_VENUS, VENDOR_SANDISK_LENOVO, VENDOR_SANDISK_LENOVO_HELEN_VENUS);
// clang-format off
const Rule rules[] = {
    {{{9, kAnyVendor}}, {}, {}, {100, 5000}, "PowerOnRawValue=5000 DetectedPowerOnHours=0 MeasuredPowerOnHours=0", ""},
    {{{12, kAnyVendor}}, {}, {}, count, "PowerOnCount=1073742848", ""},
    {{{190, kAnyVendor}}, {}, {}, {70, 30}, "Temperature=30", ""},
    {{{194, kAnyVendor}}, {}, {}, {70, 0x2D00000023}, "Temperature=35", ""},
    {{{191, vendors(VENDOR_SANDISK_CLOUD)}}, {}, {}, {100, 9}, "PowerOnCount=10", ""},
    {{{192, vendors(VENDOR_SANDISK_CLOUD)}}, {}, {}, {100, 9}, "PowerOnCount=51", ""},
    {{{243, vendors(VENDOR_YMTC)}}, {}, {}, worn, "Temperature=96"},
    {{{243, vendors(VENDOR_INTEL)}, {241, vendors(VENDOR_INTEL_DC)}}, {}, {}, count, "NandWrites=436207648"},
    {{{100, vendors(VENDOR_SANDFORCE)}}, {}, {}, count, "GBytesErased=1073742848"},
    {{{100, vendors(VENDOR_SANDFORCE)}}, {}, {}, ones, "GBytesErased=-1"},

    {{{169, vendors(VENDOR_REALTEK, VENDOR_SILICON_MOTION)}, {187, vendors(VENDOR_MTRON)}, {209, vendors(VENDOR_INDILINX)}, {231, lifeAt231}, {232, vendors(VENDOR_PLEXTOR)}}, {}, {}, worn, "Life=97"},
    {{{169, vendors(VENDOR_REALTEK, VENDOR_SILICON_MOTION)}, {231, lifeAt231}, {233, vendors(VENDOR_INTEL, VENDOR_OCZ, VENDOR_OCZ_VECTOR, VENDOR_SKHYNIX)}}, {}, {raw}, worn, "Life=96"},
    {{{169, vendors(VENDOR_REALTEK, VENDOR_SILICON_MOTION)}, {231, lifeAt231}}, {}, {raw, inverted}, worn, "Life=4"},
    {{{169, vendors(VENDOR_KINGSTON)}}, {4}, {}, over, "Life=-1"},
    {{{169, vendors(VENDOR_KINGSTON)}}, {4}, {raw}, worn, "Life=96"},
    {{{169, vendors(VENDOR_KINGSTON)}}, {4}, {inverted}, worn, "Life=4"},
    {{{173, vendors(VENDOR_TOSHIBA, VENDOR_KIOXIA)}}, {}, {}, {197, 0}, "Life=97"},
    {{{173, vendors(VENDOR_TOSHIBA, VENDOR_KIOXIA)}}, {}, {}, {99, 0}, "Life=-1"},
    {{{173, vendors(VENDOR_TOSHIBA, VENDOR_KIOXIA)}}, {}, {}, {201, 0}, "Life=-1"},
    {{{177, vendors(VENDOR_SAMSUNG)}}, {}, {raw}, worn, "WearLevelingCount=2912 Life=97"},
    {{{177, vendors(VENDOR_SAMSUNG)}}, {}, {}, ones, "WearLevelingCount=-1 Life=-1"},
    {{{201, vendors(VENDOR_SANDISK_HP, VENDOR_SANDISK_HP_VENUS)}, {245, vendors(VENDOR_SANDISK_CLOUD)}}, {}, {}, over, "Life=150"},
    {{{202, vendors(VENDOR_MICRON, VENDOR_MICRON_MU03, VENDOR_INTEL_DC)}, {233, vendors(VENDOR_SANDISK_LENOVO_HELEN_VENUS)}}, {}, {raw}, worn, "Life=97"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {hidden, hundredths}, worn, "Life=-1"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {hundredths, highByte}, worn, "Life=71"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {highByte, current}, worn, "Life=89"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {highByte}, over, "Life=-1"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {current}, worn, "Life=97"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {current}, over, "Life=-1", "Life=150"},
    {{{230, vendors(VENDOR_WDC, VENDOR_SANDISK)}}, {}, {raw}, worn, "Life=89"},
    {{{230, vendors(VENDOR_SANDISK_DELL, VENDOR_SANDISK_LENOVO)}}, {}, {hidden}, over, "Life=150"},
    {{{231, lifeAt231}}, {}, {}, {0, 0}, "Life=0"},
    {{{231, lifeAt231}}, {}, {}, over, "Life=-1"},
    {{{231, lifeAt231}}, {}, {raw}, over, "Life=-1"},

    {{{198, vendors(VENDOR_OCZ_VECTOR)}}, {}, {}, count, "HostReads=1073742848"},
    {{{199, vendors(VENDOR_OCZ_VECTOR)}}, {}, {}, count, "HostWrites=1073742848"},
    {{{225, vendors(VENDOR_INTEL)}, {235, vendors(VENDOR_INTEL_DC)}, {241, vendors(VENDOR_INTEL, VENDOR_PLEXTOR, VENDOR_KIOXIA, VENDOR_SILICON_MOTION)}}, {}, {}, count, "HostWrites=436207648"},
    {{{232, vendors(VENDOR_OCZ)}, {246, vendors(VENDOR_MICRON, VENDOR_MICRON_MU03)}, {241, vendors(VENDOR_JMICRON, VENDOR_APACER)}}, {}, {}, count, "HostWrites=6656"},
    {{{233, vendors(VENDOR_SANDISK, VENDOR_SANDISK_LENOVO)}, {234, vendors(VENDOR_SKHYNIX)}, {249, vendors(VENDOR_SANDISK)}}, {5}, {}, count, "NandWrites=1073742848"},
    {{{233, vendors(VENDOR_SANDISK_CLOUD)}}, {5}, {}, count, "NandWrites=1073742848", ""},
    {{{233, vendors(VENDOR_SEAGATE, VENDOR_WDC, VENDOR_PLEXTOR, VENDOR_KINGSTON, VENDOR_SSSTC)}, {234, vendors(VENDOR_SEAGATE, VENDOR_KINGSTON)}, {245, vendors(VENDOR_RECADATA)}, {249, vendors(VENDOR_INTEL, VENDOR_WDC, VENDOR_REALTEK, VENDOR_SANDISK_HP, VENDOR_SANDISK_HP_VENUS, VENDOR_SANDISK_LENOVO_HELEN_VENUS)}, {250, vendors(VENDOR_REALTEK)}}, {}, {}, count, "NandWrites=1073742848"},
    {{{233, vendors(VENDOR_YMTC)}}, {}, {}, count, "NandWrites=1073742848", ""},
    {{{233, vendors(VENDOR_JMICRON)}}, {}, {}, count, "NandWrites=6656"},
    {{{233, vendors(VENDOR_MAXIOTEK)}}, {1}, {}, count, "NandWrites=6656"},
    {{{233, vendors(VENDOR_MAXIOTEK)}}, {0, 2, 3, 4, 5}, {}, count, "NandWrites=1073742848"},
    {{{245, vendors(VENDOR_MICRON)}}, {}, {}, count, "NandWrites=106496"},
    {{{245, vendors(VENDOR_MICRON_MU03, VENDOR_SILICON_MOTION, VENDOR_SCY)}}, {}, {}, count, "NandWrites=33554464", "NandWrites=436207648"},
    {{{245, vendors(VENDOR_MICRON_MU03, VENDOR_SILICON_MOTION, VENDOR_SCY)}}, {}, {}, negative, "NandWrites=-1", "NandWrites=268435454"},
    {{{245, vendors(VENDOR_KINGSTON)}}, {4}, {}, negative, "NandWrites=-1", "NandWrites=268435454"},
    {{{249, vendors(VENDOR_OCZ_VECTOR)}}, {}, {}, count, "NandWrites=212992"},

    {{{241, hostUnit | vendors(VENDOR_PHISON)}}, {}, {}, count, "HostWrites="},
    {{{241, vendors(VENDOR_GENERAL_SSD)}}, {1, 2, 3, 4, 5}, {}, count, "HostWrites="},
    {{{241, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK, VENDOR_TOSHIBA)}}, {5}, {}, count, "HostWrites=1073742848"},
    {{{241, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK)}}, {0, 1, 2, 3, 4}, {}, count, "HostWrites=6656"},
    {{{241, vendors(VENDOR_TOSHIBA)}}, {0, 1, 2, 3, 4}, {}, count, "HostWrites=436207648"},
    {{{241, vendors(VENDOR_SANDISK_CLOUD)}}, {5}, {}, count, "HostWrites=1073742848", ""},

    {{{242, hostUnit}}, {2}, {}, count, "HostReads=1073742848"},
    {{{242, hostUnit}}, {0, 1, 3, 4, 5}, {}, count, "HostReads="},
    {{{242, vendors(VENDOR_GENERAL_SSD)}}, {1, 3, 4, 5}, {}, count, "HostReads="},
    {{{242, vendors(VENDOR_JMICRON)}}, {}, {}, count, "HostReads=6656"},
    {{{242, vendors(VENDOR_INTEL, VENDOR_PLEXTOR, VENDOR_SILICON_MOTION)}}, {}, {}, count, "HostReads=436207648"},
    {{{242, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK, VENDOR_TOSHIBA)}}, {5}, {}, count, "HostReads=1073742848"},
    {{{242, vendors(VENDOR_SAMSUNG, VENDOR_SANDISK)}}, {0, 1, 2, 3, 4}, {}, count, "HostReads=6656"},
    {{{242, vendors(VENDOR_TOSHIBA)}}, {0, 1, 2, 3, 4}, {}, count, "HostReads=436207648"},
    {{{242, vendors(VENDOR_SANDISK_CLOUD)}}, {5}, {}, count, "HostReads=1073742848", ""},
    {{{242, vendors(VENDOR_MICRON)}}, {}, {}, worn, "", "Life=97"},
};
// clang-format on

/// Calls `visit(id, vendor, unit)` for each drive that a rule is for.
template <class Visit>
void forEachDrive(const Rule& rule, Visit visit) {
    for (const auto& [id, dialects] : rule.attributes) {
        for (std::uint32_t vendor = 0; vendor < kVendors; ++vendor) {
            // Drives without a raw value have cases of their own.
            const bool other = dialects == kAnyVendor && vendor == VENDOR_INDILINX;
            if (other || !(dialects & vendorBit(vendor))) continue;
            for (std::uint32_t unit = 0; unit < kUnits; ++unit)
                if (rule.units.empty() || std::ranges::count(rule.units, unit) != 0) visit(id, vendor, unit);
        }
    }
}

std::string onRead(AtaSmartInfo asi) {
    const AtaSmartInfo before = asi;
    FillSmartData(asi);
    return changes(before, asi);
}

std::string inPass(AtaSmartInfo asi) {
    std::memcpy(asi.Attribute, asi.SmartReadData + kSmartEntriesAt, sizeof asi.Attribute);
    asi.AttributeCount = 1;
    const AtaSmartInfo before = asi;
    InterpretAttributes(asi);
    return changes(before, asi);
}

TEST(DiskAttributes, EachDialectReadsItsOwnRules) {
    for (const Rule& rule : rules) {
        forEachDrive(rule, [&](std::uint8_t id, std::uint32_t vendor, std::uint32_t unit) {
            SCOPED_TRACE(testing::Message() << "id " << int{id} << ", vendor " << vendor << ", unit " << unit
                                            << ", raw " << rule.reading.raw);
            AtaSmartInfo asi = usedDrive();
            asi.DiskVendorId = vendor;
            asi.HostReadsWritesUnit = unit;
            for (const DriveFlag flag : rule.flags)
                asi.*flag = 1;
            putBlocks(asi, {{id, rule.reading.current, rule.reading.raw}});
            const bool byUnit = rule.read.ends_with('=');
            const std::string read = rule.read + (byUnit ? std::to_string(countByUnit[unit]) : "");
            EXPECT_EQ(read, onRead(asi));
            EXPECT_EQ(rule.pass ? rule.pass : read, inPass(asi));
        });
    }
}

TEST(DiskAttributes, WhatNoRuleNamesWritesNothing) {
    std::set<std::tuple<int, std::uint32_t, std::uint32_t>> named;
    for (const Rule& rule : rules)
        forEachDrive(rule, [&](auto... drive) { named.emplace(drive...); });
    for (int id = 1; id < 256; ++id) {
        if (id == 9 || id == 12 || id == 190 || id == 194) continue; // for all
        AtaSmartInfo asi = usedDrive();
        asi.LifeIsRaw = asi.LifeIsRawInverted = 1; // rows with a condition hold as well
        putBlocks(asi, {{static_cast<std::uint8_t>(id), worn.current, count.raw + worn.raw}});
        const AtaSmartInfo before = asi;
        for (asi.DiskVendorId = 0; asi.DiskVendorId < kVendors; ++asi.DiskVendorId) {
            for (std::uint32_t unit = 0; unit < kUnits; ++unit) {
                asi.HostReadsWritesUnit = unit;
                if (named.contains({id, asi.DiskVendorId, unit})) continue;
                FillSmartData(asi);
                InterpretAttributes(asi);
                ASSERT_EQ("", changes(before, asi))
                    << id << " of vendor " << asi.DiskVendorId << ", unit " << unit;
            }
        }
    }
}

TEST(DiskAttributes, PowerOnTimeInTheUnitOfTheDrive) {
    using Hours = std::tuple<std::int32_t, std::int32_t, std::int32_t, std::uint32_t>; // and the unit after
    using Units = std::pair<std::uint32_t, std::uint32_t>;
    const std::tuple<const wchar_t*, Units, DriveAttribute, Hours> cases[] = {
        {L"Drive", {TIME_UNIT_UNKNOWN, TIME_UNIT_HOURS}, {9, 100, 5000}, {5000, 0, 5000, 1}},
        {L"Drive", {TIME_UNIT_SECONDS, TIME_UNIT_10_MINUTES}, {9, 100, 7199}, {7199, 1, 1199, 5}},
        {L"Drive", {TIME_UNIT_HOURS, 0}, {9, 100, 0xDA000 - 1}, {892927, 892927, 0, 0}},
        // An offset counts as none of the drive's hours.
        {L"Drive", {TIME_UNIT_HOURS, 0}, {9, 100, 900000}, {5197, 5197, 5197, 6}},
        {L"Drive", {TIME_UNIT_HOURS, 0}, {9, 100, 0xDA000}, {0, 0, 0, 6}},
        {L"Drive", {TIME_UNIT_INTEL, TIME_UNIT_INTEL}, {9, 100, 0x33000DA754}, {1, 1, 1, 6}},
        {L"Intel SSD", {TIME_UNIT_MINUTES, 0}, {9, 100, 900000}, {5197, 86, 5197, 6}},
        // A count above the signed range is divided before it is kept.
        {L"Drive", {TIME_UNIT_MINUTES, 0}, {9, 100, 0xFFFFFFFFFFFF}, {-1, 71582788, 0, 0}},
        // Current and worst value in place of a raw value, never with an offset.
        {L"Intel", {TIME_UNIT_INTEL, 1}, {9, 1, 900000, 0, 2}, {0x201, 0x201, 0x201, 1}},
    };
    for (const auto& [model, units, attribute, hours] : cases) {
        AtaSmartInfo asi;
        asi.Model = model;
        asi.DiskVendorId = attribute.current == 100 ? VENDOR_GENERAL : VENDOR_INDILINX;
        asi.DetectedTimeUnitType = units.first;
        asi.MeasuredTimeUnitType = units.second;
        putBlocks(asi, {attribute, {12, 0xCD, 77, 0, 0xAB}});
        EXPECT_TRUE(FillSmartData(asi));
        EXPECT_EQ(hours, Hours(asi.PowerOnRawValue, asi.DetectedPowerOnHours, asi.MeasuredPowerOnHours,
                               asi.MeasuredTimeUnitType))
            << attribute.raw << " in unit " << units.first;
        EXPECT_EQ(asi.DiskVendorId == VENDOR_INDILINX ? 0xABCDu : 77u, asi.PowerOnCount);
    }
}

TEST(DiskAttributes, TemperatureInTheFormOfTheDrive) {
    using Attributes = std::vector<DriveAttribute>;
    const std::tuple<const wchar_t*, double, std::int32_t, Attributes, std::int32_t, const char*> cases[] = {
        {L"Drive", 1.0, -1000, {{194, 0, 99}}, 99, "194: low byte of the raw value"},
        {L"Drive", 1.0, 40, {{194, 0, 100}}, -1000, nullptr},
        {L"Drive", 1.0, 40, {{190, 0, 0}}, 40, nullptr},
        {L"Drive", 1.0, 40, {{190, 0, 99}}, 99, "190: low byte of the raw value"},
        {L"Drive", 0.5, -1000, {{194, 0, 81}}, 40, "194: low byte of the raw value, scaled"},
        {L"Drive", 0.5, -1000, {{194, 0, 200}}, -1000, nullptr},
        {L"SAMSUNG SV0411N", 0.5, -1000, {{194, 0, 0x0154}}, 34, "194: tenths of a degree in two raw bytes"},
        {L"SAMSUNG SV0411N", 1.0, -1000, {{194, 0, 0x03E8}}, -1000, nullptr},
        {L"SAMSUNG SV0411N", 1.0, -1000, {{194, 0, 71}}, 7, "194: tenths of a degree in two raw bytes"},
        // The later entry wins, whichever it is; one without a reading leaves what stands.
        {L"Drive", 1.0, -1000, {{190, 0, 30}, {194, 0, 35}}, 35, "194: low byte of the raw value"},
        {L"Drive", 1.0, -1000, {{194, 0, 35}, {190, 0, 30}}, 30, "190: low byte of the raw value"},
        {L"Drive", 1.0, -1000, {{190, 0, 30}, {194, 0, 0}}, 30, "190: low byte of the raw value"},
    };
    for (const auto& [model, multiplier, before, attributes, after, text] : cases) {
        AtaSmartInfo asi;
        asi.Model = model;
        asi.TemperatureMultiplier = multiplier;
        asi.Temperature = before;
        putBlocks(asi, attributes);
        Explanation why;
        FillSmartData(asi, &why);
        EXPECT_EQ(after, asi.Temperature) << attributes[0].raw;
        EXPECT_STREQ(text, why.temperature) << attributes[0].raw;
    }
}

TEST(DiskAttributes, EntriesAreKeptInOrderWithoutGaps) {
    AtaSmartInfo asi;
    asi.DiskVendorId = VENDOR_SANDISK_CLOUD;
    // Power-on count from three entries in their order; an id twice is kept twice.
    putBlocks(asi, {{}, {12, 100, 500}, {}, {191, 100, 20}, {192, 100, 3}, {192, 100, 4}, {0, 50, 7}});
    EXPECT_TRUE(FillSmartData(asi));
    ASSERT_EQ(4u, asi.AttributeCount);
    EXPECT_EQ(12, asi.Attribute[0].Id);
    EXPECT_EQ(4, asi.Attribute[3].RawValue[0]);
    EXPECT_EQ(28u, asi.PowerOnCount);

    // An attribute that is gone leaves its value.
    putBlocks(asi, {{5}});
    EXPECT_TRUE(FillSmartData(asi));
    EXPECT_EQ(1u, asi.AttributeCount);
    EXPECT_EQ(0, asi.Attribute[1].Id);
    EXPECT_EQ(28u, asi.PowerOnCount);

    putBlocks(asi, {});
    EXPECT_FALSE(FillSmartData(asi));
    EXPECT_EQ(0u, asi.AttributeCount);

    putBlocks(asi, std::vector<DriveAttribute>(kSmartEntries, {12, 100, 9}));
    EXPECT_TRUE(FillSmartData(asi));
    EXPECT_EQ(kSmartEntries, asi.AttributeCount);
}

TEST(DiskAttributes, ThresholdsStandBesideTheirAttributes) {
    AtaSmartInfo asi;
    putBlocks(asi, {{5}, {9}, {}, {194}, {9}});
    FillSmartData(asi);
    putBlocks(asi, {{9, 0, 0, 30}, {0, 0, 0, 99}, {5, 0, 0, 10}, {77, 0, 0, 50}, {9, 0, 0, 31}});
    EXPECT_TRUE(FillSmartThreshold(asi));
    const std::uint8_t expected[] = {10, 31, 0, 31, 0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(expected[i], asi.Threshold[i].ThresholdValue) << i;
    asi.AttributeCount = 0;
    EXPECT_FALSE(FillSmartThreshold(asi));
}

TEST(DiskAttributes, OneDialectMayKeepThresholdsInItsAttributes) {
    const std::vector<DriveAttribute> attributes{{5, 100, 0, 0, 100, 8}, {9}, {202, 90, 0, 0, 90, 1}};
    for (const auto& [vendor, own, first, third] :
         {std::tuple{VENDOR_MICRON, 0, 8, 1}, {VENDOR_MICRON_MU03, 0, 0, 0}, {VENDOR_MICRON, 9, 0, 0}}) {
        AtaSmartInfo asi;
        asi.DiskVendorId = vendor;
        putBlocks(asi, attributes);
        FillSmartData(asi);
        putBlocks(asi, {{static_cast<std::uint8_t>(own), 0, 0, 44}}); // with a threshold of its own, or none
        EXPECT_TRUE(FillSmartThreshold(asi));
        EXPECT_EQ(first, asi.Threshold[0].ThresholdValue);
        EXPECT_EQ(first ? 5 : 0, asi.Threshold[0].ThresholdId);
        EXPECT_EQ(own, asi.Threshold[1].ThresholdId);
        EXPECT_EQ(own ? 44 : 0, asi.Threshold[1].ThresholdValue);
        EXPECT_EQ(third, asi.Threshold[2].ThresholdValue);
    }
}

TEST(DiskAttributes, TwoReadsAgreeByTheirIds) {
    std::vector<std::wstring> trace;
    setDebugListener([&](std::wstring_view text) { trace.emplace_back(text); });
    const auto drive = [](const std::vector<DriveAttribute>& attributes) {
        AtaSmartInfo asi;
        putBlocks(asi, attributes);
        FillSmartData(asi);
        return asi;
    };
    const AtaSmartInfo one = drive({{5}, {9, 100, 1}});
    EXPECT_TRUE(CheckSmartAttributeCorrect(one, drive({{5}, {9, 50, 2}})));
    EXPECT_TRUE(trace.empty());
    EXPECT_FALSE(CheckSmartAttributeCorrect(one, drive({{5}, {9}, {12}})));
    EXPECT_FALSE(CheckSmartAttributeCorrect(one, drive({{5}, {12}})));
    setDebugListener({});
    EXPECT_EQ((std::vector<std::wstring>{L"asi1->AttributeCount != asi2->AttributeCount",
                                         L"asi1->Attribute[i].Id != asi2->Attribute[i].Id"}),
              trace);
}

} // namespace
} // namespace orv::test
