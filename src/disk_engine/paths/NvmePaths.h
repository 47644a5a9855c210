#pragma once

#include "disk_engine/record/DriveRecord.h"
#include "platform/records/NvmeRecords.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace orv {

// What the command paths to an NVMe drive have in common.

using NvmeDataBlock = std::array<std::uint8_t, platform::kNvmeDataBytes>;

struct NvmeCommand {
    std::uint8_t opcode;
    std::uint32_t namespaceId;
    std::uint32_t dword10;
};
inline constexpr NvmeCommand kIdentifyNamespace = {platform::kNvmeIdentify, 1,
                                                   platform::kNvmeIdentifyNamespace};
inline constexpr NvmeCommand kIdentifyController = {platform::kNvmeIdentify, 0,
                                                    platform::kNvmeIdentifyController};

/// Sum of the first 512 bytes. A driver that knows nothing of the command leaves a block of zeros.
std::uint32_t byteSum(std::span<const std::uint8_t> data);

/// Megabytes of 1,000,000 bytes by an Identify Namespace block. What does not fit is cut to the largest
/// value; a sector size that no drive can have leaves `diskSize` as it was. With `sizeCounts` a record takes
/// the size, and a format in use that tells another one is logged.
void readNamespaceSize(const NvmeDataBlock& block, std::uint32_t& diskSize, bool sizeCounts);

/// Both identify commands in their order. `send` gives a command's whole block, or false. `identify` is
/// written by a success alone.
template <class Send>
bool identifyNvmeDrive(Send&& send, bool sumTest, NvmeIdentifyBlock identify, std::uint32_t& diskSize,
                       bool sizeCounts = false) {
    NvmeDataBlock block{};
    if (send(kIdentifyNamespace, block)) readNamespaceSize(block, diskSize, sizeCounts);
    if (!send(kIdentifyController, block) || (sumTest && byteSum(block) == 0)) return false;
    std::copy(block.begin(), block.end(), identify.begin());
    return true;
}

} // namespace orv
