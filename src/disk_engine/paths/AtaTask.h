#pragma once

#include "disk_engine/CommandPath.h"
#include "platform/records/StorageRecords.h"

#include <cstdint>
#include <span>

namespace orv {

/// An ATA command by its registers, for the paths that carry any command (CAtaSmart::sendAtaTask). The path
/// fills in the device byte.
struct AtaTask {
    platform::IDEREGS registers{};
    platform::IDEREGS high{}; ///< count and LBA of a 48-bit command: what stands above the low bytes
    bool is48Bit = false;
    bool isAnswerInRegisters = false; ///< there are no data
};

/// A page of a general purpose log, 512 bytes (READ LOG EXT: ACS-4, 7.24). Log 0 is the directory.
AtaTask readLogExt(std::uint8_t log, std::uint16_t page);
/// Whether a threshold has been exceeded, in the registers (ACS-4, 7.46.8).
AtaTask smartReturnStatus();

/// ERR or DF of a status register.
constexpr bool tellsError(const platform::IDEREGS& registers) {
    return (registers.bCommandReg & 0x21) != 0;
}

/// Whether a path (CommandType) has a way for the command. Where it has none, nothing is sent.
bool carriesAtaTask(std::uint32_t commandType, const AtaTask& task);

inline constexpr std::uint32_t kTaskSeconds = 10; ///< a drive that is awake answers within one

// The ways that the rows of the paths name (CommandPath::sendTask).
TaskAnswer sendTaskPd(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                      std::span<std::uint8_t> data);
TaskAnswer sendTaskSat(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                       std::span<std::uint8_t> data);
TaskAnswer sendTaskCsmi(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                        std::span<std::uint8_t> data);
TaskAnswer sendTaskMegaRaid(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                            std::span<std::uint8_t> data);

} // namespace orv
