#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/NvmePaths.h"

namespace orv {

namespace {

using platform::NvmeQueryBlock;

constexpr std::uint32_t kQueryHealthOf[] = {0, platform::kNvmeAllNamespaces}; // the second if the first fails

/// The query takes the namespace of an identify command, and the log's own parameter, as its sub-value.
void setQuery(NvmeQueryBlock& block, std::uint32_t dataType, std::uint32_t value, std::uint32_t subValue) {
    block.query = {};
    block.query.PropertyId = platform::kStorageAdapterProtocolSpecific;
    block.query.ProtocolType = platform::kProtocolTypeNvme;
    block.query.DataType = dataType;
    block.query.ProtocolDataRequestValue = value;
    block.query.ProtocolDataRequestSubValue = subValue;
    block.query.ProtocolDataOffset =
        offsetof(NvmeQueryBlock, data) - offsetof(platform::STORAGE_PROPERTY_QUERY, ProtocolType);
    block.query.ProtocolDataLength = sizeof block.data;
}

std::span<std::byte> bytesOf(NvmeQueryBlock& block) {
    return std::as_writable_bytes(std::span(&block, 1));
}

} // namespace

// An answer has to reach to the end of what is taken out of it. A drive's block has no other length: a part
// of it would be read as a drive without the features that the rest tells of.

bool CAtaSmart::DoIdentifyDeviceNVMeStorageQuery(std::int32_t physicalDriveId, std::int32_t, std::int32_t,
                                                 NvmeIdentifyBlock identify, std::uint32_t& diskSize) {
    const auto file = devices.open(physicalDrivePath(physicalDriveId));
    if (!file) return false;
    const auto send = [&](const NvmeCommand& command, NvmeDataBlock& data) {
        NvmeQueryBlock block{};
        setQuery(block, platform::kNvmeDataTypeIdentify, command.dword10, command.namespaceId);
        if (!devices.exchangeInPlace(*file, platform::IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(block),
                                     sizeof block))
            return false;
        std::copy(std::begin(block.data), std::end(block.data), data.begin());
        return true;
    };
    return identifyNvmeDrive(send, false, identify, diskSize);
}

bool CAtaSmart::GetSmartAttributeNVMeStorageQuery(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    const auto file = devices.open(physicalDrivePath(physicalDriveId));
    if (!file) return false;
    NvmeQueryBlock block{};
    bool answered = false;
    for (const std::uint32_t subValue : kQueryHealthOf) {
        setQuery(block, platform::kNvmeDataTypeLogPage, platform::kNvmeHealthLog, subValue);
        answered = devices.exchangeInPlace(*file, platform::IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(block),
                                           offsetof(NvmeQueryBlock, data) + kSmartBytes);
        if (answered) break;
    }
    // After a failure too, so that a record never shows the page of an earlier reading as the present one.
    std::copy_n(block.data, kSmartBytes, asi.SmartReadData);
    return answered;
}

} // namespace orv
