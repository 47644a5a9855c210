#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/paths/AtaTask.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace orv {

namespace {

using platform::IDEREGS;

constexpr std::size_t kModelAt = 54;
constexpr std::uint8_t kUnanswered = 0xCF; // first data byte that a driver has to overwrite

#pragma pack(push, 1)

struct AtaPassThroughBlock {
    platform::ATA_PASS_THROUGH_EX head;
    std::uint32_t filler;
    std::uint8_t data[kAtaBytes];
};
static_assert(sizeof(AtaPassThroughBlock) == 556 && offsetof(AtaPassThroughBlock, data) == 44);

struct IdePassThroughBlock {
    IDEREGS registers;
    std::uint32_t dataBytes;
    std::uint8_t data[kAtaBytes];
};
static_assert(sizeof(IdePassThroughBlock) == 524 && offsetof(IdePassThroughBlock, data) == 12);

struct SmartReceiveQuestion {
    platform::SENDCMDINPARAMS parameters;
    std::uint8_t bBuffer;
};
static_assert(sizeof(SmartReceiveQuestion) == 33);

struct SmartReceiveAnswer {
    platform::SENDCMDOUTPARAMS parameters;
    std::uint8_t data[kAtaBytes];
};
static_assert(sizeof(SmartReceiveAnswer) == 528);

#pragma pack(pop)

AtaPassThroughBlock ataPassThrough(const IDEREGS& registers, std::size_t dataBytes) {
    AtaPassThroughBlock block{};
    block.head.Length = sizeof block.head;
    block.head.TimeOutValue = kPassThroughSeconds;
    block.head.DataBufferOffset = offsetof(AtaPassThroughBlock, data);
    if (dataBytes > 0) {
        block.head.DataTransferLength = static_cast<std::uint32_t>(dataBytes);
        block.head.AtaFlags = platform::ATA_FLAGS_DATA_IN;
        block.data[0] = kUnanswered;
    }
    block.head.CurrentTaskFile = registers.bCommandReg == kSmart
                                     ? smartRegisters(registers.bFeaturesReg, registers.bDriveHeadReg)
                                     : registers;
    return block;
}

AtaPassThroughBlock ataPassThrough(const AtaTask& task, std::uint8_t target, std::size_t dataBytes) {
    AtaPassThroughBlock block = ataPassThrough(task.registers, dataBytes);
    block.head.TimeOutValue = kTaskSeconds;
    block.head.CurrentTaskFile.bDriveHeadReg = target;
    if (task.is48Bit) {
        block.head.AtaFlags |= platform::ATA_FLAGS_48BIT_COMMAND;
        block.head.PreviousTaskFile = task.high;
    }
    return block;
}

IdePassThroughBlock idePassThrough(const IDEREGS& registers, std::size_t dataBytes) {
    return {registers, static_cast<std::uint32_t>(dataBytes), {}};
}

std::wstring traceText(const wchar_t* operation, const wchar_t* path = L"") {
    return std::wstring(L"SendAtaCommandPd - ") + operation + path;
}

constexpr wchar_t kByPassThrough[] = L" (ATA_PASS_THROUGH)";

/// Whether identify data and SMART tables are asked for by pass-through first.
bool passesThrough(const CAtaSmart& engine) {
    return engine.FlagAtaPassThrough && engine.FlagAtaPassThroughSmart;
}

/// SMART_RCV_DRIVE_DATA; `operation` names the command in the trace.
bool receiveSmart(CAtaSmart& engine, std::int32_t physicalDriveId, const IDEREGS& registers,
                  const wchar_t* operation, std::span<std::uint8_t, kAtaBytes> data) {
    const auto drive = engine.OpenPhysicalDrive(physicalDriveId);
    if (!drive) return false;
    DebugPrint(traceText(operation));
    const SmartReceiveQuestion question{{kAtaBytes, registers, 0, {}, {}}, 0};
    SmartReceiveAnswer answer{};
    return engine.devices
        .exchange(*drive, platform::SMART_RCV_DRIVE_DATA, sent(question), room(answer),
                  offsetof(SmartReceiveAnswer, data), data)
        .value;
}

bool readSmartPd(CAtaSmart& engine, std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t feature,
                 const wchar_t* operation, AtaSmartInfo& asi) {
    AtaBlock table{};
    bool read = false;
    if (passesThrough(engine)) {
        DebugPrint(traceText(operation, kByPassThrough));
        read = engine.SendAtaCommandPd(physicalDriveId, target, kSmart, feature, 0, table);
    }
    if (!read)
        read = receiveSmart(engine, physicalDriveId, smartRegisters(feature, target), operation, table);
    return read && keepSmart(asi, feature, table);
}

} // namespace

bool keepSmart(AtaSmartInfo& asi, std::uint8_t feature, std::span<const std::uint8_t, kAtaBytes> table) {
    const bool values = feature == kSmartReadData;
    std::ranges::copy(table, values ? asi.SmartReadData : asi.SmartReadThreshold);
    return values ? FillSmartData(asi) : FillSmartThreshold(asi);
}

bool CAtaSmart::SendAtaCommandPd(std::int32_t physicalDriveId, std::uint8_t target, std::uint8_t command,
                                 std::uint8_t feature, std::uint8_t count, std::span<std::uint8_t> data) {
    if (data.size() > kAtaBytes) return false;
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    if (!drive) return false;
    const auto send = [&](std::uint32_t code, const auto& block, std::size_t dataAt) {
        auto answer = block;
        const std::size_t bytes = dataAt + data.size();
        return devices.exchange(*drive, code, sent(block, bytes), room(answer, bytes), dataAt, data).value;
    };
    const IDEREGS registers{feature, count, 0, 0, 0, target, command, 0};
    return FlagAtaPassThrough ? send(platform::IOCTL_ATA_PASS_THROUGH, ataPassThrough(registers, data.size()),
                                     offsetof(AtaPassThroughBlock, data))
                              : send(platform::IOCTL_IDE_PASS_THROUGH, idePassThrough(registers, data.size()),
                                     offsetof(IdePassThroughBlock, data));
}

bool CAtaSmart::DoIdentifyDevicePd(std::int32_t physicalDriveId, std::uint8_t target,
                                   std::span<std::uint8_t> data) {
    constexpr wchar_t kOperation[] = L"IDENTIFY_DEVICE";
    if (data.size() < kAtaBytes) return false;
    const auto identify = data.first<kAtaBytes>();
    if (passesThrough(*this)) {
        DebugPrint(traceText(kOperation, kByPassThrough));
        if (SendAtaCommandPd(physicalDriveId, target, kIdentifyDevice, 0, 0, identify) &&
            identify[kModelAt] != 0)
            return true;
    }
    std::ranges::fill(identify, std::uint8_t{0});
    return receiveSmart(*this, physicalDriveId, {0, 1, 1, 0, 0, target, kIdentifyDevice, 0}, kOperation,
                        identify);
}

bool CAtaSmart::GetSmartAttributePd(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartPd(*this, physicalDriveId, target, kSmartReadData, L"SMART_READ_DATA", asi);
}

bool CAtaSmart::GetSmartThresholdPd(std::int32_t physicalDriveId, std::uint8_t target, AtaSmartInfo& asi) {
    return readSmartPd(*this, physicalDriveId, target, kSmartReadThresholds, L"SMART_READ_THRESHOLDS", asi);
}

bool CAtaSmart::ControlSmartStatusPd(std::int32_t physicalDriveId, std::uint8_t target,
                                     std::uint8_t subCommand) {
    constexpr wchar_t kOperation[] = L"SMART_CONTROL_STATUS";
    if (passesThrough(*this)) {
        DebugPrint(traceText(kOperation, kByPassThrough));
        if (SendAtaCommandPd(physicalDriveId, target, kSmart, subCommand, 0, {})) return true;
    }
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    if (!drive) return false;
    DebugPrint(traceText(kOperation));
    const platform::SENDCMDINPARAMS question{0, smartRegisters(subCommand, target), 0, {}, {}};
    platform::SENDCMDOUTPARAMS answer{};
    return devices.exchange(*drive, platform::SMART_SEND_DRIVE_COMMAND, sent(question), room(answer), 0, {})
        .value;
}

TaskAnswer sendTaskPd(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                      std::span<std::uint8_t> data) {
    constexpr std::size_t dataAt = offsetof(AtaPassThroughBlock, data);
    if (!engine.FlagAtaPassThrough) return TaskAnswer::failed(platform::kNotSupported);
    const auto drive = engine.OpenPhysicalDrive(asi.PhysicalDriveId);
    if (!drive) return TaskAnswer::failed(platform::kIoDevice);
    const AtaPassThroughBlock block = ataPassThrough(task, asi.Target, data.size());
    AtaPassThroughBlock answer = block;
    const std::size_t bytes = dataAt + data.size();
    const auto told = engine.devices.exchange(*drive, platform::IOCTL_ATA_PASS_THROUGH, sent(block, bytes),
                                              room(answer, bytes), dataAt, data);
    if (!told.value) return TaskAnswer::failed(platform::kIoDevice);
    // A driver that leaves the registers of the question there tells none.
    const auto& left = answer.head.CurrentTaskFile;
    if (std::memcmp(&left, &block.head.CurrentTaskFile, sizeof left) == 0) return {};
    return {left};
}

} // namespace orv
