#include "disk_engine/DebugPrint.h"
#include "disk_engine/dialects/AttributeRules.h"
#include "disk_engine/dialects/Interpretation.h"

#include <cstring>

namespace orv {

namespace {

template <class Entry>
Entry entryOf(const std::uint8_t (&block)[kSmartBytes], std::size_t index) {
    static_assert(kSmartEntriesAt + kSmartEntries * sizeof(Entry) <= kSmartBytes);
    Entry entry;
    std::memcpy(&entry, block + kSmartEntriesAt + index * sizeof(Entry), sizeof(Entry));
    return entry;
}

/// Drives of this dialect may keep the thresholds in the attributes' own table instead.
void takeThresholdsFromAttributes(AtaSmartInfo& asi) {
    for (std::size_t i = 0; i < kSmartEntries; ++i) {
        if (asi.Attribute[i].Reserved == 0) continue;
        asi.Threshold[i].ThresholdId = asi.Attribute[i].Id;
        asi.Threshold[i].ThresholdValue = asi.Attribute[i].Reserved;
    }
}

} // namespace

bool FillSmartData(AtaSmartInfo& asi, Explanation* why) {
    std::uint32_t kept = 0;
    for (std::size_t i = 0; i < kSmartEntries; ++i) {
        // An empty entry is overwritten by the next one; behind the last it marks the end of the list.
        SMART_ATTRIBUTE& attribute = asi.Attribute[kept];
        attribute = entryOf<SMART_ATTRIBUTE>(asi.SmartReadData, i);
        if (attribute.Id == 0) continue;
        applyAttributeRule(asi, attribute, Holds::onRead, why);
        ++kept;
    }
    asi.AttributeCount = kept;
    return kept > 0;
}

void InterpretAttributes(AtaSmartInfo& asi, Explanation* why) {
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i)
        applyAttributeRule(asi, asi.Attribute[i], Holds::inPass, why);
}

bool FillSmartThreshold(AtaSmartInfo& asi) {
    bool copied = false;
    for (std::size_t i = 0; i < kSmartEntries; ++i) {
        const auto threshold = entryOf<SMART_THRESHOLD>(asi.SmartReadThreshold, i);
        for (std::uint32_t j = 0; j < asi.AttributeCount; ++j) {
            if (asi.Attribute[j].Id != threshold.ThresholdId) continue;
            asi.Threshold[j] = threshold;
            copied = true;
        }
    }
    if (!copied && asi.DiskVendorId == VENDOR_MICRON) takeThresholdsFromAttributes(asi);
    return asi.AttributeCount > 0;
}

bool CheckSmartAttributeCorrect(const AtaSmartInfo& asi1, const AtaSmartInfo& asi2) {
    if (asi1.AttributeCount != asi2.AttributeCount) {
        DebugPrint(L"asi1->AttributeCount != asi2->AttributeCount");
        return false;
    }
    for (std::uint32_t i = 0; i < asi1.AttributeCount; ++i) {
        if (asi1.Attribute[i].Id != asi2.Attribute[i].Id) {
            DebugPrint(L"asi1->Attribute[i].Id != asi2->Attribute[i].Id");
            return false;
        }
    }
    return true;
}

} // namespace orv
