#include "disk_engine/dialects/AttributeNames.h"
#include "disk_engine/dialects/AttributeRules.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/dialects/KnownValues.h"
#include "support/DriveBlocks.h"

#include <gtest/gtest.h>

#include <tuple>

namespace orv::test {
namespace {

using Asi = AtaSmartInfo;

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
    // clang-format off
    for (const auto& [name, field] : {
             std::pair("Temperature", &Asi::Temperature), {"PowerOnRawValue", &Asi::PowerOnRawValue}, {"DetectedPowerOnHours", &Asi::DetectedPowerOnHours},
             {"MeasuredPowerOnHours", &Asi::MeasuredPowerOnHours}, {"HostWrites", &Asi::HostWrites}, {"HostReads", &Asi::HostReads}, {"NandWrites", &Asi::NandWrites},
             {"GBytesErased", &Asi::GBytesErased}, {"WearLevelingCount", &Asi::WearLevelingCount}, {"Life", &Asi::Life}})
        note(name, field);
    // clang-format on
    note("PowerOnCount", &Asi::PowerOnCount);
    note("MeasuredTimeUnitType", &Asi::MeasuredTimeUnitType);
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
    {241, VENDOR_SANDISK_HP, count, "HostWrites=218103824", {}, HOST_UNIT_16MB},
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
        {L"Drive", {TIME_UNIT_HALF_MINUTES, TIME_UNIT_10_MINUTES}, {9, 100, 7200}, {7200, 60, 1200, 5}},
        {L"Drive", {TIME_UNIT_SECONDS, TIME_UNIT_SECONDS}, {9, 100, 7200}, {7200, 2, 2, 4}},
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
    EXPECT_STREQ("Power cycle count", AttributeName(asi, asi.Attribute[1])) << "in this dialect";
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
    const std::tuple<BOOL, BOOL, std::uint8_t, Cycles> cases[] = {
        {0, 1, 12, 0}, {0, 1, 9, {}}, {0, 0, 12, {}}, {0, 1, 0, {}}, {1, 1, 9, 0}, {1, 1, 0, {}}};
    for (const auto& [isNvme, isCorrect, id, cycles] : cases) {
        AtaSmartInfo asi;
        asi.IsNVMe = isNvme;
        asi.IsSmartCorrect = isCorrect;
        putBlocks(asi, {{id}});
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
    for (int i = 0; const int value : {10, 31, 0, 31, 0})
        EXPECT_EQ(value, asi.Threshold[i++].ThresholdValue) << i;
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

// ---- Health

constexpr DriveFlag ssd = &AtaSmartInfo::IsSsd, values8 = &AtaSmartInfo::IsRawValues8;
constexpr DriveFlag thresholdBug = &AtaSmartInfo::IsThresholdBug;
constexpr DiskHealth UNKNOWN = DISK_STATUS_UNKNOWN, GOOD = DISK_STATUS_GOOD, CAUTION = DISK_STATUS_CAUTION,
                     BAD = DISK_STATUS_BAD;

using AlarmLimit = std::uint16_t AtaSmartInfo::*;
constexpr AlarmLimit reallocated = &Asi::AlarmLimitReallocated, pending = &Asi::AlarmLimitPending,
                     uncorrectable = &Asi::AlarmLimitUncorrectable, life = &Asi::AlarmLimitLife;

AtaSmartInfo driveOf(const std::vector<DriveFlag>& flags, const std::vector<DriveAttribute>& attributes) {
    AtaSmartInfo asi;
    asi.IsSmartCorrect = asi.IsThresholdCorrect = 1;
    for (const DriveFlag flag : flags)
        asi.*flag = 1;
    for (const DriveAttribute& attribute : attributes) {
        asi.Attribute[asi.AttributeCount] = entryOf(attribute);
        asi.Threshold[asi.AttributeCount++] = {attribute.id, attribute.threshold, {}};
    }
    return asi;
}

struct Judged {
    const char* what;
    std::vector<DriveFlag> flags;
    DiskVendor vendor;
    std::vector<DriveAttribute> attributes; // id, current value, raw value, threshold
    DiskHealth health;
    std::uint32_t unit = HOST_UNIT_NONE;
    AlarmLimit limitOf10 = nullptr;
};

// clang-format off
const Judged drives[] = {
    // Hard disks: thresholds, of some ids only.
    {"sectors and no failing threshold", {}, VENDOR_GENERAL, {{5, 100, 0, 36}, {9, 50, 0, 50}}, GOOD},
    {"an id without a judged threshold", {}, VENDOR_GENERAL, {{5}, {190, 40, 0, 45}, {194, 1, 0, 2}, {14, 1, 0, 2}, {241, 1, 0, 2}}, GOOD},
    {"an id twice, after a failing threshold", {}, VENDOR_GENERAL, {{9, 1, 0, 50}, {5}, {5}}, UNKNOWN},
    {"a firmware with wrong thresholds", {thresholdBug}, VENDOR_GENERAL, {{5, 1, 0, 36}}, UNKNOWN},

    // SSDs: any threshold, or a row that tells life.
    {"below a threshold of any id", {ssd}, VENDOR_GENERAL_SSD, {{14, 1, 0, 2}}, BAD},
    {"a temperature is not compared, but tells", {ssd}, VENDOR_GENERAL_SSD, {{194, 1, 0, 2}}, GOOD},
    {"values that are raw bytes are not compared", {ssd, values8}, VENDOR_INDILINX, {{1, 1, 0, 2}}, GOOD},
    {"an error rate that was never counted", {ssd}, VENDOR_SANDFORCE, {{1, 0, 0x10000, 50}}, GOOD},
    {"an error rate with a count", {ssd}, VENDOR_SANDFORCE, {{1, 0, 0x100, 50}}, BAD},

    // The rows that tell life.
    {"169 in its unit", {ssd}, VENDOR_KINGSTON, {{169, 0}}, BAD, HOST_UNIT_32MB},
    {"169 in another unit", {ssd}, VENDOR_KINGSTON, {{169, 0}}, UNKNOWN, HOST_UNIT_GB},
    {"230 used more than up", {ssd}, VENDOR_WDC, {{230, 0, 0xFF00}}, BAD},
    {"230 in hundredths, used up", {ssd, hundredths}, VENDOR_WDC, {{230, 0, 9999 + 1}}, BAD},
    {"230 hidden", {ssd, hidden}, VENDOR_WDC, {{230, 0, 100 << 8}}, GOOD},
    {"231 that is read and not judged", {ssd}, VENDOR_SEAGATE, {{231, 0}}, UNKNOWN},
    {"a life below its threshold", {values8}, VENDOR_PLEXTOR, {{232, 9, 0, 10}}, BAD},
    {"a life at its threshold", {values8}, VENDOR_PLEXTOR, {{232, 10, 0, 10}}, GOOD},
    {"no raw life left", {ssd, raw}, VENDOR_INTEL, {{233, 50, 0}}, BAD},
    {"a raw life has no threshold", {raw}, VENDOR_PLEXTOR, {{232, 0, 5, 10}}, GOOD},
    {"an inverted life, before a raw one", {ssd, raw, inverted}, VENDOR_SKHYNIX, {{231, 0, 0}}, GOOD},
    {"an inverted life at its end", {ssd, inverted}, VENDOR_SKHYNIX, {{231, 50, 100}}, BAD},
    {"an inverted life below that", {ssd, inverted}, VENDOR_SKHYNIX, {{231, 50, 102}}, CAUTION},

    // Alarm limits of 10, each of its own id.
    {"reallocated at it", {}, VENDOR_GENERAL, {{5, 100, 10}}, CAUTION, 0, reallocated},
    {"uncorrectable above it", {}, VENDOR_GENERAL, {{198, 100, 0x100}}, CAUTION, 0, uncorrectable},
    {"a count of two raw bytes", {}, VENDOR_GENERAL, {{197, 100, 0x10000}}, GOOD, 0, pending},
    {"nearly one that is not kept", {}, VENDOR_GENERAL, {{197, 100, 0x00FEFFFFFF}}, CAUTION, 0, pending},
    {"a count on an SSD", {ssd}, VENDOR_GENERAL_SSD, {{5, 100, 10, 1}}, GOOD, 0, reallocated},
    {"a life at it", {ssd}, VENDOR_INTEL, {{233, 10}}, CAUTION, 0, life},
};
// clang-format on

TEST(DiskHealth, OfAnAtaDrive) {
    for (const Judged& drive : drives) {
        AtaSmartInfo asi = driveOf(drive.flags, drive.attributes);
        asi.DiskVendorId = drive.vendor;
        asi.HostReadsWritesUnit = drive.unit;
        if (drive.limitOf10) asi.*drive.limitOf10 = 10;
        EXPECT_EQ(drive.health, CheckDiskStatus(asi)) << drive.what;
    }
}

TEST(DiskHealth, TellsNothingWithoutGoodReads) {
    AtaSmartInfo asi = driveOf({}, {{5}});
    asi.IsThresholdCorrect = 0;
    EXPECT_EQ(UNKNOWN, CheckDiskStatus(asi));
    asi = driveOf({ssd}, {{231, 50}});
    asi.DiskVendorId = VENDOR_JMICRON;
    asi.IsThresholdCorrect = 0;
    EXPECT_EQ(GOOD, CheckDiskStatus(asi)); // an SSD needs no thresholds
    asi.IsSmartCorrect = 0;
    EXPECT_EQ(UNKNOWN, CheckDiskStatus(asi));
}

TEST(DiskHealth, StoresTheLifeThatItIsReadFrom) {
    for (const DriveAttribute& at : {DriveAttribute{201, 150}, {201, 42}, {230, 150}}) {
        AtaSmartInfo asi = driveOf({ssd}, {at});
        asi.DiskVendorId = at.id == 201 ? VENDOR_SANDISK_HP : VENDOR_SANDISK_LENOVO;
        Explanation why;
        EXPECT_EQ(GOOD, CheckDiskStatus(asi, &why));
        EXPECT_EQ(at.current == 42 ? 42 : 100, asi.Life);
        EXPECT_EQ(std::to_string(at.id) + ": current value, at most 100 percent left", why.life);
    }
}

TEST(DiskHealth, OfAnNvmeDrive) {
    const std::tuple<const wchar_t*, std::uint64_t, std::uint64_t, std::uint64_t, int, DiskHealth> cases[] = {
        {L"Drive", 0, 10, 10, 50, CAUTION}, {L"Drive", 0, 9, 10, 50, BAD},
        {L"Drive", 0, 0, 0, 50, GOOD},      {L"Drive", 0, 50, 101, 50, GOOD},
        {L"Drive", 0x80, 100, 10, 50, BAD}, {L"Drive", 0, 100, 10, 0, CAUTION},
        {L"My QEMU", 1, 9, 10, 0, BAD},     {L"QEMU NVMe", 1, 9, 10, 0, UNKNOWN},
    };
    for (const auto& [model, warning, spare, spareThreshold, left, health] : cases) {
        AtaSmartInfo asi = driveOf({}, {{1, 0, warning}, {2, 0, 310}, {3, 0, spare}, {4, 0, spareThreshold}});
        asi.DiskVendorId = VENDOR_NVME;
        asi.Model = model;
        asi.Life = left;
        EXPECT_EQ(health, CheckDiskStatus(asi)) << spare << " of " << spareThreshold;
    }
}

} // namespace
} // namespace orv::test
