#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/paths/AtaTask.h"
#include "disk_engine/paths/BridgeCommands.h"
#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
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

bool isBlank(const AtaBlock& block) {
    return std::ranges::all_of(block, [](std::uint8_t byte) { return byte == 0; });
}

} // namespace

platform::Result<bool> CAtaSmart::sendBridge(platform::DeviceFile& drive, const BridgeCdb& cdb,
                                             std::span<std::uint8_t> data) {
    const auto question = passThrough(cdb);
    BridgeAnswer answer{};
    constexpr std::size_t dataAt = offsetof(BridgeAnswer, data);
    return exchange(drive, platform::IOCTL_SCSI_PASS_THROUGH, sent(question),
                    room(answer, dataAt + cdb.dataBytes), dataAt, data);
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
    const auto cdb = bridgeCommand(commandType, BridgeOperation::identify, target);
    if (!cdb) return failed(L"COMMAND_TYPE_UNKNOWN");

    AtaBlock identify{};
    const auto told = sendBridge(*drive, *cdb, identify);
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

bool CAtaSmart::readSmartSat(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t feature,
                             AtaSmartInfo& asi) {
    const bool values = feature == kSmartReadData;
    const auto cdb = bridgeCommand(
        asi.CommandType, values ? BridgeOperation::readData : BridgeOperation::readThresholds, target);
    if (!cdb) return false;
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    if (!drive) return false;
    AtaBlock table{};
    if (!sendBridge(*drive, *cdb, table).value) return false;
    if (values && isBlank(table)) return false;
    return keepSmart(asi, feature, table);
}

bool CAtaSmart::GetSmartAttributeSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartSat(physicalDriveId, target, kSmartReadData, asi);
}

bool CAtaSmart::GetSmartThresholdSat(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartSat(physicalDriveId, target, kSmartReadThresholds, asi);
}

bool CAtaSmart::ControlSmartStatusSat(std::int32_t physicalDriveId, std::uint8_t target,
                                      std::uint8_t subCommand, std::uint32_t commandType) {
    const auto cdb = bridgeCommand(commandType, BridgeOperation::control, target, subCommand);
    if (!cdb) return false;
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    return drive && sendBridge(*drive, *cdb, {}).value;
}

CAtaSmart::TaskAnswer CAtaSmart::sendTaskSat(const AtaSmartInfo& asi, const AtaTask& task,
                                             std::span<std::uint8_t> data) {
    constexpr std::size_t dataAt = offsetof(BridgeAnswer, data);
    const auto drive = OpenPhysicalDrive(asi.PhysicalDriveId);
    if (!drive) return TaskAnswer::failed(platform::kIoDevice);
    auto question = passThrough(passThroughCdb(task, asi.Target));
    question.TimeOutValue = kTaskSeconds;
    BridgeAnswer answer{};
    const auto told = exchange(*drive, platform::IOCTL_SCSI_PASS_THROUGH, sent(question),
                               room(answer, dataAt + data.size()), dataAt, data);
    if (!told.value) {
        // A refusal moves no data; it is more than a wrong length.
        if (told.ok() && answer.head.ScsiStatus != 0) noteFailure(platform::kIoDevice);
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
