#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/SmartRecords.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace orv::test {

using AtaBlock = std::array<std::uint8_t, kIdentifyBytes>;
using NvmeBlock = std::array<std::uint8_t, kNvmeIdentifyBytes>;

/// A blank-filled text. ATA swaps its bytes in pairs.
template <class Block>
void putText(Block& block, std::size_t at, std::size_t length, std::string_view text) {
    constexpr std::size_t swap = std::is_same_v<Block, AtaBlock> ? 1 : 0;
    for (std::size_t i = 0; i < length; ++i)
        block[at + (i ^ swap)] = i < text.size() ? static_cast<std::uint8_t>(text[i]) : ' ';
}

using IdentifyWords = std::vector<std::pair<std::size_t, std::uint16_t>>; ///< number and value

/// An IDENTIFY DEVICE block with a good check sum.
inline AtaBlock identifyOf(const IdentifyWords& words, std::string_view model = "M",
                           std::string_view firmware = "F", std::string_view serial = "S") {
    AtaBlock block{};
    putText(block, 20, 20, serial);
    putText(block, 46, 8, firmware);
    putText(block, 54, 40, model);
    for (const auto& [number, value] : words) {
        block[number * 2] = static_cast<std::uint8_t>(value);
        block[number * 2 + 1] = static_cast<std::uint8_t>(value >> 8);
    }
    block[510] = 0xA5; // signature of the check sum
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < 511; ++i)
        sum = static_cast<std::uint8_t>(sum + block[i]);
    block[511] = static_cast<std::uint8_t>(-sum);
    return block;
}

template <class Number, std::size_t Size>
void putLittleEndian(std::array<std::uint8_t, Size>& block, std::size_t at, Number value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
        block[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

// ---- Attributes

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
