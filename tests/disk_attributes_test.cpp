#include "disk_engine/AttributeRules.h"
#include "disk_engine/Interpretation.h"
#include "disk_engine/KnownValues.h"
#include "support/SmartDrives.h"

#include <gtest/gtest.h>

#include <tuple>

namespace orv::test {
namespace {

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
    std::uint8_t id;
    DiskVendor vendor;
    Reading reading;
    const char* read;
    std::vector<DriveFlag> flags = {};
    std::uint32_t unit = HOST_UNIT_NONE;
    const char* pass = nullptr; // null: as the read
};

// A rule of each form: the fields, the flags and units that they go by, and their limits.
// clang-format off
const Rule rules[] = {
    {9, VENDOR_GENERAL, {100, 5000}, "PowerOnRawValue=5000 DetectedPowerOnHours=0 MeasuredPowerOnHours=0", {}, 0, ""},
    {12, VENDOR_SEAGATE, count, "PowerOnCount=1073742848", {}, 0, ""},
    {194, VENDOR_GENERAL, {70, 0x2D00000023}, "Temperature=35", {}, 0, ""},
    {191, VENDOR_SANDISK_CLOUD, {100, 9}, "PowerOnCount=10", {}, 0, ""},
    {191, VENDOR_SANDISK, {100, 9}, ""},
    {100, VENDOR_SANDFORCE, ones, "GBytesErased=-1"},
    {231, VENDOR_RECADATA, worn, "Life=97"},
    {231, VENDOR_RECADATA, {0, 0}, "Life=0"},
    {231, VENDOR_RECADATA, over, "Life=-1"},
    {231, VENDOR_RECADATA, worn, "Life=96", {raw}},
    {231, VENDOR_RECADATA, worn, "Life=4", {raw, inverted}},
    {169, VENDOR_KINGSTON, worn, "Life=4", {inverted}, HOST_UNIT_32MB},
    {169, VENDOR_KINGSTON, worn, "", {inverted}, HOST_UNIT_GB},
    {173, VENDOR_KIOXIA, {197, 0}, "Life=97"},
    {177, VENDOR_SAMSUNG, worn, "WearLevelingCount=2912 Life=97", {raw}},
    {202, VENDOR_INTEL_DC, worn, "Life=97", {raw}},
    {230, VENDOR_WDC, worn, "Life=-1", {hidden, hundredths}},
    {230, VENDOR_WDC, worn, "Life=71", {hundredths, highByte}},
    {230, VENDOR_WDC, worn, "Life=89", {highByte, current}},
    {230, VENDOR_WDC, over, "Life=-1", {current}, 0, "Life=150"},
    {245, VENDOR_SANDISK_CLOUD, over, "Life=150"},
    {242, VENDOR_MICRON, worn, "", {}, 0, "Life=97"},
    {233, VENDOR_YMTC, count, "NandWrites=1073742848", {}, 0, ""},
    {233, VENDOR_MAXIOTEK, count, "NandWrites=6656", {}, HOST_UNIT_512B},
    {245, VENDOR_MICRON_MU03, count, "NandWrites=33554464", {}, 0, "NandWrites=436207648"},
    {245, VENDOR_MICRON_MU03, negative, "NandWrites=-1", {}, 0, "NandWrites=268435454"},
    {245, VENDOR_KINGSTON, negative, "NandWrites=-1", {}, HOST_UNIT_32MB, "NandWrites=268435454"},
    {241, VENDOR_WDC, count, "HostWrites=6656", {}, HOST_UNIT_512B},
    {242, VENDOR_WDC, count, "HostReads=436207648", {}, HOST_UNIT_32MB},
    {242, VENDOR_GENERAL_SSD, count, "", {}, HOST_UNIT_1MB},
    {241, VENDOR_TOSHIBA, count, "HostWrites=436207648"},
    {241, VENDOR_TOSHIBA, count, "HostWrites=1073742848", {}, HOST_UNIT_GB},
};
// clang-format on

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
        SCOPED_TRACE(testing::Message() << "row " << &rule - rules << ", id " << int{rule.id});
        AtaSmartInfo asi = usedDrive();
        asi.DiskVendorId = rule.vendor;
        asi.HostReadsWritesUnit = rule.unit;
        for (const DriveFlag flag : rule.flags)
            asi.*flag = 1;
        putBlocks(asi, {{rule.id, rule.reading.current, rule.reading.raw}});
        EXPECT_EQ(rule.read, onRead(asi));
        EXPECT_EQ(rule.pass ? rule.pass : rule.read, inPass(asi));
    }
}

TEST(DiskAttributes, PowerOnTimeInTheUnitOfTheDrive) {
    using Hours = std::tuple<std::int32_t, std::int32_t, std::int32_t, std::uint32_t>; // and the unit after
    using Units = std::pair<std::uint32_t, std::uint32_t>;
    const std::tuple<const wchar_t*, Units, DriveAttribute, Hours> cases[] = {
        {L"Drive", {TIME_UNIT_UNKNOWN, TIME_UNIT_HOURS}, {9, 100, 5000}, {5000, 0, 5000, 1}},
        {L"Drive", {TIME_UNIT_HOURS, 0}, {9, 100, 0xDA000 - 1}, {892927, 892927, 0, 0}},
        // An offset counts as none of the drive's hours.
        {L"Drive", {TIME_UNIT_HOURS, 0}, {9, 100, 900000}, {5197, 5197, 5197, 6}},
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
        {L"Drive", 0.5, -1000, {{194, 0, 81}}, 40, "194: low byte of the raw value, scaled"},
        {L"SAMSUNG SV0411N", 0.5, -1000, {{194, 0, 0x0154}}, 34, "194: tenths of a degree in two raw bytes"},
        {L"SAMSUNG SV0411N", 1.0, -1000, {{194, 0, 0x03E8}}, -1000, nullptr},
        // The later entry wins, whichever it is; one without a reading leaves what stands.
        {L"Drive", 1.0, -1000, {{190, 0, 30}, {194, 0, 35}}, 35, "194: low byte of the raw value"},
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
        EXPECT_EQ(after, temperatureOf(asi).value_or(kNoTemperature)) << "no second multiplication";
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
    EXPECT_EQ(28u, powerCyclesOf(asi));

    putBlocks(asi, std::vector<DriveAttribute>(kSmartEntries, {12, 100, 9}));
    EXPECT_TRUE(FillSmartData(asi));
    EXPECT_EQ(kSmartEntries, asi.AttributeCount);
}

TEST(DiskAttributes, WhatNothingTellsIsUnknown) {
    using Cycles = std::optional<std::uint32_t>;
    for (const auto& [isNvme, isCorrect, id, cycles] : {std::tuple{0, 1, 12, Cycles(0)},
                                                        {0, 1, 9, {}},
                                                        {0, 0, 12, {}},
                                                        {0, 1, 0, {}},
                                                        {1, 1, 9, Cycles(0)},
                                                        {1, 1, 0, {}}}) {
        AtaSmartInfo asi;
        asi.IsNVMe = isNvme;
        asi.IsSmartCorrect = isCorrect;
        putBlocks(asi, {{static_cast<std::uint8_t>(id)}});
        FillSmartData(asi);
        EXPECT_EQ(cycles, powerCyclesOf(asi)) << isNvme << isCorrect << id;
    }
    constexpr std::int32_t limit = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t value : {0, 1, limit - 1})
        EXPECT_EQ(value, trafficOf(value));
    for (const std::int32_t value : {limit, kNone, -1828})
        EXPECT_EQ(std::nullopt, trafficOf(value));
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
    // The dialect, the id of a threshold of its own, and the thresholds.
    for (const auto& [vendor, own, first, second] :
         {std::tuple{VENDOR_MICRON, 0, 8, 0}, {VENDOR_MICRON_MU03, 0, 0, 0}, {VENDOR_MICRON, 9, 0, 44}}) {
        AtaSmartInfo asi;
        asi.DiskVendorId = vendor;
        putBlocks(asi, {{5, 100, 0, 0, 100, 8}, {9}});
        FillSmartData(asi);
        putBlocks(asi, {{static_cast<std::uint8_t>(own), 0, 0, 44}});
        EXPECT_TRUE(FillSmartThreshold(asi));
        EXPECT_EQ(first, asi.Threshold[0].ThresholdValue);
        EXPECT_EQ(second, asi.Threshold[1].ThresholdValue);
    }
}

} // namespace
} // namespace orv::test
