// Any bytes as an IDENTIFY DEVICE block, or as an Identify Controller block with its health page: a record is
// made or refused, and what it says lies in its ranges. The first byte chooses the drive's path.

#include "Answering.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/record/DriveRecord.h"

namespace {

void ataRecord(AtaSmartInfo& asi, const std::uint8_t* bytes, std::size_t size) {
    std::uint8_t block[kIdentifyBytes] = {};
    std::memcpy(block, bytes, std::min(size, sizeof block));
    const IdentifyBlock identify(block);
    if (!readIdentifyTexts(asi, identify)) return;
    interpretIdentify(asi, identify);
    finishRecord(asi);
    ClassifyDrive(asi); // by texts of any letters
    require(!asi.Model.empty() && asi.Model.size() <= 40 && asi.ModelSerial.size() <= 60);
    require(asi.Cylinder <= 0x3FFF && asi.Head <= 16 && asi.Sector <= 63 && asi.TransferModeType <= 12);
    require(asi.DetectedTimeUnitType >= TIME_UNIT_HOURS && asi.DetectedTimeUnitType <= TIME_UNIT_INTEL);
    require(asi.PhysicalSectorSize >= 512 && asi.DiskStatus == DISK_STATUS_UNKNOWN);
}

void nvmeRecord(AtaSmartInfo& asi, const std::uint8_t* bytes, std::size_t size) {
    std::uint8_t block[kNvmeIdentifyBytes] = {};
    const std::size_t head = std::min(size, kSmartBytes);
    std::memcpy(asi.SmartReadData, bytes, head);
    std::memcpy(block, bytes + head, std::min(size - head, sizeof block));
    const NvmeIdentifyBlock identify(block);
    if (!readNvmeIdentify(asi, identify, 0)) return;
    interpretNvmeHealth(asi, kHottestNewNvme);
    readAmdNvmeLink(asi, identify);
    require(asi.AttributeCount == 15 && asi.Life >= 0 && asi.Life <= 100);
    require(asi.Temperature == kNoTemperature || (asi.Temperature > -273 && asi.Temperature <= 100));
    require(asi.HostReads >= 0 && asi.HostWrites >= 0 && CheckDiskStatus(asi) <= DISK_STATUS_BAD);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) return -1;
    AtaSmartInfo asi = startRecord({.target = 0xB0, .commandType = bytes[0] % 32U});
    const bool nvme = asi.CommandType >= CMD_TYPE_NVME_SAMSUNG && asi.CommandType <= CMD_TYPE_NVME_INTEL_VROC;
    (nvme ? nvmeRecord : ataRecord)(asi, bytes + 1, size - 1);
    return 0;
}
