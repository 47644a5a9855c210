#pragma once

// The part of ADL that is used, as AMD's public display library SDK gives it. Only the fields that are read
// have a name of their own. ADL's functions are __cdecl, the allocator that it is given is __stdcall.

#include <cstddef>
#include <cstdint>

#ifdef _WIN32
#define ORV_ADL_CALLBACK __stdcall
#else
#define ORV_ADL_CALLBACK
#endif

namespace orv::platform::adl {

using Status = int;
using Context = void*;
using Allocator = void*(ORV_ADL_CALLBACK*)(int size);

inline constexpr Status kOk = 0;
inline constexpr Status kError = -1;
inline constexpr Status kInvalidAdapterIndex = -5;
inline constexpr Status kNotSupported = -8;
// No status of ADL's: the card is switched off to save power, and this would switch it on.
inline constexpr Status kCardSleeps = 100;

inline constexpr int kMaxAdapters = 250; // ADL_MAX_ADAPTERS
inline constexpr std::size_t kTextSize = 256;

struct AdapterInfo {
    std::int32_t size;
    std::int32_t adapterIndex;
    char udid[kTextSize];
    std::int32_t busNumber;
    std::int32_t deviceNumber;
    std::int32_t functionNumber;
    std::int32_t vendorId;
    char adapterName[kTextSize]; // need not end in a NUL
    char other[1036];
};
static_assert(sizeof(AdapterInfo) == 1572);
static_assert(offsetof(AdapterInfo, busNumber) == 264 && offsetof(AdapterInfo, adapterName) == 280);

inline constexpr std::size_t kPmLogSensors = 256;
inline constexpr std::size_t kPmLogTemperature = 8; // degrees Celsius
inline constexpr std::size_t kPmLogActivity = 19;   // percent

struct PmLogData {
    struct Sensor {
        std::int32_t supported;
        std::int32_t value;
    };
    std::int32_t size; // sensors that the driver knows; may exceed the table
    Sensor sensors[kPmLogSensors];
};
static_assert(sizeof(PmLogData) == 2052);

struct Od5Temperature {
    std::int32_t size;
    std::int32_t temperature; // thousandths of a degree Celsius
};
static_assert(sizeof(Od5Temperature) == 8);

struct Od5Activity {
    std::int32_t other[4];
    std::int32_t activityPercent;
    std::int32_t rest[5];
};
static_assert(sizeof(Od5Activity) == 40 && offsetof(Od5Activity, activityPercent) == 16);

struct Od5Parameters {
    std::int32_t other[14];
};
static_assert(sizeof(Od5Parameters) == 56);

struct Od6Capabilities {
    std::int32_t capabilities;
    std::int32_t other[10];
};
static_assert(sizeof(Od6Capabilities) == 44);

// The first field of either memory record is the size in bytes.
struct MemoryInfo {
    std::int64_t memorySize;
    std::byte other[264];
};
static_assert(sizeof(MemoryInfo) == 272);

struct MemoryInfoX4 {
    std::int64_t memorySize;
    std::byte other[312];
};
static_assert(sizeof(MemoryInfoX4) == 320);

} // namespace orv::platform::adl
