#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/AtaCommands.h"
#include "platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace orv {

namespace {

using platform::SRB_IO_CONTROL;

// Control codes of "SCSIDISK".
constexpr std::uint32_t kIdentify = 0x1B0501;
constexpr std::uint32_t kReadData = 0x1B0502;
constexpr std::uint32_t kReadThresholds = 0x1B0503;
constexpr std::uint32_t kEnable = 0x1B0504;
constexpr std::uint32_t kDisable = 0x1B0505;

constexpr std::uint32_t kSiliconImageIdentify = 0x42008;
constexpr std::uint32_t kSiliconImageSeconds = 5;
constexpr std::uint32_t kNoReturnCode = 0xFFFFFFFF;
constexpr std::int32_t kSil3112 = 3112;
constexpr std::int32_t kSil3512 = 3512; // its driver goes by the name of the 3112

#pragma pack(push, 1)

struct ScsiDiskQuestion {
    SRB_IO_CONTROL srb;
    platform::SENDCMDINPARAMS parameters;
};
static_assert(sizeof(ScsiDiskQuestion) == 60);

struct ScsiDiskAnswer {
    SRB_IO_CONTROL srb;
    platform::SENDCMDOUTPARAMS parameters;
    std::uint8_t data[kAtaBytes];
    std::uint8_t behind;
};
static_assert(sizeof(ScsiDiskAnswer) == 557 && offsetof(ScsiDiskAnswer, data) == 44);

struct SiliconImageBlock {
    SRB_IO_CONTROL srb;
    std::uint16_t bus;
    std::uint16_t one;
    std::uint8_t registers[20];
    std::uint8_t data[kAtaBytes];
};
static_assert(sizeof(SiliconImageBlock) == 564 && offsetof(SiliconImageBlock, bus) == 28 &&
              offsetof(SiliconImageBlock, data) == 52);

#pragma pack(pop)

SRB_IO_CONTROL srbHead(std::string_view signature, std::uint32_t seconds, std::uint32_t controlCode,
                       std::size_t blockBytes) {
    SRB_IO_CONTROL srb{};
    srb.HeaderLength = sizeof srb;
    signature.copy(srb.Signature, sizeof srb.Signature);
    srb.Timeout = seconds;
    srb.ControlCode = controlCode;
    srb.Length = static_cast<std::uint32_t>(blockBytes - sizeof srb);
    return srb;
}

bool askScsiDisk(DeviceAccess& devices, std::int32_t scsiPort, std::int32_t scsiTargetId,
                 std::uint32_t controlCode, const platform::IDEREGS& registers,
                 std::span<std::uint8_t> data) {
    const auto port = devices.open(scsiPath(scsiPort), kCommandOpening);
    if (!port) return false;
    ScsiDiskQuestion question{};
    question.srb = srbHead("SCSIDISK", kPassThroughSeconds, controlCode, sizeof(ScsiDiskAnswer));
    question.parameters.cBufferSize = controlCode == kIdentify ? 0 : kAtaBytes;
    question.parameters.irDriveRegs = registers;
    question.parameters.bDriveNumber = static_cast<std::uint8_t>(scsiTargetId);
    ScsiDiskAnswer answer{};
    return devices
        .exchange(*port, platform::IOCTL_SCSI_MINIPORT, sent(question), room(answer),
                  offsetof(ScsiDiskAnswer, data), data)
        .value;
}

std::unique_ptr<platform::DeviceFile> openSiliconImage(DeviceAccess& devices, std::int32_t scsiPort,
                                                       std::int32_t siliconImageType) {
    if (auto port = devices.open(scsiPath(scsiPort), kCommandOpening)) return port;
    const std::wstring model = std::to_wstring(siliconImageType == kSil3512 ? kSil3112 : siliconImageType);
    const std::wstring name = L"tempBusSil" + model;
    const auto error =
        platform::current().deviceFiles().defineDosDevice(name, L"\\Device\\Scsi\\SI" + model + L"1");
    devices.noteFailure(error);
    return error == platform::kSuccess ? devices.open(L"\\\\.\\" + name, kCommandOpening) : nullptr;
}

} // namespace

bool CAtaSmart::DoIdentifyDeviceScsi(std::int32_t scsiPort, std::int32_t scsiTargetId,
                                     std::span<std::uint8_t> data) {
    if (data.size() < kAtaBytes) return false;
    AtaBlock identify{};
    const platform::IDEREGS registers{0, 0, 0, 0, 0, 0, kIdentifyDevice, 0};
    if (!askScsiDisk(devices, scsiPort, scsiTargetId, kIdentify, registers, identify) || identify[0] == 0)
        return false;
    std::ranges::copy(identify, data.begin());
    return true;
}

bool CAtaSmart::GetSmartAttributeScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, AtaSmartInfo& asi) {
    AtaBlock table{};
    return askScsiDisk(devices, scsiPort, scsiTargetId, kReadData, smartRegisters(kSmartReadData, 0),
                       table) &&
           keepSmart(asi, kSmartReadData, table);
}

bool CAtaSmart::GetSmartThresholdScsi(std::int32_t scsiPort, std::int32_t scsiTargetId, AtaSmartInfo& asi) {
    AtaBlock table{};
    return askScsiDisk(devices, scsiPort, scsiTargetId, kReadThresholds,
                       smartRegisters(kSmartReadThresholds, 0), table) &&
           table[0] != 0 && keepSmart(asi, kSmartReadThresholds, table);
}

bool CAtaSmart::ControlSmartStatusScsi(std::int32_t scsiPort, std::int32_t scsiTargetId,
                                       std::uint8_t subCommand) {
    return askScsiDisk(devices, scsiPort, scsiTargetId, subCommand == kSmartDisable ? kDisable : kEnable,
                       smartRegisters(subCommand, 0), {});
}

bool CAtaSmart::DoIdentifyDeviceSi(std::int32_t scsiPort, std::int32_t scsiBus, std::int32_t siliconImageType,
                                   std::span<std::uint8_t> data) {
    if (data.size() < kAtaBytes) return false;
    const auto port = openSiliconImage(devices, scsiPort, siliconImageType);
    if (!port) return false;
    SiliconImageBlock question{};
    question.srb =
        srbHead("CMD_IDE ", kSiliconImageSeconds, kSiliconImageIdentify, sizeof(SiliconImageBlock));
    question.srb.ReturnCode = kNoReturnCode;
    question.bus = static_cast<std::uint16_t>(scsiBus);
    question.one = 1;
    SiliconImageBlock answer = question;
    return devices
        .exchange(*port, platform::IOCTL_SCSI_MINIPORT, sent(question), room(answer),
                  offsetof(SiliconImageBlock, data), data.first(kAtaBytes))
        .value;
}

bool CAtaSmart::GetSmartAttributeSi(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    platform::STORAGE_PREDICT_FAILURE answer{};
    AtaBlock table{};
    const auto drive = OpenPhysicalDrive(physicalDriveId);
    const bool told =
        drive && devices
                     .exchange(*drive, platform::IOCTL_STORAGE_PREDICT_FAILURE, {}, room(answer),
                               offsetof(platform::STORAGE_PREDICT_FAILURE, VendorSpecific), table)
                     .value;
    return told ? keepSmart(asi, kSmartReadData, table) : GetSmartAttributeWmi(asi);
}

} // namespace orv
