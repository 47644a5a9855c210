#pragma once

// Entries of the two SMART tables of an ATA drive: SMART READ DATA (feature 0xD0) and SMART READ THRESHOLDS
// (0xD1), as ATA/ATAPI-3 laid them out and every drive since has kept them.

#include <cstddef>
#include <cstdint>

namespace orv {

inline constexpr std::size_t kIdentifyBytes = 512;      ///< ATA IDENTIFY DEVICE
inline constexpr std::size_t kNvmeIdentifyBytes = 4096; ///< NVMe Identify Controller
inline constexpr std::size_t kSmartBytes = 512;         ///< either table; the start of NVMe's health log page
inline constexpr std::size_t kSmartEntries = 30;        ///< entries of either table
inline constexpr std::size_t kSmartEntriesAt = 2;       ///< where they start in the block

#pragma pack(push, 1)

struct SMART_ATTRIBUTE {
    std::uint8_t Id; ///< 0: an empty entry
    std::uint16_t StatusFlags;
    std::uint8_t CurrentValue;
    std::uint8_t WorstValue;
    std::uint8_t RawValue[6]; ///< little-endian
    std::uint8_t Reserved;

    /// The 48-bit raw value.
    std::uint64_t raw() const {
        std::uint64_t value = 0;
        for (int i = 5; i >= 0; --i)
            value = value << 8 | RawValue[i];
        return value;
    }
};
static_assert(sizeof(SMART_ATTRIBUTE) == 12);
static_assert(offsetof(SMART_ATTRIBUTE, StatusFlags) == 1 && offsetof(SMART_ATTRIBUTE, CurrentValue) == 3 &&
              offsetof(SMART_ATTRIBUTE, RawValue) == 5 && offsetof(SMART_ATTRIBUTE, Reserved) == 11);

struct SMART_THRESHOLD {
    std::uint8_t ThresholdId;
    std::uint8_t ThresholdValue;
    std::uint8_t Reserved[10];
};
static_assert(sizeof(SMART_THRESHOLD) == 12);

#pragma pack(pop)

} // namespace orv
