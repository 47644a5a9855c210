// Our numbers and records of drives against the system's own; the compiler's answer is all there is.

#include "platform/records/StorageRecords.h"

#include "platform/records/NvmeRecords.h"

#include <array>

namespace orv::platform {

namespace {

// Taken down before the system's headers make macros of these names.
constexpr std::array kOurNumbers = {
    IOCTL_SCSI_PASS_THROUGH,
    IOCTL_SCSI_MINIPORT,
    IOCTL_IDE_PASS_THROUGH,
    IOCTL_ATA_PASS_THROUGH,
    IOCTL_SCSI_GET_ADDRESS,
    SMART_SEND_DRIVE_COMMAND,
    SMART_RCV_DRIVE_DATA,
    IOCTL_STORAGE_PREDICT_FAILURE,
    IOCTL_STORAGE_QUERY_PROPERTY,
    IOCTL_DISK_GET_DRIVE_GEOMETRY,
    IOCTL_DISK_PERFORMANCE,
    IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS,
    std::uint32_t{ATA_FLAGS_DATA_IN},
    std::uint32_t{ATA_FLAGS_48BIT_COMMAND},
    std::uint32_t{SCSI_IOCTL_DATA_OUT},
    std::uint32_t{SCSI_IOCTL_DATA_IN},
};

} // namespace

} // namespace orv::platform

#include <windows.h>

#include <ntddscsi.h>
#include <winioctl.h>

namespace orv::platform {

namespace {

constexpr std::array<std::uint32_t, kOurNumbers.size()> kSystemNumbers = {
    IOCTL_SCSI_PASS_THROUGH,
    IOCTL_SCSI_MINIPORT,
    IOCTL_IDE_PASS_THROUGH,
    IOCTL_ATA_PASS_THROUGH,
    IOCTL_SCSI_GET_ADDRESS,
    SMART_SEND_DRIVE_COMMAND,
    SMART_RCV_DRIVE_DATA,
    IOCTL_STORAGE_PREDICT_FAILURE,
    IOCTL_STORAGE_QUERY_PROPERTY,
    IOCTL_DISK_GET_DRIVE_GEOMETRY,
    IOCTL_DISK_PERFORMANCE,
    IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS,
    ATA_FLAGS_DATA_IN,
    ATA_FLAGS_48BIT_COMMAND,
    SCSI_IOCTL_DATA_OUT,
    SCSI_IOCTL_DATA_IN,
};
static_assert(kOurNumbers == kSystemNumbers);
static_assert(kFixedMedia == FixedMedia && kBusTypeUsb == BusTypeUsb && kBusTypeNvme == BusTypeNvme);
static_assert(kBusTypeScsi == BusTypeScsi && kBusTypeFibre == BusTypeFibre && kBusTypeIscsi == BusTypeiScsi &&
              kBusTypeSas == BusTypeSas);
static_assert(kStorageAdapterProtocolSpecific == StorageAdapterProtocolSpecificProperty &&
              kProtocolTypeNvme == ProtocolTypeNvme && kNvmeDataTypeIdentify == NVMeDataTypeIdentify &&
              kNvmeDataTypeLogPage == NVMeDataTypeLogPage);

#define SAME_SIZE(RECORD) (sizeof(RECORD) == sizeof(::RECORD))
#define SAME_PLACE(RECORD, FIELD) (offsetof(RECORD, FIELD) == offsetof(::RECORD, FIELD))

static_assert(SAME_SIZE(IDEREGS) && SAME_PLACE(IDEREGS, bCommandReg));
static_assert(SAME_SIZE(ATA_PASS_THROUGH_EX) && SAME_PLACE(ATA_PASS_THROUGH_EX, DataTransferLength) &&
              SAME_PLACE(ATA_PASS_THROUGH_EX, TimeOutValue) &&
              SAME_PLACE(ATA_PASS_THROUGH_EX, DataBufferOffset) &&
              SAME_PLACE(ATA_PASS_THROUGH_EX, PreviousTaskFile) &&
              SAME_PLACE(ATA_PASS_THROUGH_EX, CurrentTaskFile));
static_assert(SAME_SIZE(SCSI_PASS_THROUGH) && SAME_PLACE(SCSI_PASS_THROUGH, SenseInfoLength) &&
              SAME_PLACE(SCSI_PASS_THROUGH, DataTransferLength) &&
              SAME_PLACE(SCSI_PASS_THROUGH, DataBufferOffset) &&
              SAME_PLACE(SCSI_PASS_THROUGH, SenseInfoOffset) && SAME_PLACE(SCSI_PASS_THROUGH, Cdb));
static_assert(SAME_SIZE(SRB_IO_CONTROL) && SAME_PLACE(SRB_IO_CONTROL, Timeout) &&
              SAME_PLACE(SRB_IO_CONTROL, ControlCode) && SAME_PLACE(SRB_IO_CONTROL, Length));
static_assert(SAME_SIZE(SCSI_ADDRESS) && SAME_PLACE(SCSI_ADDRESS, TargetId));
static_assert(SAME_SIZE(DISK_GEOMETRY) && SAME_PLACE(DISK_GEOMETRY, MediaType) &&
              SAME_PLACE(DISK_GEOMETRY, BytesPerSector));
static_assert(SAME_SIZE(STORAGE_PREDICT_FAILURE) && SAME_PLACE(STORAGE_PREDICT_FAILURE, VendorSpecific));
static_assert(SAME_SIZE(DISK_PERFORMANCE) && SAME_PLACE(DISK_PERFORMANCE, ReadCount) &&
              SAME_PLACE(DISK_PERFORMANCE, QueryTime) && SAME_PLACE(DISK_PERFORMANCE, StorageManagerName));
static_assert(SAME_SIZE(DISK_EXTENT) && SAME_PLACE(DISK_EXTENT, StartingOffset) &&
              SAME_PLACE(DISK_EXTENT, ExtentLength) && SAME_PLACE(VOLUME_DISK_EXTENTS, Extents));

// The system's records that end in the first byte of something of any length.
static_assert(sizeof(SENDCMDINPARAMS) == offsetof(::SENDCMDINPARAMS, bBuffer) &&
              SAME_PLACE(SENDCMDINPARAMS, irDriveRegs) && SAME_PLACE(SENDCMDINPARAMS, bDriveNumber));
static_assert(sizeof(SENDCMDOUTPARAMS) == offsetof(::SENDCMDOUTPARAMS, bBuffer) &&
              offsetof(SENDCMDOUTPARAMS, bIDEError) == offsetof(::SENDCMDOUTPARAMS, DriverStatus.bIDEError));
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) ==
                  offsetof(::STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties) &&
              SAME_PLACE(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia) &&
              SAME_PLACE(STORAGE_DEVICE_DESCRIPTOR, ProductIdOffset) &&
              SAME_PLACE(STORAGE_DEVICE_DESCRIPTOR, BusType));

// A protocol's data in a query stand where the system's query has its additional parameters.
constexpr std::size_t kProtocolAt = offsetof(::STORAGE_PROPERTY_QUERY, AdditionalParameters);
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == kProtocolAt + sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA) &&
              offsetof(STORAGE_PROPERTY_QUERY, ProtocolType) == kProtocolAt &&
              offsetof(STORAGE_PROPERTY_QUERY, ProtocolDataOffset) ==
                  kProtocolAt + offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataOffset) &&
              offsetof(STORAGE_PROPERTY_QUERY, ProtocolDataLength) ==
                  kProtocolAt + offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataLength));

} // namespace

} // namespace orv::platform
