#pragma once

// The functions of AMD_RC2t7x86.dll, AMD's library for drives behind its RAID driver. They are __cdecl.

#include <cstddef>
#include <cstdint>

namespace orv::platform::rc2 {

inline constexpr wchar_t kLibraryName[] = L"AMD_RC2t7x86.dll";

#pragma pack(push, 1)

/// What `AMD_RC2_GetIdentify` fills in. The texts end in a NUL.
struct IdentifyBlock {
    std::uint32_t size; ///< of this block, in, with the two below
    std::uint32_t version;
    std::uint32_t index;
    std::uint32_t physicalId;
    std::uint8_t reserved[8];
    std::uint32_t diskSize; ///< megabytes
    std::uint8_t ssd;
    std::uint8_t nvme;
    std::uint8_t reserved2[2];
    char model[41];
    char serialNumber[21];
    char firmware[9];
    char description[153]; ///< of the link, up to 60 characters
};
static_assert(sizeof(IdentifyBlock) == 256 && offsetof(IdentifyBlock, physicalId) == 12 &&
              offsetof(IdentifyBlock, diskSize) == 24 && offsetof(IdentifyBlock, nvme) == 29 &&
              offsetof(IdentifyBlock, model) == 32 && offsetof(IdentifyBlock, serialNumber) == 73 &&
              offsetof(IdentifyBlock, firmware) == 94 && offsetof(IdentifyBlock, description) == 103);

#pragma pack(pop)

using Init = std::int32_t (*)(); ///< a status
using GetStatus = std::int32_t (*)();
using GetDrives = std::int32_t (*)(); ///< their number
using Reload = std::int32_t (*)();
using GetIdentify = std::int32_t (*)(IdentifyBlock* block); ///< 0 for a failure, as the next one
using GetSmartData = std::int32_t (*)(std::uint32_t index, std::uint8_t* data, std::uint32_t dataBytes,
                                      std::uint8_t* thresholds, std::uint32_t thresholdBytes);

} // namespace orv::platform::rc2
