#include "drive_reading/HealthVerdict.h"

#include "disk_engine/dialects/AttributeNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <bitset>

namespace orv {

namespace {

constexpr std::int32_t kLowLife = 10; // percent left
constexpr std::uint16_t kPreFailure = 1;

// ---- ATA

bool isTemperature(std::uint8_t id) {
    return id == 190 || id == 194;
}

/// Starts and stops, power cycles, load cycles: they tell how a drive was used, not that it fails.
bool isUse(const AtaSmartInfo& asi, std::uint8_t id) {
    constexpr std::uint8_t everywhere[] = {4, 12, 192, 193};
    return std::ranges::find(everywhere, id) != std::end(everywhere) || (id == 225 && !asi.IsSsd);
}

/// Drives whose current value is no normalised one.
bool isIncomparable(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    const bool neverCounted =
        asi.DiskVendorId == VENDOR_SANDFORCE && a.Id == 1 && a.CurrentValue == 0 && a.raw() == 0;
    return neverCounted || (a.Id == 232 && asi.LifeHidden) || asi.IsRawValues8;
}

void judgeThreshold(Finding& finding, const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a,
                    std::uint8_t threshold) {
    if (threshold == 0 || isIncomparable(asi, a)) return;
    if (a.CurrentValue > threshold) {
        finding.take(Verdict::good, "nothing at or below its threshold");
        return;
    }
    const std::string what = fmt::format("attribute {} ({}) is at {}, its threshold {}", a.Id,
                                         AttributeName(asi, a), a.CurrentValue, threshold);
    if (isTemperature(a.Id))
        finding.take(Verdict::caution,
                     fmt::format("the temperature, raw byte {} \u00B0C: {}", a.RawValue[0], what));
    else if (isUse(asi, a.Id) || (a.StatusFlags & kPreFailure) == 0)
        finding.take(Verdict::caution, what);
    else
        finding.take(Verdict::failing, what + ", which tells of a failure to come");
}

/// Of an id that stands twice the first one counts.
void judgeAttributes(Finding& finding, const AtaSmartInfo& asi) {
    if (!asi.IsSmartCorrect) return;
    std::bitset<256> seen;
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(asi.AttributeCount, kSmartEntries); ++i) {
        const SMART_ATTRIBUTE& attribute = asi.Attribute[i];
        if (attribute.Id == 0 || seen.test(attribute.Id)) continue;
        seen.set(attribute.Id);
        const bool hasThreshold =
            asi.IsThresholdCorrect && !asi.IsThresholdBug && asi.Threshold[i].ThresholdId == attribute.Id;
        if (hasThreshold) judgeThreshold(finding, asi, attribute, asi.Threshold[i].ThresholdValue);
    }
}

// ---- NVMe

void judgeNvmePage(Finding& finding, const AtaSmartInfo& asi) {
    constexpr const char* warnings[] = {"its spare blocks are below their threshold",
                                        "its temperature is beyond a threshold",
                                        "its reliability is degraded by media or internal errors",
                                        "it has become read-only",
                                        "the backup of its volatile memory has failed",
                                        "its persistent memory has become read-only or unreliable"};
    if (asi.AttributeCount == 0) return;
    const std::uint8_t warning = asi.SmartReadData[0];
    std::string told;
    for (std::size_t bit = 0; bit < std::size(warnings); ++bit)
        if (warning >> bit & 1) told += (told.empty() ? "" : "; ") + std::string(warnings[bit]);
    if (warning != 0)
        finding.take(Verdict::failing, fmt::format("critical warning {:#04x}: {}", warning,
                                                   told.empty() ? "a reserved bit" : told));
    const std::uint8_t spare = asi.SmartReadData[3], threshold = asi.SmartReadData[4];
    if (threshold > 0 && threshold < 100 && spare <= threshold)
        finding.take(spare < threshold ? Verdict::failing : Verdict::caution,
                     fmt::format("{} % spare blocks, its threshold {} %", spare, threshold));
}

} // namespace

void Finding::take(Verdict found, std::string why) {
    if (found <= verdict) return;
    verdict = found;
    reason = std::move(why);
}

void judgeLife(Finding& finding, const Told<std::int32_t>& life) {
    if (!life) return;
    if (*life.value <= 0)
        finding.take(Verdict::wornOut, "no life left, by " + life.basis);
    else if (*life.value <= kLowLife)
        finding.take(Verdict::caution, fmt::format("{} % of its life left, by {}", *life.value, life.basis));
    else
        finding.take(Verdict::good, "life left, and nothing at its threshold");
}

void judgeHealth(DriveReading& reading, const AtaSmartInfo& asi, const Explanation& why,
                 std::optional<bool> saysItFails) {
    Finding finding;
    if (saysItFails.value_or(false))
        finding.take(Verdict::failing, "the drive says that it fails (SMART RETURN STATUS)");
    if (asi.IsNVMe)
        judgeNvmePage(finding, asi);
    else
        judgeAttributes(finding, asi);
    judgeLife(finding, reading.life);
    if (saysItFails && !*saysItFails)
        finding.take(Verdict::good, "the drive says that no threshold was exceeded");
    if (finding.verdict == Verdict::unknown)
        finding.reason = why.health ? why.health : "nothing tells its health";
    reading.health = finding.verdict;
    reading.healthReason = std::move(finding.reason);
}

const char* verdictWord(Verdict verdict) {
    switch (verdict) {
    case Verdict::good:
        return "good";
    case Verdict::caution:
        return "caution";
    case Verdict::wornOut:
        return "worn out";
    case Verdict::failing:
        return "failing";
    case Verdict::unknown:
        break;
    }
    return "unknown";
}

} // namespace orv
