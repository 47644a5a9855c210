#pragma once

// Control codes of disks, SCSI ports and volumes, and their blocks as a 32-bit process lays them out (Windows
// SDK and driver kit: winioctl.h, ntddscsi.h, ntdddisk.h). Everything is little endian.

#include <cstddef>
#include <cstdint>

namespace orv::platform {

inline constexpr std::uint32_t IOCTL_SCSI_PASS_THROUGH = 0x4D004;
inline constexpr std::uint32_t IOCTL_SCSI_MINIPORT = 0x4D008;
inline constexpr std::uint32_t IOCTL_IDE_PASS_THROUGH = 0x4D028;
inline constexpr std::uint32_t IOCTL_ATA_PASS_THROUGH = 0x4D02C;
inline constexpr std::uint32_t IOCTL_SCSI_GET_ADDRESS = 0x41018;
inline constexpr std::uint32_t SMART_SEND_DRIVE_COMMAND = 0x7C084;
inline constexpr std::uint32_t SMART_RCV_DRIVE_DATA = 0x7C088;
inline constexpr std::uint32_t IOCTL_STORAGE_PREDICT_FAILURE = 0x2D1100;
inline constexpr std::uint32_t IOCTL_STORAGE_QUERY_PROPERTY = 0x2D1400;
inline constexpr std::uint32_t IOCTL_DISK_GET_DRIVE_GEOMETRY = 0x70000;
inline constexpr std::uint32_t IOCTL_DISK_PERFORMANCE = 0x70020;
inline constexpr std::uint32_t IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS = 0x560000;

inline constexpr std::uint16_t ATA_FLAGS_DATA_IN = 2;
inline constexpr std::uint8_t SCSI_IOCTL_DATA_OUT = 0;
inline constexpr std::uint8_t SCSI_IOCTL_DATA_IN = 1;
inline constexpr std::uint32_t kFixedMedia = 12; // MEDIA_TYPE FixedMedia

// STORAGE_BUS_TYPE
inline constexpr std::uint32_t kBusTypeScsi = 1;
inline constexpr std::uint32_t kBusTypeFibre = 6;
inline constexpr std::uint32_t kBusTypeUsb = 7;
inline constexpr std::uint32_t kBusTypeIscsi = 9;
inline constexpr std::uint32_t kBusTypeSas = 10;
inline constexpr std::uint32_t kBusTypeNvme = 17;

#pragma pack(push, 1)

/// The ATA registers, in the order of a task file.
struct IDEREGS {
    std::uint8_t bFeaturesReg;
    std::uint8_t bSectorCountReg;
    std::uint8_t bSectorNumberReg;
    std::uint8_t bCylLowReg;
    std::uint8_t bCylHighReg;
    std::uint8_t bDriveHeadReg;
    std::uint8_t bCommandReg;
    std::uint8_t bReserved;
};
static_assert(sizeof(IDEREGS) == 8);

struct ATA_PASS_THROUGH_EX {
    std::uint16_t Length;
    std::uint16_t AtaFlags;
    std::uint8_t PathId;
    std::uint8_t TargetId;
    std::uint8_t Lun;
    std::uint8_t ReservedAsUchar;
    std::uint32_t DataTransferLength;
    std::uint32_t TimeOutValue; ///< seconds
    std::uint32_t ReservedAsUlong;
    std::uint32_t DataBufferOffset;
    IDEREGS PreviousTaskFile;
    IDEREGS CurrentTaskFile;
};
static_assert(sizeof(ATA_PASS_THROUGH_EX) == 40 && offsetof(ATA_PASS_THROUGH_EX, DataTransferLength) == 8 &&
              offsetof(ATA_PASS_THROUGH_EX, DataBufferOffset) == 20 &&
              offsetof(ATA_PASS_THROUGH_EX, CurrentTaskFile) == 32);

/// Input of the SMART control codes without its buffer, of which SMART_RCV_DRIVE_DATA sends one byte more.
struct SENDCMDINPARAMS {
    std::uint32_t cBufferSize;
    IDEREGS irDriveRegs;
    std::uint8_t bDriveNumber;
    std::uint8_t bReserved[3];
    std::uint32_t dwReserved[4];
};
static_assert(sizeof(SENDCMDINPARAMS) == 32 && offsetof(SENDCMDINPARAMS, bDriveNumber) == 12);

/// Output of the SMART control codes; the data follow it.
struct SENDCMDOUTPARAMS {
    std::uint32_t cBufferSize;
    std::uint8_t bDriverError;
    std::uint8_t bIDEError;
    std::uint8_t bReserved[2];
    std::uint32_t dwReserved[2];
};
static_assert(sizeof(SENDCMDOUTPARAMS) == 16);

struct SCSI_PASS_THROUGH {
    std::uint16_t Length;
    std::uint8_t ScsiStatus;
    std::uint8_t PathId;
    std::uint8_t TargetId;
    std::uint8_t Lun;
    std::uint8_t CdbLength;
    std::uint8_t SenseInfoLength;
    std::uint8_t DataIn;
    std::uint8_t padding[3];
    std::uint32_t DataTransferLength;
    std::uint32_t TimeOutValue; ///< seconds
    std::uint32_t DataBufferOffset;
    std::uint32_t SenseInfoOffset;
    std::uint8_t Cdb[16];
};
static_assert(sizeof(SCSI_PASS_THROUGH) == 44 && offsetof(SCSI_PASS_THROUGH, CdbLength) == 6 &&
              offsetof(SCSI_PASS_THROUGH, DataTransferLength) == 12 &&
              offsetof(SCSI_PASS_THROUGH, Cdb) == 28);

/// The head of every block of IOCTL_SCSI_MINIPORT; Length counts what follows it.
struct SRB_IO_CONTROL {
    std::uint32_t HeaderLength;
    char Signature[8];
    std::uint32_t Timeout; ///< seconds
    std::uint32_t ControlCode;
    std::uint32_t ReturnCode;
    std::uint32_t Length;
};
static_assert(sizeof(SRB_IO_CONTROL) == 28 && offsetof(SRB_IO_CONTROL, Timeout) == 12);

struct SCSI_ADDRESS {
    std::uint32_t Length;
    std::uint8_t PortNumber;
    std::uint8_t PathId;
    std::uint8_t TargetId;
    std::uint8_t Lun;
};
static_assert(sizeof(SCSI_ADDRESS) == 8);

struct DISK_GEOMETRY {
    std::int64_t Cylinders;
    std::uint32_t MediaType;
    std::uint32_t TracksPerCylinder;
    std::uint32_t SectorsPerTrack;
    std::uint32_t BytesPerSector;
};
static_assert(sizeof(DISK_GEOMETRY) == 24);

struct STORAGE_PREDICT_FAILURE {
    std::uint32_t PredictFailure;
    std::uint8_t VendorSpecific[512]; ///< the SMART READ DATA block
};
static_assert(sizeof(STORAGE_PREDICT_FAILURE) == 516);

/// Input of IOCTL_STORAGE_QUERY_PROPERTY, with the protocol's part for the property 49 or 50.
struct STORAGE_PROPERTY_QUERY {
    std::uint32_t PropertyId;
    std::uint32_t QueryType;
    std::uint32_t ProtocolType;
    std::uint32_t DataType;
    std::uint32_t ProtocolDataRequestValue;
    std::uint32_t ProtocolDataRequestSubValue;
    std::uint32_t ProtocolDataOffset; ///< from ProtocolType on
    std::uint32_t ProtocolDataLength;
    std::uint32_t FixedProtocolReturnData;
    std::uint32_t Reserved[3];
};
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 48 && offsetof(STORAGE_PROPERTY_QUERY, DataType) == 12 &&
              offsetof(STORAGE_PROPERTY_QUERY, ProtocolDataOffset) == 24);

struct STORAGE_DEVICE_DESCRIPTOR {
    std::uint32_t Version;
    std::uint32_t Size;
    std::uint8_t DeviceType;
    std::uint8_t DeviceTypeModifier;
    std::uint8_t RemovableMedia;
    std::uint8_t CommandQueueing;
    std::uint32_t VendorIdOffset; ///< of a narrow text in the block, 0 for none, as the three below
    std::uint32_t ProductIdOffset;
    std::uint32_t ProductRevisionOffset;
    std::uint32_t SerialNumberOffset;
    std::uint32_t BusType;
    std::uint32_t RawPropertiesLength;
};
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) == 36 && offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType) == 28);

struct DISK_PERFORMANCE {
    std::int64_t BytesRead;
    std::int64_t BytesWritten;
    std::int64_t ReadTime; ///< 100 ns, as the two below
    std::int64_t WriteTime;
    std::int64_t IdleTime;
    std::uint32_t ReadCount;
    std::uint32_t WriteCount;
    std::uint32_t QueueDepth;
    std::uint32_t SplitCount;
    std::int64_t QueryTime;
    std::uint32_t StorageDeviceNumber;
    std::uint16_t StorageManagerName[8];
    std::uint32_t padding;
};
static_assert(sizeof(DISK_PERFORMANCE) == 88 && offsetof(DISK_PERFORMANCE, QueryTime) == 56);

struct DISK_EXTENT {
    std::uint32_t DiskNumber;
    std::uint32_t padding;
    std::int64_t StartingOffset;
    std::int64_t ExtentLength; ///< bytes
};
static_assert(sizeof(DISK_EXTENT) == 24 && offsetof(DISK_EXTENT, StartingOffset) == 8 &&
              offsetof(DISK_EXTENT, ExtentLength) == 16);

/// Room for four extents, as the answer is asked for.
struct VOLUME_DISK_EXTENTS {
    std::uint32_t NumberOfDiskExtents;
    std::uint32_t padding;
    DISK_EXTENT Extents[4];
};
static_assert(sizeof(VOLUME_DISK_EXTENTS) == 104 && offsetof(VOLUME_DISK_EXTENTS, Extents) == 8);

#pragma pack(pop)

} // namespace orv::platform
