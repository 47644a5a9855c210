#pragma once

// How an NVMe command travels: in the storage query, in the blocks of a miniport driver (IOCTL_SCSI_MINIPORT,
// two layouts under three signatures), and the numbers of the commands (NVM Express 1.4, 5.15 and 5.14).

#include "platform/records/StorageRecords.h"

namespace orv::platform {

inline constexpr std::uint8_t kNvmeGetLogPage = 2;
inline constexpr std::uint8_t kNvmeIdentify = 6;
inline constexpr std::uint32_t kNvmeIdentifyNamespace = 0;  // CNS, in dword 10
inline constexpr std::uint32_t kNvmeIdentifyController = 1; // CNS
inline constexpr std::uint32_t kNvmeHealthLog = 2;          // log page identifier
inline constexpr std::uint32_t kNvmeAllNamespaces = 0xFFFFFFFF;
inline constexpr std::size_t kNvmeDataBytes = 4096;

// Property and data types of the storage query.
inline constexpr std::uint32_t kStorageAdapterProtocolSpecific = 49;
inline constexpr std::uint32_t kProtocolTypeNvme = 3;
inline constexpr std::uint32_t kNvmeDataTypeIdentify = 1;
inline constexpr std::uint32_t kNvmeDataTypeLogPage = 2;

#pragma pack(push, 1)

/// The storage query with room for what it asks for.
struct NvmeQueryBlock {
    STORAGE_PROPERTY_QUERY query;
    std::uint8_t data[kNvmeDataBytes];
};
static_assert(sizeof(NvmeQueryBlock) == 4144 && offsetof(NvmeQueryBlock, data) == 48);

/// Signatures "NvmeMini" and "NvmeRAID".
struct NvmeMiniportBlock {
    SRB_IO_CONTROL header;
    std::uint32_t vendor[6];
    std::uint32_t command[16]; ///< dwords of the submission queue entry
    std::uint32_t completion[4];
    std::uint32_t direction; ///< 2: device to host
    std::uint32_t queue;
    std::uint32_t dataLength;
    std::uint32_t metadataLength;
    std::uint32_t returnLength;
    std::uint8_t data[kNvmeDataBytes];
};
static_assert(sizeof(NvmeMiniportBlock) == 4248 && offsetof(NvmeMiniportBlock, command) == 52 &&
              offsetof(NvmeMiniportBlock, direction) == 132 && offsetof(NvmeMiniportBlock, data) == 152);

/// Signature "IntelNvm".
struct IntelNvmBlock {
    SRB_IO_CONTROL header;
    std::uint8_t version;
    std::uint8_t pathId;
    std::uint8_t reserved[2];
    std::uint32_t command[16];
    std::uint32_t completion[5];
    std::uint32_t dataOffset;
    std::uint32_t dataLength;
    std::uint32_t reserved2[10];
    std::uint8_t data[kNvmeDataBytes];
};
static_assert(sizeof(IntelNvmBlock) == 4260 && offsetof(IntelNvmBlock, command) == 32 &&
              offsetof(IntelNvmBlock, dataOffset) == 116 && offsetof(IntelNvmBlock, data) == 164);

#pragma pack(pop)

} // namespace orv::platform
