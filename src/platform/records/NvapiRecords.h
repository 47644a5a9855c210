#pragma once

// The part of NVAPI that is used: interface ids, statuses and records as NVIDIA's public SDK (R560) gives
// them. Only the fields that are read have a name of their own. Functions are __cdecl.

#include <cstddef>
#include <cstdint>

namespace orv::platform::nvapi {

using Status = std::int32_t;
using GpuHandle = void*;

inline constexpr Status kOk = 0;
inline constexpr Status kError = -1;
inline constexpr Status kLibraryNotFound = -2;
inline constexpr Status kNoImplementation = -3;
inline constexpr Status kExpectedPhysicalGpuHandle = -101;
inline constexpr Status kNotSupported = -104;
// No status of NVAPI's: the card is switched off to save power, and this would switch it on.
inline constexpr Status kCardSleeps = 10000;

inline constexpr std::uint32_t kInitialize = 0x0150E828;
inline constexpr std::uint32_t kEnumPhysicalGpus = 0xE5AC921F;
inline constexpr std::uint32_t kGetFullName = 0xCEEE8E9F;
inline constexpr std::uint32_t kGetThermalSettings = 0xE3640A56;
inline constexpr std::uint32_t kGetDynamicPstatesInfoEx = 0x60DED2ED;
inline constexpr std::uint32_t kGetMemoryInfo = 0x07F9B368;
inline constexpr std::uint32_t kGetErrorMessage = 0x6C2D048C;

inline constexpr std::size_t kMaxPhysicalGpus = 64;
inline constexpr std::size_t kShortStringSize = 64;
using ShortString = char[kShortStringSize];

// A record's version field holds its version above bit 15 and its size below.
inline constexpr std::uint32_t kThermalSettingsVersion = 0x10044;
inline constexpr std::uint32_t kDynamicPstatesVersion = 0x10048;
inline constexpr std::uint32_t kMemoryInfoVersion = 0x30020;
inline constexpr std::uint32_t kThermalSensors = 3;
inline constexpr std::uint32_t kAllThermalSensors = 15;
inline constexpr std::size_t kUtilizationDomains = 8; // the first is the graphics engine

struct ThermalSettings {
    struct Sensor {
        std::uint32_t other[3];
        std::int32_t currentTemp; // degrees Celsius
        std::uint32_t target;
    };
    std::uint32_t version;
    std::uint32_t count;
    Sensor sensor[kThermalSensors];
};
static_assert(sizeof(ThermalSettings) == (kThermalSettingsVersion & 0xFFFF));
static_assert(offsetof(ThermalSettings, sensor[0].currentTemp) == 20);

struct DynamicPstatesInfo {
    struct Domain {
        std::uint32_t isPresent;
        std::uint32_t percentage;
    };
    std::uint32_t version;
    std::uint32_t flags;
    Domain utilization[kUtilizationDomains];
};
static_assert(sizeof(DynamicPstatesInfo) == (kDynamicPstatesVersion & 0xFFFF));
static_assert(offsetof(DynamicPstatesInfo, utilization[0].percentage) == 12);

struct MemoryInfo {
    std::uint32_t version;
    std::uint32_t dedicatedVideoMemory; // kilobytes
    std::uint32_t other[6];
};
static_assert(sizeof(MemoryInfo) == (kMemoryInfoVersion & 0xFFFF));
static_assert(offsetof(MemoryInfo, dedicatedVideoMemory) == 4);

using InitializeFunction = Status (*)();
using EnumPhysicalGpusFunction = Status (*)(GpuHandle* handles, std::uint32_t* count);
using GetFullNameFunction = Status (*)(GpuHandle, char* name);
using GetThermalSettingsFunction = Status (*)(GpuHandle, std::uint32_t sensor, ThermalSettings*);
using GetDynamicPstatesFunction = Status (*)(GpuHandle, DynamicPstatesInfo*);
using GetMemoryInfoFunction = Status (*)(GpuHandle, MemoryInfo*);
using GetErrorMessageFunction = Status (*)(Status, char* text);

} // namespace orv::platform::nvapi
