#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::platform {

// Control codes and records of a battery device (Windows driver kit, poclass.h). All values are 32-bit little
// endian; texts in answers are UTF-16.

inline constexpr std::uint32_t IOCTL_BATTERY_QUERY_TAG = 0x294040;
inline constexpr std::uint32_t IOCTL_BATTERY_QUERY_INFORMATION = 0x294044;
inline constexpr std::uint32_t IOCTL_BATTERY_QUERY_STATUS = 0x29404C;

// Bits of Capabilities.
inline constexpr std::uint32_t BATTERY_SYSTEM_BATTERY = 0x80000000;
inline constexpr std::uint32_t BATTERY_CAPACITY_RELATIVE = 0x40000000; // capacities are percent

// Rooms that the reader gives to text answers, in bytes: an enumeration allows more than an update. A longer
// text is a failed answer.
inline constexpr std::size_t kBatteryNameRoom = 1000;
inline constexpr std::size_t kBatteryIdRoom = 500;
inline constexpr std::size_t kBatteryUpdateNameRoom = 200;
inline constexpr std::size_t kBatteryUpdateIdRoom = 100;

// Bits of PowerState.
inline constexpr std::uint32_t BATTERY_POWER_ON_LINE = 1;
inline constexpr std::uint32_t BATTERY_DISCHARGING = 2;
inline constexpr std::uint32_t BATTERY_CHARGING = 4;
inline constexpr std::uint32_t BATTERY_CRITICAL = 8;

// What a battery answers for a value that it cannot tell.
inline constexpr std::uint32_t BATTERY_UNKNOWN_CAPACITY = 0xFFFFFFFF;
inline constexpr std::uint32_t BATTERY_UNKNOWN_VOLTAGE = 0xFFFFFFFF;
inline constexpr std::uint32_t BATTERY_UNKNOWN_TIME = 0xFFFFFFFF;
inline constexpr std::int32_t BATTERY_UNKNOWN_RATE = INT32_MIN;

/// BATTERY_QUERY_INFORMATION_LEVEL
enum BatteryLevel : std::int32_t {
    BatteryInformation = 0,
    BatteryTemperature = 2,   ///< tenths of a kelvin
    BatteryEstimatedTime = 3, ///< seconds
    BatteryDeviceName = 4,
    BatteryManufactureDate = 5,
    BatteryManufactureName = 6,
    BatteryUniqueID = 7,
    BatterySerialNumber = 8,
};

struct BATTERY_QUERY_INFORMATION {
    std::uint32_t BatteryTag;
    std::int32_t InformationLevel;
    std::int32_t AtRate;
};
static_assert(sizeof(BATTERY_QUERY_INFORMATION) == 12);

struct BATTERY_INFORMATION {
    std::uint32_t Capabilities;
    std::uint8_t Technology;
    std::uint8_t Reserved[3];
    std::uint8_t Chemistry[4];
    std::uint32_t DesignedCapacity; ///< mWh
    std::uint32_t FullChargedCapacity;
    std::uint32_t DefaultAlert1;
    std::uint32_t DefaultAlert2;
    std::uint32_t CriticalBias;
    std::uint32_t CycleCount;
};
static_assert(sizeof(BATTERY_INFORMATION) == 36 && offsetof(BATTERY_INFORMATION, DesignedCapacity) == 12 &&
              offsetof(BATTERY_INFORMATION, CriticalBias) == 28);

struct BATTERY_WAIT_STATUS {
    std::uint32_t BatteryTag;
    std::uint32_t Timeout;
    std::uint32_t PowerState;
    std::uint32_t LowCapacity;
    std::uint32_t HighCapacity;
};
static_assert(sizeof(BATTERY_WAIT_STATUS) == 20);

struct BATTERY_STATUS {
    std::uint32_t PowerState;
    std::uint32_t Capacity; ///< mWh
    std::uint32_t Voltage;  ///< mV
    std::int32_t Rate;      ///< mW, negative while discharging
};
static_assert(sizeof(BATTERY_STATUS) == 16 && offsetof(BATTERY_STATUS, Rate) == 12);

struct BATTERY_MANUFACTURE_DATE {
    std::uint8_t Day;
    std::uint8_t Month;
    std::uint16_t Year;
};
static_assert(sizeof(BATTERY_MANUFACTURE_DATE) == 4 && offsetof(BATTERY_MANUFACTURE_DATE, Year) == 2);

} // namespace orv::platform
