#pragma once

#include "platform/records/MegaRaidRecords.h"

#include <cstring>
#include <optional>
#include <span>

namespace orv::platform {

/// The head of a request to the firmware of a MegaRAID controller; empty when the block is none, or has no
/// room for the data that it speaks of, or its command block is longer than a frame has room for.
inline std::optional<MegaRaidHead> readMegaRaidRequest(std::uint32_t code, std::span<const std::byte> in,
                                                       std::size_t out) {
    MegaRaidHead head;
    if (code != IOCTL_SCSI_MINIPORT || in.size() < sizeof head || out < sizeof head) return std::nullopt;
    std::memcpy(&head, in.data(), sizeof head);
    const std::string_view signature(head.header.Signature, sizeof head.header.Signature);
    if (signature != kMegaRaidSignature || head.frame.cdbLength > kMegaRaidCdbBytes ||
        head.frame.dataBytes > out - sizeof head)
        return std::nullopt;
    return head;
}

} // namespace orv::platform
