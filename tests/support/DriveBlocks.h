#pragma once

#include "disk_engine/SmartRecords.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace orv::test {

using AtaBlock = std::array<std::uint8_t, kIdentifyBytes>;
using NvmeBlock = std::array<std::uint8_t, kNvmeIdentifyBytes>;

/// An ATA text: blank-filled, its bytes swapped in pairs.
inline void putAtaText(AtaBlock& block, std::size_t at, std::size_t length, std::string_view text) {
    for (std::size_t i = 0; i < length; ++i)
        block[at + (i ^ 1)] = i < text.size() ? static_cast<std::uint8_t>(text[i]) : ' ';
}

/// An IDENTIFY DEVICE block with a good check sum.
inline AtaBlock identifyOf(std::string_view model, std::string_view firmware, std::string_view serial,
                           std::initializer_list<std::pair<std::size_t, std::uint16_t>> words) {
    AtaBlock block{};
    putAtaText(block, 20, 20, serial);
    putAtaText(block, 46, 8, firmware);
    putAtaText(block, 54, 40, model);
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

} // namespace orv::test
