#pragma once

// Blocks of the Common Storage Management Interface (CSMI, revision 0.8), which a port's miniport driver
// takes by IOCTL_SCSI_MINIPORT. Everything is little endian but the SAS addresses.

#include "platform/records/StorageRecords.h"

namespace orv::platform {

inline constexpr std::uint32_t CC_CSMI_SAS_GET_DRIVER_INFO = 1;
inline constexpr std::uint32_t CC_CSMI_SAS_GET_RAID_INFO = 10;
inline constexpr std::uint32_t CC_CSMI_SAS_GET_RAID_CONFIG = 11;
inline constexpr std::uint32_t CC_CSMI_SAS_GET_PHY_INFO = 20;
inline constexpr std::uint32_t CC_CSMI_SAS_STP_PASSTHRU = 25;

inline constexpr char CSMI_ALL_SIGNATURE[9] = "CSMIALL";
inline constexpr char CSMI_RAID_SIGNATURE[9] = "CSMIARY";
inline constexpr char CSMI_SAS_SIGNATURE[9] = "CSMISAS";

inline constexpr std::uint32_t CSMI_SAS_STP_READ = 0x01;
inline constexpr std::uint32_t CSMI_SAS_STP_UNSPECIFIED = 0x04;
inline constexpr std::uint32_t CSMI_SAS_STP_PIO = 0x10;

/// Entries of the phy table.
inline constexpr std::size_t kCsmiPhys = 32;

using IOCTL_HEADER = SRB_IO_CONTROL;

#pragma pack(push, 1)

struct CSMI_SAS_DRIVER_INFO_BUFFER {
    IOCTL_HEADER IoctlHeader;
    char szName[81];
    char szDescription[81];
    std::uint16_t usMajorRevision;
    std::uint16_t usMinorRevision;
    std::uint16_t usBuildRevision;
    std::uint16_t usReleaseRevision;
    std::uint16_t usCSMIMajorRevision;
    std::uint16_t usCSMIMinorRevision;
};
static_assert(sizeof(CSMI_SAS_DRIVER_INFO_BUFFER) == 202 &&
              offsetof(CSMI_SAS_DRIVER_INFO_BUFFER, usMajorRevision) == 190);

struct CSMI_SAS_RAID_INFO_BUFFER {
    IOCTL_HEADER IoctlHeader;
    std::uint32_t uNumRaidSets;
    std::uint32_t uMaxDrivesPerSet;
    std::uint32_t uMaxRaidSets;
    std::uint8_t bMaxRaidTypes;
    std::uint8_t bReservedByteFields[7];
    std::uint64_t ulMinRaidSetBlocks;
    std::uint64_t ulMaxRaidSetBlocks;
    std::uint32_t uMaxPhysicalDrives;
    std::uint32_t uMaxExtents;
    std::uint32_t uMaxModules;
    std::uint32_t uMaxTransformationMemory;
    std::uint32_t uChangeCount;
    std::uint8_t bReserved[44];
};
static_assert(sizeof(CSMI_SAS_RAID_INFO_BUFFER) == 128 &&
              offsetof(CSMI_SAS_RAID_INFO_BUFFER, uMaxDrivesPerSet) == 32 &&
              offsetof(CSMI_SAS_RAID_INFO_BUFFER, uMaxPhysicalDrives) == 64);

struct CSMI_SAS_RAID_DRIVES {
    char bModel[40];
    char bFirmware[8];
    char bSerialNumber[40];
    std::uint8_t bSASAddress[8];
    std::uint8_t bSASLun[8];
    std::uint8_t bDriveStatus;
    std::uint8_t bDriveUsage;
    std::uint16_t usBlockSize;
    std::uint8_t bDriveType;
    std::uint8_t bReserved[15];
    std::uint32_t uDriveIndex;
    std::uint64_t ulTotalUserBlocks;
};
static_assert(sizeof(CSMI_SAS_RAID_DRIVES) == 136 && offsetof(CSMI_SAS_RAID_DRIVES, bSASAddress) == 88);

struct CSMI_SAS_RAID_CONFIG_BUFFER {
    IOCTL_HEADER IoctlHeader;
    std::uint32_t uRaidSetIndex;
    std::uint32_t uCapacity;
    std::uint32_t uStripeSize;
    std::uint8_t bRaidType;
    std::uint8_t bStatus;
    std::uint8_t bInformation;
    std::uint8_t bDriveCount;
    std::uint8_t bReserved[20];
    CSMI_SAS_RAID_DRIVES Drives[1]; ///< as many as there is room for
};
static_assert(sizeof(CSMI_SAS_RAID_CONFIG_BUFFER) == 200 &&
              offsetof(CSMI_SAS_RAID_CONFIG_BUFFER, uRaidSetIndex) == 28 &&
              offsetof(CSMI_SAS_RAID_CONFIG_BUFFER, Drives) == 64);

struct CSMI_SAS_IDENTIFY {
    std::uint8_t bDeviceType;
    std::uint8_t bRestricted;
    std::uint8_t bInitiatorPortProtocol;
    std::uint8_t bTargetPortProtocol;
    std::uint8_t bRestricted2[8];
    std::uint8_t bSASAddress[8];
    std::uint8_t bPhyIdentifier;
    std::uint8_t bSignalClass;
    std::uint8_t bReserved[6];
};
static_assert(sizeof(CSMI_SAS_IDENTIFY) == 28);

struct CSMI_SAS_PHY_ENTITY {
    CSMI_SAS_IDENTIFY Identify;
    std::uint8_t bPortIdentifier;
    std::uint8_t bNegotiatedLinkRate;
    std::uint8_t bMinimumLinkRate;
    std::uint8_t bMaximumLinkRate;
    std::uint8_t bPhyChangeCount;
    std::uint8_t bAutoDiscover;
    std::uint8_t bPhyFeatures;
    std::uint8_t bReserved;
    CSMI_SAS_IDENTIFY Attached;
};
static_assert(sizeof(CSMI_SAS_PHY_ENTITY) == 64 && offsetof(CSMI_SAS_PHY_ENTITY, bPortIdentifier) == 28 &&
              offsetof(CSMI_SAS_PHY_ENTITY, Attached.bSASAddress) == 48 &&
              offsetof(CSMI_SAS_PHY_ENTITY, Attached.bPhyIdentifier) == 56);

struct CSMI_SAS_PHY_INFO_BUFFER {
    IOCTL_HEADER IoctlHeader;
    std::uint8_t bNumberOfPhys;
    std::uint8_t bReserved[3];
    CSMI_SAS_PHY_ENTITY Phy[kCsmiPhys];
};
static_assert(sizeof(CSMI_SAS_PHY_INFO_BUFFER) == 2080 && offsetof(CSMI_SAS_PHY_INFO_BUFFER, Phy) == 32);

struct CSMI_SAS_STP_PASSTHRU {
    std::uint8_t bPhyIdentifier;
    std::uint8_t bPortIdentifier;
    std::uint8_t bConnectionRate;
    std::uint8_t bReserved;
    std::uint8_t bDestinationSASAddress[8];
    std::uint8_t bReserved2[4];
    std::uint8_t bCommandFIS[20];
    std::uint32_t uFlags;
    std::uint32_t uDataLength;
};
static_assert(sizeof(CSMI_SAS_STP_PASSTHRU) == 44 && offsetof(CSMI_SAS_STP_PASSTHRU, bCommandFIS) == 16);

struct CSMI_SAS_STP_PASSTHRU_STATUS {
    std::uint8_t bConnectionStatus;
    std::uint8_t bReserved[3];
    std::uint8_t bStatusFIS[20];
    std::uint32_t uSCR[16];
    std::uint32_t uDataBytes;
};

struct CSMI_SAS_STP_PASSTHRU_BUFFER {
    IOCTL_HEADER IoctlHeader;
    CSMI_SAS_STP_PASSTHRU Parameters;
    CSMI_SAS_STP_PASSTHRU_STATUS Status;
    std::uint8_t bDataBuffer[4]; ///< as many as there is room for, and four more
};
static_assert(sizeof(CSMI_SAS_STP_PASSTHRU_BUFFER) == 168 &&
              offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, Parameters) == 28 &&
              offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, bDataBuffer) == 164);

#pragma pack(pop)

} // namespace orv::platform
