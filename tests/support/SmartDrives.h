#pragma once

#include "disk_engine/AtaSmartInfo.h"

#include <cstring>
#include <vector>

namespace orv::test {

using DriveFlag = BOOL AtaSmartInfo::*;
inline constexpr DriveFlag raw = &AtaSmartInfo::LifeIsRaw, inverted = &AtaSmartInfo::LifeIsRawInverted;
inline constexpr DriveFlag hidden = &AtaSmartInfo::LifeHidden, current = &AtaSmartInfo::LifeIsCurrent;
inline constexpr DriveFlag hundredths = &AtaSmartInfo::LifeIsRawHundredths;
inline constexpr DriveFlag highByte = &AtaSmartInfo::LifeIsRawHighByte;

/// One entry of a drive's attribute table, with its threshold.
struct DriveAttribute {
    std::uint8_t id = 0;
    std::uint8_t current = 100;
    std::uint64_t raw = 0;
    std::uint8_t threshold = 0;
    std::uint8_t worst = 100;
    std::uint8_t reserved = 0;
    std::uint16_t flags = 0;
};

inline SMART_ATTRIBUTE entryOf(const DriveAttribute& attribute) {
    SMART_ATTRIBUTE entry{attribute.id, attribute.flags,   attribute.current, attribute.worst,
                          {},           attribute.reserved};
    for (int i = 0; i < 6; ++i)
        entry.RawValue[i] = static_cast<std::uint8_t>(attribute.raw >> 8 * i);
    return entry;
}

/// Puts the attributes into the blocks that a drive would give, in order; an id of 0 leaves a gap. What
/// stands behind the entries of a block is no entry.
inline void putBlocks(AtaSmartInfo& asi, const std::vector<DriveAttribute>& attributes) {
    for (std::uint8_t* block : {asi.SmartReadData, asi.SmartReadThreshold}) {
        std::memset(block, 0xEE, kSmartBytes);
        std::memset(block + kSmartEntriesAt, 0, kSmartEntries * sizeof(SMART_ATTRIBUTE));
    }
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const SMART_ATTRIBUTE entry = entryOf(attributes[i]);
        const SMART_THRESHOLD threshold{attributes[i].id, attributes[i].threshold, {}};
        std::memcpy(asi.SmartReadData + kSmartEntriesAt + i * sizeof entry, &entry, sizeof entry);
        std::memcpy(asi.SmartReadThreshold + kSmartEntriesAt + i * sizeof threshold, &threshold,
                    sizeof threshold);
    }
}

} // namespace orv::test
