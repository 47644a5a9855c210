#pragma once

#include "platform/records/NvmeRecords.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

namespace orv::test {

using Bytes = std::vector<std::uint8_t>;

/// Of the blocks only what tells the form of a request.
inline Bytes blockOf(std::size_t bytes, std::initializer_list<std::pair<std::size_t, int>> values) {
    Bytes block(bytes);
    for (const auto& [at, value] : values)
        block[at] = static_cast<std::uint8_t>(value);
    return block;
}

inline Bytes nvmeMini() {
    Bytes block = blockOf(sizeof(platform::NvmeMiniportBlock), {{0, 28}, {52, 6}, {92, 1}, {141, 0x10}});
    std::memcpy(block.data() + 4, "NvmeMini", 8);
    return block;
}

} // namespace orv::test
