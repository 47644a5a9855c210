#include "disk_engine/paths/AtaBridges.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/paths/AtaTask.h"
#include "platform/records/AtaSense.h"

#include <fmt/xchar.h>

#include <algorithm>

namespace orv {

namespace {

constexpr std::size_t kSenseBytes = 24;

#pragma pack(push, 1)

struct BridgeAnswer {
    platform::SCSI_PASS_THROUGH head;
    std::uint32_t filler;
    std::uint8_t sense[kSenseBytes];
    std::uint8_t beforeData[8];
    std::uint8_t data[kAtaBytes];
};
static_assert(sizeof(BridgeAnswer) == 592 && offsetof(BridgeAnswer, sense) == 48 &&
              offsetof(BridgeAnswer, data) == 80);

#pragma pack(pop)

platform::SCSI_PASS_THROUGH passThrough(const BridgeCdb& cdb) {
    platform::SCSI_PASS_THROUGH block{};
    block.Length = sizeof block;
    block.CdbLength = cdb.length;
    block.SenseInfoLength = kSenseBytes;
    block.DataIn = platform::SCSI_IOCTL_DATA_IN;
    block.DataTransferLength = cdb.dataBytes;
    block.TimeOutValue = kPassThroughSeconds;
    block.DataBufferOffset = offsetof(BridgeAnswer, data);
    block.SenseInfoOffset = offsetof(BridgeAnswer, sense);
    std::ranges::copy(cdb.bytes, block.Cdb);
    return block;
}

BridgeCdb filled(const AtaBridgeCommand& command, std::uint32_t dataBytes, std::uint8_t target,
                 std::uint8_t feature = 0) {
    BridgeCdb cdb{command.length, {}, dataBytes};
    for (std::size_t i = 0; i < command.length; ++i) {
        const std::uint16_t byte = command.bytes[i];
        cdb.bytes[i] = byte == kDeviceByte ? target
                       : byte == kFeature  ? feature
                                           : static_cast<std::uint8_t>(byte);
    }
    return cdb;
}

bool isBlank(const AtaBlock& block) {
    return std::ranges::all_of(block, [](std::uint8_t byte) { return byte == 0; });
}

platform::Result<bool> sendBridge(DeviceAccess& devices, platform::DeviceFile& drive, const BridgeCdb& cdb,
                                  std::span<std::uint8_t> data) {
    const auto question = passThrough(cdb);
    BridgeAnswer answer{};
    constexpr std::size_t dataAt = offsetof(BridgeAnswer, data);
    return devices.exchange(drive, platform::IOCTL_SCSI_PASS_THROUGH, sent(question),
                            room(answer, dataAt + cdb.dataBytes), dataAt, data);
}

bool readSmartSat(CAtaSmart& engine, std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t feature,
                  AtaSmartInfo& asi) {
    const bool values = feature == kSmartReadData;
    const AtaBridge* bridge = commandPath(asi.CommandType).bridge;
    if (!bridge) return false;
    const auto drive = engine.OpenPhysicalDrive(physicalDriveId);
    if (!drive) return false;
    AtaBlock table{};
    const AtaBridgeCommand& command = values ? bridge->readData : bridge->readThresholds;
    if (!sendBridge(engine.devices, *drive, filled(command, kAtaBytes, target), table).value) return false;
    if (values && isBlank(table)) return false;
    return keepSmart(asi, feature, table);
}

} // namespace

BridgeCdb passThroughCdb(const AtaTask& task, std::uint8_t target) {
    constexpr std::uint8_t nonData = 3 << 1, dataIn = 4 << 1,
                           extended = 1; // protocol, and that there are high bytes
    constexpr std::uint8_t blocksInByCount = 0x0E, registersBack = 0x20;
    const auto& low = task.registers;
    const auto& high = task.high;
    const std::uint8_t protocol = task.isAnswerInRegisters ? nonData : dataIn;
    const std::uint8_t flags = task.isAnswerInRegisters ? registersBack : blocksInByCount;
    const std::uint32_t dataBytes = task.isAnswerInRegisters ? 0 : std::uint32_t{kAtaBytes};
    if (!task.is48Bit)
        return {12,
                {0xA1, protocol, flags, low.bFeaturesReg, low.bSectorCountReg, low.bSectorNumberReg,
                 low.bCylLowReg, low.bCylHighReg, target, low.bCommandReg},
                dataBytes};
    return {16,
            {0x85, static_cast<std::uint8_t>(protocol | extended), flags, high.bFeaturesReg, low.bFeaturesReg,
             high.bSectorCountReg, low.bSectorCountReg, high.bSectorNumberReg, low.bSectorNumberReg,
             high.bCylLowReg, low.bCylLowReg, high.bCylHighReg, low.bCylHighReg, target, low.bCommandReg},
            dataBytes};
}

bool CAtaSmart::DoIdentifyDeviceSat(std::int32_t physicalDriveId, std::uint8_t target,
                                    std::span<std::uint8_t> data, std::uint32_t commandType) {
    const auto failed = [](std::wstring_view why) {
        DebugPrint(why);
        return false;
    };
    if (debugWanted())
        DebugPrint(
            fmt::format(L"DoIdentifyDeviceSat pd={}, tt={}, ct={}", physicalDriveId, target, commandType));
    if (data.size() < kAtaBytes) return failed(L"data == NULL");
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    if (!drive) return failed(L"! hIoCtrl || hIoCtrl == INVALID_HANDLE_VALUE");
    const AtaBridge* bridge = commandPath(commandType).bridge;
    if (!bridge) return failed(L"COMMAND_TYPE_UNKNOWN");

    AtaBlock identify{};
    const auto told = sendBridge(devices, *drive, filled(bridge->identify, kAtaBytes, target), identify);
    if (!told.value) {
        if (debugWanted())
            DebugPrint(
                fmt::format(L"bRet == FALSE || dwReturned != length / Error Coce: {:08X}", told.error));
        return false;
    }
    if (isBlank(identify)) return failed(L"count=0");
    std::ranges::copy(identify, data.begin());
    return true;
}

bool CAtaSmart::GetSmartAttributeSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartSat(*this, physicalDriveId, target, kSmartReadData, asi);
}

bool CAtaSmart::GetSmartThresholdSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartSat(*this, physicalDriveId, target, kSmartReadThresholds, asi);
}

bool CAtaSmart::ControlSmartStatusSat(std::int32_t physicalDriveId, std::uint8_t target,
                                      std::uint8_t subCommand, std::uint32_t commandType) {
    const AtaBridge* bridge = commandPath(commandType).bridge;
    if (!bridge) return false;
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    return drive && sendBridge(devices, *drive, filled(bridge->control, 0, target, subCommand), {}).value;
}

TaskAnswer sendTaskSat(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                       std::span<std::uint8_t> data) {
    constexpr std::size_t dataAt = offsetof(BridgeAnswer, data);
    const auto drive = engine.OpenPhysicalDrive(asi.PhysicalDriveId);
    if (!drive) return TaskAnswer::failed(platform::kIoDevice);
    auto question = passThrough(passThroughCdb(task, asi.Target));
    question.TimeOutValue = kTaskSeconds;
    BridgeAnswer answer{};
    const auto told = engine.devices.exchange(*drive, platform::IOCTL_SCSI_PASS_THROUGH, sent(question),
                                              room(answer, dataAt + data.size()), dataAt, data);
    if (!told.value) {
        // A refusal moves no data; it is more than a wrong length.
        if (told.ok() && answer.head.ScsiStatus != 0) engine.devices.noteFailure(platform::kIoDevice);
        return TaskAnswer::failed(platform::kIoDevice);
    }
    const std::size_t senseBytes = std::min<std::size_t>(answer.head.SenseInfoLength, kSenseBytes);
    const auto registers = platform::ataRegistersOf(std::span(answer.sense).first(senseBytes));
    // A status that is not good is a refusal, unless it is how the registers come.
    if (answer.head.ScsiStatus != 0 && !(registers && task.isAnswerInRegisters))
        return TaskAnswer::failed(platform::kIoDevice);
    return {registers};
}

} // namespace orv
