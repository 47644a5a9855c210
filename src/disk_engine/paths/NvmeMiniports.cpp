#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/DeviceAccess.h"
#include "disk_engine/paths/NvmePaths.h"

#include <cstring>

namespace orv {

namespace {

/// How a miniport driver is spoken to.
struct MiniportForm {
    char signature[9];
    std::uint32_t timeOut; ///< seconds
    std::uint32_t code;
    bool addressed;   ///< the block names the drive; its data begin with 1
    bool sumTest;     ///< a block of zeros is no answer
    bool intelLayout; ///< IntelNvmBlock, otherwise NvmeMiniportBlock
    bool sizeCounts;  ///< the record takes the namespace's size
};

/// A port whose driver takes NVMe commands, and the drive on it.
struct NvmeMiniport {
    const MiniportForm* form;
    std::wstring path;
    std::uint32_t attributes; ///< to open it with
    platform::SCSI_ADDRESS drive;
};

using platform::IntelNvmBlock;
using platform::NvmeMiniportBlock;
using platform::SCSI_ADDRESS;

constexpr MiniportForm kNvmeMini = {"NvmeMini", 40, 0xE0002000, false, true, false, false};
constexpr MiniportForm kNvmeRaid = {"NvmeRAID", 40, 0xE0002000, true, true, false, true};
constexpr MiniportForm kIntelNvm = {"IntelNvm", 10, 0xF0002808, false, false, true, true};

constexpr std::uint32_t kRaidAddress = 0x86000000;
constexpr std::uint32_t kToHost = 2;
constexpr std::uint32_t kNormal = 0x80; // FILE_ATTRIBUTE_NORMAL

// Dword 10: the log's identifier, and above it one less than the number of dwords that are wanted.
constexpr NvmeCommand kHealthLog = {platform::kNvmeGetLogPage, platform::kNvmeAllNamespaces,
                                    0x007F0000 | platform::kNvmeHealthLog};
constexpr NvmeCommand kSamsungHealthLog = {platform::kNvmeGetLogPage, platform::kNvmeAllNamespaces,
                                           platform::kNvmeHealthLog};

template <class Block>
Block startBlock(const MiniportForm& form, const NvmeCommand& command) {
    Block block{};
    block.header.HeaderLength = sizeof block.header;
    std::memcpy(block.header.Signature, form.signature, sizeof block.header.Signature);
    block.header.Timeout = form.timeOut;
    block.header.ControlCode = form.code;
    block.header.Length = sizeof block - sizeof block.header;
    block.command[0] = command.opcode;
    block.command[1] = command.namespaceId;
    block.command[10] = command.dword10;
    block.dataLength = sizeof block.data;
    return block;
}

IntelNvmBlock intelBlock(const MiniportForm& form, const SCSI_ADDRESS& drive, const NvmeCommand& command) {
    auto block = startBlock<IntelNvmBlock>(form, command);
    block.version = 1;
    block.pathId = drive.PathId;
    block.dataOffset = offsetof(IntelNvmBlock, data);
    return block;
}

NvmeMiniportBlock miniportBlock(const MiniportForm& form, const SCSI_ADDRESS& drive,
                                const NvmeCommand& command) {
    auto block = startBlock<NvmeMiniportBlock>(form, command);
    block.direction = kToHost;
    block.returnLength = sizeof block;
    if (form.addressed) {
        block.header.ReturnCode = kRaidAddress + (std::uint32_t{drive.PathId} << 16) +
                                  (std::uint32_t{drive.TargetId} << 8) + drive.Lun;
        block.data[0] = 1;
    }
    return block;
}

/// A drive that is known by its port alone; whatever is not named is 0.
SCSI_ADDRESS onPort(std::uint8_t pathId, std::uint8_t targetId) {
    SCSI_ADDRESS address{};
    address.PathId = pathId;
    address.TargetId = targetId;
    return address;
}

std::optional<NvmeMiniport> intelMiniport(std::int32_t physicalDriveId) {
    std::wstring path = GetScsiPath(physicalDrivePath(physicalDriveId));
    if (path.empty()) return std::nullopt;
    return NvmeMiniport{&kNvmeMini, std::move(path), kNormal, {}};
}

std::optional<NvmeMiniport> rstMiniport(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                        std::int32_t scsiTargetId) {
    if (physicalDriveId == -1)
        return NvmeMiniport{&kIntelNvm, scsiPath(scsiPort), 0,
                            onPort(static_cast<std::uint8_t>(scsiTargetId), 0)};
    const auto address = GetScsiAddress(physicalDrivePath(physicalDriveId));
    if (!address) return std::nullopt;
    return NvmeMiniport{&kIntelNvm, scsiPath(address->PortNumber), 0, *address};
}

std::optional<NvmeMiniport> vrocMiniport(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                         std::int32_t scsiTargetId) {
    if (physicalDriveId < 0)
        return NvmeMiniport{&kNvmeRaid, scsiPath(scsiPort), kNormal,
                            onPort(0, static_cast<std::uint8_t>(scsiTargetId))};
    const auto address = GetScsiAddress(physicalDrivePath(physicalDriveId));
    if (!address) return std::nullopt;
    return NvmeMiniport{&kNvmeRaid, scsiPath(address->PortNumber), kNormal, *address};
}

bool sendNvme(DeviceAccess& devices, platform::DeviceFile& file, const NvmeMiniport& miniport,
              const NvmeCommand& command, std::span<std::uint8_t> data) {
    const auto exchanged = [&](auto block) {
        // An answer that ends before the data that are wanted would leave what the request had there.
        const std::size_t wanted = offsetof(decltype(block), data) + data.size();
        if (!devices.exchangeInPlace(file, platform::IOCTL_SCSI_MINIPORT,
                                     std::as_writable_bytes(std::span(&block, 1)), wanted))
            return false;
        std::copy_n(block.data, std::min(data.size(), sizeof block.data), data.begin());
        return true;
    };
    return miniport.form->intelLayout ? exchanged(intelBlock(*miniport.form, miniport.drive, command))
                                      : exchanged(miniportBlock(*miniport.form, miniport.drive, command));
}

bool identifyNvme(DeviceAccess& devices, const std::optional<NvmeMiniport>& miniport,
                  NvmeIdentifyBlock identify, std::uint32_t& diskSize) {
    if (!miniport) return false;
    const auto file = devices.open(miniport->path, {.attributes = miniport->attributes});
    if (!file) return false;
    const auto send = [&](const NvmeCommand& command, NvmeDataBlock& data) {
        return sendNvme(devices, *file, *miniport, command, data);
    };
    return identifyNvmeDrive(send, miniport->form->sumTest, identify, diskSize, miniport->form->sizeCounts);
}

bool readNvmeHealth(DeviceAccess& devices, const std::optional<NvmeMiniport>& miniport,
                    const NvmeCommand& command, AtaSmartInfo& asi) {
    if (!miniport) return false;
    const auto file = devices.open(miniport->path, {.attributes = miniport->attributes});
    std::array<std::uint8_t, kSmartBytes> page{};
    if (!file || !sendNvme(devices, *file, *miniport, command, page)) return false;
    if (miniport->form->sumTest && byteSum(page) == 0) return false;
    std::copy(page.begin(), page.end(), asi.SmartReadData);
    return true;
}

} // namespace

bool CAtaSmart::DoIdentifyDeviceNVMeIntel(std::int32_t physicalDriveId, std::int32_t, std::int32_t,
                                          NvmeIdentifyBlock identify, std::uint32_t& diskSize) {
    return identifyNvme(devices, intelMiniport(physicalDriveId), identify, diskSize);
}

bool CAtaSmart::GetSmartAttributeNVMeIntel(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    return readNvmeHealth(devices, intelMiniport(physicalDriveId), kHealthLog, asi);
}

bool CAtaSmart::GetSmartAttributeNVMeSamsungMiniport(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    return readNvmeHealth(devices, intelMiniport(physicalDriveId), kSamsungHealthLog, asi);
}

bool CAtaSmart::DoIdentifyDeviceNVMeIntelRst(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                             std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                             std::uint32_t& diskSize) {
    return identifyNvme(devices, rstMiniport(physicalDriveId, scsiPort, scsiTargetId), identify, diskSize);
}

bool CAtaSmart::GetSmartAttributeNVMeIntelRst(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                              std::int32_t scsiTargetId, AtaSmartInfo& asi) {
    return readNvmeHealth(devices, rstMiniport(physicalDriveId, scsiPort, scsiTargetId), kHealthLog, asi);
}

bool CAtaSmart::DoIdentifyDeviceNVMeIntelVroc(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                              std::int32_t scsiTargetId, NvmeIdentifyBlock identify,
                                              std::uint32_t& diskSize) {
    return identifyNvme(devices, vrocMiniport(physicalDriveId, scsiPort, scsiTargetId), identify, diskSize);
}

bool CAtaSmart::GetSmartAttributeNVMeIntelVroc(std::int32_t physicalDriveId, std::int32_t scsiPort,
                                               std::int32_t scsiTargetId, AtaSmartInfo& asi) {
    return readNvmeHealth(devices, vrocMiniport(physicalDriveId, scsiPort, scsiTargetId), kHealthLog, asi);
}

} // namespace orv
