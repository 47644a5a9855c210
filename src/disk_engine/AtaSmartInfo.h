#pragma once

#include "disk_engine/CommandPath.h"
#include "disk_engine/DiskTypes.h"
#include "disk_engine/SmartRecords.h"
#include "platform/Result.h"

#include <cstdint>
#include <string>

namespace orv {

/// Whether the drive gave its SMART data or health page when it was last asked, the first time included. Two
/// first readings that disagree are none, and such a drive is not asked again. No export tells it; whoever
/// shows a record's temperature, health or life looks here first.
struct DriveAnswering {
    bool answers = false;           ///< the latest reading gave data
    std::int64_t lastAnswerNs = -1; ///< monotonic clock at the latest data; -1: there were none
    platform::ErrorCode failure =
        platform::kSuccess; ///< why the latest reading gave none; kSuccess: nobody tells
};

/// The record of one drive (its variable is `asi`; the list is `vars`). It is copied and moved as a whole.
/// The starting values are those of a record that nothing was read into.
struct AtaSmartInfo {
    std::uint8_t Identify[kNvmeIdentifyBytes] =
        {}; ///< ATA IDENTIFY (512 bytes used) or NVMe Identify Controller
    std::uint8_t SmartReadData[kSmartBytes] = {}; ///< last SMART READ DATA, or the start of NVMe log page 2
    std::uint8_t SmartReadThreshold[kSmartBytes] = {}; ///< last SMART READ THRESHOLDS
    SMART_ATTRIBUTE Attribute[kSmartEntries] = {};     ///< compacted from SmartReadData
    SMART_THRESHOLD Threshold[kSmartEntries] = {};     ///< in the entry order of Attribute

    BOOL IsSmartEnabled = 0;
    BOOL IsIdInfoIncorrect = 0;
    BOOL IsSmartCorrect = 0;
    BOOL IsThresholdCorrect = 0;
    BOOL IsCheckSumError = 0; ///< the 512 identify bytes do not sum to 0 modulo 256
    BOOL IsWord88 = 0;
    BOOL IsWord64_76 = 0;
    BOOL IsRawValues8 = 0;
    BOOL IsRawValues7 = 0;
    BOOL Is9126MB = 0;
    BOOL IsThresholdBug = 0;
    BOOL IsSmartSupported = 0;
    BOOL IsLba48Supported = 0;
    BOOL IsAamSupported = 0;
    BOOL IsApmSupported = 0;
    BOOL IsAamEnabled = 0;
    BOOL IsApmEnabled = 0;
    BOOL IsNcqSupported = 0;
    BOOL IsNvCacheSupported = 0;
    BOOL IsDeviceSleepSupported = 0;
    BOOL IsStreamingSupported = 0;
    BOOL IsGplSupported = 0;
    BOOL IsMaxtorMinute = 0;
    BOOL IsSsd = 0;
    BOOL IsTrimSupported = 0;
    BOOL IsVolatileWriteCachePresent = 0;
    BOOL IsNVMe = 0;
    BOOL IsUasp = 0;

    std::int32_t PhysicalDriveId = -1; ///< -1: reached only through a port
    std::int32_t ScsiPort = -1;
    std::int32_t ScsiTargetId = -1;    ///< the device id for MegaRAID
    std::int32_t ScsiBus = -1;         ///< the drive index for CMD_TYPE_AMD_RC2
    std::int32_t SiliconImageType = 0; ///< controller model number, 0 when none

    std::uint32_t TotalDiskSize = 0; ///< megabytes of 1,000,000 bytes
    std::uint32_t Cylinder = 0;
    std::uint32_t Head = 0;
    std::uint32_t Sector = 0;
    std::uint32_t Sector28 = 0; ///< 28-bit sector count
    std::uint64_t Sector48 = 0; ///< 48-bit sector count
    std::uint64_t NumberOfSectors = 0;
    std::uint32_t DiskSizeChs = 0; ///< megabytes, as the two below
    std::uint32_t DiskSizeLba28 = 0;
    std::uint32_t DiskSizeLba48 = 0;
    std::uint32_t LogicalSectorSize = 512; ///< bytes
    std::uint32_t PhysicalSectorSize = 512;
    std::uint32_t DiskSizeWmi = 0; ///< megabytes, as the platform reports it
    std::uint32_t BufferSize = 0;  ///< bytes
    std::uint64_t NvCacheSize = 0; ///< bytes
    std::uint32_t TransferModeType = 0;
    std::uint32_t DetectedTimeUnitType = TIME_UNIT_UNKNOWN;
    std::uint32_t MeasuredTimeUnitType = TIME_UNIT_UNKNOWN;
    std::uint32_t AttributeCount = 0; ///< filled attribute entries; 0 when no SMART was read
    std::int32_t DetectedPowerOnHours = kNone;
    std::int32_t MeasuredPowerOnHours = kNone;
    std::int32_t PowerOnRawValue = kNone;
    std::int32_t PowerOnStartRawValue = kNone;
    std::uint32_t PowerOnCount = 0;
    std::int32_t Temperature = kNoTemperature; ///< degrees Celsius
    double TemperatureMultiplier = 1.0;
    std::uint32_t NominalMediaRotationRate = 0; ///< rotations a minute; 1: not rotating
    std::int32_t HostWrites = kNone;            ///< GiB, where HostReadsWritesUnit is right for the drive
    std::int32_t HostReads = kNone;
    std::int32_t GBytesErased = kNone;
    std::int32_t NandWrites = kNone;
    std::int32_t WearLevelingCount = kNone;
    std::int32_t Life = kNone; ///< percent left
    BOOL LifeIsRaw = 0;        ///< how the life attribute is read; set by the classification
    BOOL LifeIsRawInverted = 0;
    BOOL LifeHidden = 0;
    BOOL LifeIsRawHundredths = 0;
    BOOL LifeIsRawHighByte = 0;
    BOOL LifeIsCurrent = 0;
    std::uint32_t Major = 0; ///< ATA major version number
    std::uint32_t DiskStatus = DISK_STATUS_UNKNOWN;
    std::uint32_t DriveLetterMap = 0; ///< bit n: drive letter 'A' + n lies on this drive
    std::uint32_t InterfaceType = INTERFACE_TYPE_UNKNOWN;
    std::uint32_t CommandType = CMD_TYPE_UNKNOWN;
    std::uint32_t HostReadsWritesUnit = HOST_UNIT_NONE;
    std::uint32_t DiskVendorId = VENDOR_GENERAL;
    std::uint32_t UsbVendorId = 0; ///< 0 when not USB
    std::uint32_t UsbProductId = 0;
    std::uint8_t Target = 0; ///< 0xA0 or 0xB0, the ATA device select value

    std::uint16_t AlarmLimitReallocated = 0;   ///< of attribute 5
    std::uint16_t AlarmLimitPending = 0;       ///< of attribute 197
    std::uint16_t AlarmLimitUncorrectable = 0; ///< of attribute 198
    std::uint16_t AlarmLimitLife = 0;          ///< percent

    std::uint8_t sasPhyEntity[64] = {}; ///< the CSMI_SAS_PHY_ENTITY that reached the drive

    std::wstring SerialNumber;
    std::wstring SerialNumberReverse; ///< with each byte pair of the identify text swapped back
    std::wstring FirmwareRev;
    std::wstring FirmwareRevReverse;
    std::wstring Model;
    std::wstring ModelReverse;
    std::wstring ModelWmi;    ///< as the platform reports it
    std::wstring ModelSerial; ///< Model and SerialNumber without what a file's name cannot hold
    std::wstring DriveMap;    ///< "C: D:"
    std::wstring MaxTransferMode;
    std::wstring CurrentTransferMode;
    std::wstring MajorVersion;
    std::wstring MinorVersion;
    std::wstring Interface;         ///< "Serial ATA", "USB (Serial ATA)" ...
    std::wstring Enclosure;         ///< the USB device's friendly name
    std::wstring CommandTypeString; ///< two-letter code of CommandType
    std::wstring SsdVendorString;   ///< two-letter code of DiskVendorId
    std::wstring DeviceNominalFormFactor;
    std::wstring PnpDeviceId;  ///< upper case
    std::wstring SmartKeyName; ///< names the dialect, as DiskVendorId does not tell all of them apart

    DriveAnswering answering;
};

} // namespace orv
