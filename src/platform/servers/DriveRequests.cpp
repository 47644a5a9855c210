#include "platform/servers/DriveRequests.h"

#include "platform/records/NvmeRecords.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace orv::platform {

namespace {

using Request = std::optional<DriveRequest>;
using Answer = Result<std::uint32_t>;

constexpr std::size_t kSmartBytes = 512;
constexpr std::size_t kIdeHead = 12; // registers, then the number of data bytes

// Where a miniport block of an ATA drive has its parts.
constexpr std::size_t kScsiDiskParameters = sizeof(SRB_IO_CONTROL); // SENDCMDINPARAMS in, -OUTPARAMS out
constexpr std::size_t kScsiDiskData = kScsiDiskParameters + sizeof(SENDCMDOUTPARAMS);
constexpr std::uint32_t kScsiDiskIdentify = 0x1B0501;
constexpr std::uint32_t kScsiDiskReadThresholds = 0x1B0503; // with the two before it, a code with data
constexpr std::size_t kSiliconImageBus = 28;
constexpr std::size_t kSiliconImageData = 52;
constexpr std::uint8_t kAtaIdentify = 0xEC;

/// The record at a place of the block, if it is there whole.
template <class T>
std::optional<T> recordAt(std::span<const std::byte> block, std::size_t at) {
    if (block.size() < at || block.size() - at < sizeof(T)) return std::nullopt;
    T record;
    std::memcpy(&record, block.data() + at, sizeof record);
    return record;
}

Request ataPassThrough(std::span<const std::byte> in) {
    const auto head = recordAt<ATA_PASS_THROUGH_EX>(in, 0);
    if (!head || head->Length != sizeof *head) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::ataPassThrough;
    request.ata = head->CurrentTaskFile;
    request.timeOutSeconds = head->TimeOutValue;
    request.dataAt = head->DataBufferOffset;
    if (head->AtaFlags & ATA_FLAGS_DATA_IN) request.dataBytes = head->DataTransferLength;
    return request;
}

Request idePassThrough(std::span<const std::byte> in) {
    const auto registers = recordAt<IDEREGS>(in, 0);
    const auto bytes = recordAt<std::uint32_t>(in, sizeof(IDEREGS));
    if (!registers || !bytes) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::idePassThrough;
    request.ata = *registers;
    request.dataAt = kIdeHead;
    request.dataBytes = *bytes;
    return request;
}

Request smartIoctl(DrivePath path, std::span<const std::byte> in) {
    const auto parameters = recordAt<SENDCMDINPARAMS>(in, 0);
    if (!parameters) return std::nullopt;
    DriveRequest request;
    request.path = path;
    request.ata = parameters->irDriveRegs;
    request.target = parameters->bDriveNumber;
    if (path == DrivePath::smartReceive) {
        request.dataAt = sizeof(SENDCMDOUTPARAMS);
        request.dataBytes = kSmartBytes;
    }
    return request;
}

Request scsiPassThrough(std::span<const std::byte> in) {
    const auto head = recordAt<SCSI_PASS_THROUGH>(in, 0);
    if (!head || head->Length != sizeof *head || head->CdbLength > sizeof head->Cdb) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::scsiPassThrough;
    std::copy_n(head->Cdb, sizeof head->Cdb, request.cdb.begin());
    request.cdbLength = head->CdbLength;
    request.toDevice = head->DataIn == SCSI_IOCTL_DATA_OUT;
    request.timeOutSeconds = head->TimeOutValue;
    request.dataAt = head->DataBufferOffset;
    request.dataBytes = head->DataTransferLength;
    request.senseAt = head->SenseInfoLength == 0 ? 0 : head->SenseInfoOffset;
    request.senseBytes = head->SenseInfoLength;
    return request;
}

Request scsiDisk(const SRB_IO_CONTROL& head, std::span<const std::byte> in) {
    const auto parameters = recordAt<SENDCMDINPARAMS>(in, kScsiDiskParameters);
    if (!parameters) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::scsiDisk;
    request.ata = parameters->irDriveRegs;
    request.target = parameters->bDriveNumber;
    request.timeOutSeconds = head.Timeout;
    if (head.ControlCode >= kScsiDiskIdentify && head.ControlCode <= kScsiDiskReadThresholds) {
        request.dataAt = kScsiDiskData;
        request.dataBytes = kSmartBytes;
    }
    return request;
}

Request siliconImage(const SRB_IO_CONTROL& head, std::span<const std::byte> in) {
    const auto bus = recordAt<std::uint16_t>(in, kSiliconImageBus);
    if (!bus) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::siliconImage;
    request.ata.bCommandReg = kAtaIdentify;
    request.target = static_cast<std::uint8_t>(*bus);
    request.timeOutSeconds = head.Timeout;
    request.dataAt = kSiliconImageData;
    request.dataBytes = kSmartBytes;
    return request;
}

void readCommand(DriveRequest& request, const std::uint32_t* command) {
    request.nvmeOpcode = static_cast<std::uint8_t>(command[0]);
    request.namespaceId = command[1];
    request.commandDword10 = command[10];
    request.commandDword11 = command[11];
}

Request nvmeMiniport(DrivePath path, const SRB_IO_CONTROL& head, std::span<const std::byte> in) {
    const auto block = recordAt<NvmeMiniportBlock>(in, 0);
    if (!block) return std::nullopt;
    DriveRequest request;
    request.path = path;
    readCommand(request, block->command);
    if (path == DrivePath::nvmeRaid) {
        request.pathId = static_cast<std::uint8_t>(head.ReturnCode >> 16);
        request.target = static_cast<std::uint8_t>(head.ReturnCode >> 8);
    }
    request.timeOutSeconds = head.Timeout;
    request.dataAt = offsetof(NvmeMiniportBlock, data);
    request.dataBytes = block->dataLength;
    return request;
}

Request intelNvm(const SRB_IO_CONTROL& head, std::span<const std::byte> in) {
    const auto block = recordAt<IntelNvmBlock>(in, 0);
    if (!block) return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::intelNvm;
    readCommand(request, block->command);
    request.pathId = block->pathId;
    request.timeOutSeconds = head.Timeout;
    request.dataAt = block->dataOffset;
    request.dataBytes = block->dataLength;
    return request;
}

Request miniport(std::span<const std::byte> in) {
    const auto head = recordAt<SRB_IO_CONTROL>(in, 0);
    if (!head || head->HeaderLength != sizeof *head) return std::nullopt;
    const std::string_view signature(head->Signature, sizeof head->Signature);
    if (signature == "SCSIDISK") return scsiDisk(*head, in);
    if (signature == "CMD_IDE ") return siliconImage(*head, in);
    if (signature == "NvmeMini") return nvmeMiniport(DrivePath::nvmeMini, *head, in);
    if (signature == "NvmeRAID") return nvmeMiniport(DrivePath::nvmeRaid, *head, in);
    if (signature == "IntelNvm") return intelNvm(*head, in);
    return std::nullopt;
}

Request storageQuery(std::span<const std::byte> in) {
    const auto query = recordAt<STORAGE_PROPERTY_QUERY>(in, 0);
    if (!query || query->PropertyId != kStorageAdapterProtocolSpecific ||
        query->ProtocolType != kProtocolTypeNvme)
        return std::nullopt;
    DriveRequest request;
    request.path = DrivePath::storageQuery;
    const bool identify = query->DataType == kNvmeDataTypeIdentify;
    if (!identify && query->DataType != kNvmeDataTypeLogPage) return std::nullopt;
    request.nvmeOpcode = identify ? kNvmeIdentify : kNvmeGetLogPage;
    request.commandDword10 = query->ProtocolDataRequestValue;
    request.namespaceId = query->ProtocolDataRequestSubValue;
    if (!identify) {
        // Of a log page the sub-value is the low half of an offset, and all its bits set is how "of all
        // namespaces" was told before there were offsets. Nothing here reads a page from elsewhere than its
        // beginning.
        if (request.namespaceId != 0 && request.namespaceId != kNvmeAllNamespaces) return std::nullopt;
        request.namespaceId = kNvmeAllNamespaces;
    }
    request.dataAt = offsetof(STORAGE_PROPERTY_QUERY, ProtocolType) + query->ProtocolDataOffset;
    request.dataBytes = query->ProtocolDataLength;
    return request;
}

Request readBlock(std::uint32_t code, std::span<const std::byte> in) {
    switch (code) {
    case IOCTL_ATA_PASS_THROUGH:
        return ataPassThrough(in);
    case IOCTL_IDE_PASS_THROUGH:
        return idePassThrough(in);
    case SMART_RCV_DRIVE_DATA:
        return smartIoctl(DrivePath::smartReceive, in);
    case SMART_SEND_DRIVE_COMMAND:
        return smartIoctl(DrivePath::smartSend, in);
    case IOCTL_SCSI_PASS_THROUGH:
        return scsiPassThrough(in);
    case IOCTL_SCSI_MINIPORT:
        return miniport(in);
    case IOCTL_STORAGE_QUERY_PROPERTY:
        return storageQuery(in);
    default:
        return std::nullopt;
    }
}

bool fits(std::size_t at, std::size_t bytes, std::size_t room) {
    return bytes == 0 || (at <= room && bytes <= room - at);
}

/// A driver that answers with the block that was sent gives it back whole.
bool echoesInput(DrivePath path) {
    return path != DrivePath::smartReceive && path != DrivePath::smartSend && path != DrivePath::scsiDisk;
}

} // namespace

std::optional<DriveRequest> readDriveRequest(std::uint32_t code, std::span<const std::byte> in,
                                             std::size_t out) {
    const auto request = readBlock(code, in);
    if (!request) return std::nullopt;
    if (!fits(request->dataAt, request->dataBytes, request->toDevice ? in.size() : out)) return std::nullopt;
    if (!fits(request->senseAt, request->senseBytes, out)) return std::nullopt;
    return request;
}

Result<std::uint32_t> writeDriveAnswer(const DriveRequest& request, std::span<const std::byte> in,
                                       std::span<const std::uint8_t> data, std::span<std::byte> out) {
    if (echoesInput(request.path)) std::copy_n(in.begin(), std::min(in.size(), out.size()), out.begin());
    if (request.path == DrivePath::scsiDisk)
        std::copy_n(in.begin(), std::min(sizeof(SRB_IO_CONTROL), out.size()), out.begin());
    if (request.path == DrivePath::smartReceive) {
        const SENDCMDOUTPARAMS head{static_cast<std::uint32_t>(data.size()), 0, 0, {}, {}};
        if (out.size() < sizeof head) return Answer::failed(kInsufficientBuffer);
        std::memcpy(out.data(), &head, sizeof head);
    }
    if (request.toDevice) return {static_cast<std::uint32_t>(out.size())};
    if (!fits(request.dataAt, data.size(), out.size())) return Answer::failed(kInsufficientBuffer);
    if (!data.empty()) std::memcpy(out.data() + request.dataAt, data.data(), data.size());
    // What the miniport drivers and the storage query give back is their whole block.
    const bool wholeBlock =
        request.path != DrivePath::ataPassThrough && request.path != DrivePath::idePassThrough &&
        request.path != DrivePath::smartReceive && request.path != DrivePath::scsiPassThrough;
    const std::size_t written = wholeBlock ? out.size() : request.dataAt + data.size();
    return {static_cast<std::uint32_t>(std::min(written, out.size()))};
}

} // namespace orv::platform
