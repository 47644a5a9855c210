#pragma once

// The registers that an ATA command left, in the sense data of the command that carried it (SAT-5, 12.2.2.7;
// SPC-4, 4.5).

#include "platform/records/StorageRecords.h"

#include <optional>
#include <span>

namespace orv::platform {

// Formats, in the low seven bits of the first byte; the lowest tells of a deferred error.
inline constexpr std::uint8_t kFixedSense = 0x70;
inline constexpr std::uint8_t kDescriptorSense = 0x72;

inline bool isSenseFormat(std::span<const std::uint8_t> sense, std::uint8_t format) {
    return !sense.empty() && (sense[0] & 0x7E) == format;
}

/// Empty when the sense data carry no registers, or are cut before their end. The error stands in
/// bFeaturesReg and the status in bCommandReg; of the 48-bit registers there is the low byte.
inline std::optional<IDEREGS> ataRegistersOf(std::span<const std::uint8_t> sense) {
    constexpr std::uint8_t statusReturn = 9; // the kind of descriptor
    constexpr std::size_t head = 8, descriptorBytes = 14;
    constexpr std::size_t codeAt =
        12; // 00/1D: the fixed format has the registers in the places of its own fields
    if (isSenseFormat(sense, kDescriptorSense)) {
        for (std::size_t at = head; at + 2 <= sense.size(); at += std::size_t{2} + sense[at + 1]) {
            if (sense[at] != statusReturn) continue;
            if (sense.size() - at < descriptorBytes) return std::nullopt;
            const auto d = sense.subspan(at, descriptorBytes);
            return IDEREGS{d[3], d[5], d[7], d[9], d[11], d[12], d[13], 0};
        }
        return std::nullopt;
    }
    if (!isSenseFormat(sense, kFixedSense) || sense.size() < codeAt + 2 || sense[codeAt] != 0 ||
        sense[codeAt + 1] != 0x1D)
        return std::nullopt;
    return IDEREGS{sense[3], sense[6], sense[9], sense[10], sense[11], sense[5], sense[4], 0};
}

} // namespace orv::platform
