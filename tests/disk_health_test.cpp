#include "disk_engine/Interpretation.h"
#include "support/SmartDrives.h"

#include <gtest/gtest.h>

#include <tuple>

namespace orv::test {
namespace {

constexpr DriveFlag ssd = &AtaSmartInfo::IsSsd, values8 = &AtaSmartInfo::IsRawValues8;
constexpr DriveFlag thresholdBug = &AtaSmartInfo::IsThresholdBug;
constexpr DiskHealth UNKNOWN = DISK_STATUS_UNKNOWN, GOOD = DISK_STATUS_GOOD, CAUTION = DISK_STATUS_CAUTION,
                     BAD = DISK_STATUS_BAD;

using AlarmLimit = std::uint16_t AtaSmartInfo::*;
constexpr AlarmLimit reallocated = &AtaSmartInfo::AlarmLimitReallocated,
                     pending = &AtaSmartInfo::AlarmLimitPending,
                     uncorrectable = &AtaSmartInfo::AlarmLimitUncorrectable,
                     life = &AtaSmartInfo::AlarmLimitLife;

AtaSmartInfo driveOf(const std::vector<DriveFlag>& flags, const std::vector<DriveAttribute>& attributes) {
    AtaSmartInfo asi;
    asi.IsSmartCorrect = asi.IsThresholdCorrect = 1;
    for (const DriveFlag flag : flags)
        asi.*flag = 1;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        asi.Attribute[i] = entryOf(attributes[i]);
        asi.Threshold[i] = {attributes[i].id, attributes[i].threshold, {}};
    }
    asi.AttributeCount = static_cast<std::uint32_t>(attributes.size());
    return asi;
}

struct Drive {
    const char* what;
    std::vector<DriveFlag> flags;
    DiskVendor vendor;
    std::vector<DriveAttribute> attributes; // id, current value, raw value, threshold
    DiskHealth health;
    std::uint32_t unit = HOST_UNIT_NONE;
    AlarmLimit limitOf10 = nullptr;
};

// clang-format off
const Drive drives[] = {
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
    for (const Drive& drive : drives) {
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
