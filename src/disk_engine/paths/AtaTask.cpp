#include "disk_engine/paths/AtaTask.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/AtaCommands.h"

namespace orv {

namespace {

constexpr std::uint8_t kReadLogExt = 0x2F;
constexpr std::uint8_t kSmartReturnStatus = 0xDA;

} // namespace

AtaTask readLogExt(std::uint8_t log, std::uint16_t page) {
    AtaTask task;
    task.registers = {0, 1, log, static_cast<std::uint8_t>(page), 0, 0, kReadLogExt, 0};
    task.high.bCylLowReg = static_cast<std::uint8_t>(page >> 8);
    task.is48Bit = true;
    return task;
}

AtaTask smartReturnStatus() {
    AtaTask task;
    task.registers = smartRegisters(kSmartReturnStatus, 0);
    task.registers.bSectorCountReg = 0; // as bridges get it with the other commands without data
    task.isAnswerInRegisters = true;
    return task;
}

bool carriesAtaTask(std::uint32_t commandType, const AtaTask& task) {
    const CommandPath& path = commandPath(commandType);
    return path.sendTask && (path.tellsRegisters || !task.isAnswerInRegisters);
}

TaskAnswer CAtaSmart::sendAtaTask(const AtaSmartInfo& asi, const AtaTask& task,
                                  std::span<std::uint8_t> data) {
    if (!carriesAtaTask(asi.CommandType, task) || data.size() != (task.isAnswerInRegisters ? 0 : kAtaBytes))
        return TaskAnswer::failed(platform::kNotSupported);
    // No probe: what fails here is told here alone.
    const platform::ErrorCode before = devices.failure();
    devices.forget();
    TaskAnswer answer = commandPath(asi.CommandType).sendTask(*this, asi, task, data);
    const platform::ErrorCode failure = devices.failure();
    devices.setFailure(before);
    if (answer.ok() && answer.value && tellsError(*answer.value))
        return TaskAnswer::failed(platform::kIoDevice);
    if (!answer.ok() && failure != platform::kSuccess) answer.error = failure;
    return answer;
}

} // namespace orv
