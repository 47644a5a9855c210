#pragma once

#include <cstdint>

namespace orv {

using BOOL = std::int32_t; ///< 0 or 1

/// How a drive is attached. 5 is not in use.
enum InterfaceType : std::uint32_t {
    INTERFACE_TYPE_UNKNOWN = 0,
    INTERFACE_TYPE_PATA = 1,
    INTERFACE_TYPE_SATA = 2,
    INTERFACE_TYPE_USB = 3,
    INTERFACE_TYPE_IEEE1394 = 4,
    INTERFACE_TYPE_NVME = 6,
};

/// The dialect of a drive's attributes (`DiskVendorId`): which interpretation its values get.
enum DiskVendor : std::uint32_t {
    VENDOR_GENERAL = 0, ///< a hard disk, or no dialect known
    VENDOR_GENERAL_SSD = 1,
    VENDOR_MTRON = 2,
    VENDOR_INDILINX = 3,
    VENDOR_JMICRON = 4,
    VENDOR_INTEL = 5,
    VENDOR_SAMSUNG = 6,
    VENDOR_SANDFORCE = 7,
    VENDOR_MICRON = 8,
    VENDOR_OCZ = 9,
    VENDOR_SEAGATE = 10,
    VENDOR_WDC = 11,
    VENDOR_PLEXTOR = 12,
    VENDOR_SANDISK = 13,
    VENDOR_OCZ_VECTOR = 14,
    VENDOR_TOSHIBA = 15,
    VENDOR_CORSAIR = 16,
    VENDOR_KINGSTON = 17,
    VENDOR_MICRON_MU03 = 18,
    VENDOR_NVME = 19,
    VENDOR_REALTEK = 20,
    VENDOR_SKHYNIX = 21,
    VENDOR_KIOXIA = 22,
    VENDOR_SSSTC = 23,
    VENDOR_INTEL_DC = 24,
    VENDOR_APACER = 25,
    VENDOR_SILICON_MOTION = 26,
    VENDOR_PHISON = 27,
    VENDOR_MARVELL = 28,
    VENDOR_MAXIOTEK = 29,
    VENDOR_YMTC = 30,
    VENDOR_SCY = 31,
    VENDOR_RECADATA = 42,
    VENDOR_SANDISK_DELL = 43,
    VENDOR_SANDISK_HP = 44,
    VENDOR_SANDISK_HP_VENUS = 45,
    VENDOR_SANDISK_LENOVO = 46,
    VENDOR_SANDISK_LENOVO_HELEN_VENUS = 47,
    VENDOR_SANDISK_CLOUD = 48,
};

/// Unit of the raw host counters (`HostReadsWritesUnit`).
enum HostUnit : std::uint32_t {
    HOST_UNIT_NONE = 0,
    HOST_UNIT_512B = 1, ///< sectors
    HOST_UNIT_1MB = 2,  ///< MiB
    HOST_UNIT_16MB = 3, ///< units of 16 MiB
    HOST_UNIT_32MB = 4, ///< units of 32 MiB
    HOST_UNIT_GB = 5,   ///< GiB
};

/// Unit of the power-on counter, attribute 9.
enum TimeUnit : std::uint32_t {
    TIME_UNIT_UNKNOWN = 0,
    TIME_UNIT_HOURS = 1,
    TIME_UNIT_MINUTES = 2,
    TIME_UNIT_HALF_MINUTES = 3,
    TIME_UNIT_SECONDS = 4,
    TIME_UNIT_10_MINUTES = 5,
    TIME_UNIT_INTEL = 6, ///< hours above an offset in the low 24 bits
};

/// Health of a drive (`DiskStatus`).
enum DiskHealth : std::uint32_t {
    DISK_STATUS_UNKNOWN = 0,
    DISK_STATUS_GOOD = 1,
    DISK_STATUS_CAUTION = 2,
    DISK_STATUS_BAD = 3,
};

inline constexpr std::int32_t kNoTemperature = -1000; ///< degrees Celsius
inline constexpr std::int32_t kNone = -1;             ///< hours, life, counters

} // namespace orv
