#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv::platform {

class Node;

/// Key "scsi" of a drive: a disk that speaks SCSI alone (docs/machine/disk.md).
struct ScsiDiskFacts {
    using Block = std::vector<std::uint8_t>;

    std::string vendor, product, revision, serial;
    std::uint64_t blocks = 0;
    std::uint32_t blockBytes = 512;
    std::uint16_t rotationRate = 0; ///< a minute, or 1 for none; 0: the disk has no such page
    std::optional<Block> inquiry;   ///< in place of the data made of the texts
    /// None: the disk has no LOG SENSE. A page without bytes is listed and refused.
    std::optional<std::map<std::uint8_t, std::optional<Block>>> logPages;
    std::optional<Block> sense;        ///< data of REQUEST SENSE in place of "no sense"
    std::vector<Block> unitAttentions; ///< sense data that the first commands get which can have them
};

ScsiDiskFacts readScsiDisk(const Node& scsi);

inline constexpr std::uint8_t kCheckCondition = 2; ///< a status

/// How a command ended.
struct ScsiReply {
    std::uint8_t status = 0;
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> sense;
};

/// Check condition: illegal request, invalid operation code.
ScsiReply refusedByScsi();

/// Carries a command block out. `attentionsGiven` is the disk's memory of its unit attentions.
ScsiReply answerScsi(const ScsiDiskFacts& disk, std::size_t& attentionsGiven,
                     std::span<const std::uint8_t> cdb);

} // namespace orv::platform
