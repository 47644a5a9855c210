#pragma once

#include "platform/linux/drives/DiskInventory.h"

namespace orv::platform {

// STORAGE_BUS_TYPE, as far as sysfs tells them apart
inline constexpr std::uint32_t kBusScsi = 1;
inline constexpr std::uint32_t kBusAta = 3;
inline constexpr std::uint32_t kBus1394 = 4;
inline constexpr std::uint32_t kBusUsb = 7;
inline constexpr std::uint32_t kBusIscsi = 9;
inline constexpr std::uint32_t kBusSas = 10;
inline constexpr std::uint32_t kBusSata = 11;
inline constexpr std::uint32_t kBusSd = 12;
inline constexpr std::uint32_t kBusMmc = 13;
inline constexpr std::uint32_t kBusNvme = 17;

/// The numbers in a namespace's name "nvmeCnN".
struct NvmeNumbers {
    std::uint64_t controller; ///< of the subsystem where the kernel gathers several paths
    std::uint64_t space;
};
std::optional<NvmeNumbers> nvmeNumbers(std::string_view name);

/// Folder of sysfs of an NVMe controller.
std::string nvmeControllerFolder(std::uint64_t number);
DriveNode nvmeControllerNode(const RootedFiles& files, std::uint64_t controller);
DriveNode diskNode(const RootedFiles& files, const std::string& name);

/// True for the name "nvmeCcKnN" of a hidden path to a namespace "nvmeCnN".
bool isPathOf(const NvmeNumbers& space, std::string_view name);

DiskFacts readDiskFacts(const RootedFiles& files, const std::string& name);
std::string nvmeFirmware(const RootedFiles& files, std::uint32_t controller);
CommandWay readCommandWay(const RootedFiles& files, const std::string& name);

/// What tells a disk from any other, at another time and under another name: its worldwide name, model and
/// serial number; without a worldwide name where it hangs too. A disk of which nothing of that is sure to be
/// its own is the same only as long as it stays, where the kernel counts its disks (5.15).
std::string diskIdentity(const RootedFiles& files, const std::string& name);

} // namespace orv::platform
