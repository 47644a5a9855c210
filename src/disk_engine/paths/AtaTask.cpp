#include "disk_engine/paths/AtaTask.h"

#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/CAtaSmart.h"

#include <utility>

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

struct CAtaSmart::TaskPath {
    std::uint32_t commandType;
    bool tellsRegisters;
    TaskAnswer (CAtaSmart::*send)(const AtaSmartInfo&, const AtaTask&, std::span<std::uint8_t>);
};

const CAtaSmart::TaskPath* CAtaSmart::taskPath(std::uint32_t commandType, const AtaTask& task) {
    static constexpr TaskPath kPaths[] = {
        {CMD_TYPE_PHYSICAL_DRIVE, true, &CAtaSmart::sendTaskPd},
        {CMD_TYPE_CSMI_PHYSICAL_DRIVE, true, &CAtaSmart::sendTaskPd},
        {CMD_TYPE_SAT, true, &CAtaSmart::sendTaskSat},
        {CMD_TYPE_CSMI, true, &CAtaSmart::sendTaskCsmi},
        {CMD_TYPE_MEGARAID, false, &CAtaSmart::sendTaskMegaRaid},
    };
    for (const TaskPath& path : kPaths)
        if (path.commandType == commandType && (path.tellsRegisters || !task.isAnswerInRegisters))
            return &path;
    return nullptr;
}

bool carriesAtaTask(std::uint32_t commandType, const AtaTask& task) {
    return CAtaSmart::taskPath(commandType, task) != nullptr;
}

CAtaSmart::TaskAnswer CAtaSmart::sendAtaTask(const AtaSmartInfo& asi, const AtaTask& task,
                                             std::span<std::uint8_t> data) {
    const TaskPath* path = taskPath(asi.CommandType, task);
    if (!path || data.size() != (task.isAnswerInRegisters ? 0 : kAtaBytes))
        return TaskAnswer::failed(platform::kNotSupported);
    // No probe: what fails here is told here alone.
    const platform::ErrorCode before = std::exchange(probeFailure_, platform::kSuccess);
    TaskAnswer answer = (this->*path->send)(asi, task, data);
    const platform::ErrorCode failure = std::exchange(probeFailure_, before);
    if (answer.ok() && answer.value && tellsError(*answer.value))
        return TaskAnswer::failed(platform::kIoDevice);
    if (!answer.ok() && failure != platform::kSuccess) answer.error = failure;
    return answer;
}

} // namespace orv
