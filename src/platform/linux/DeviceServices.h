#pragma once

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"
#include "platform/linux/drives/DiskInventory.h"
#include "platform/linux/files/PolledFolder.h"

namespace orv::platform {

/// The battery class: entries of /sys/class/power_supply, sorted by name. The path of an entry is its folder.
/// The setup class of SCSI adapters: the PCI functions of the storage classes, with what their links do.
class LinuxDeviceTree : public DeviceTree {
  public:
    LinuxDeviceTree(const RootedFiles& files, DiskInventory& disks);
    Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) override;
    Result<std::unique_ptr<Devices>> devicesOf(const Guid& setupClass) override;
    Result<std::unique_ptr<Devices>> devicesWith(const Guid& setupClass, std::wstring_view id) override;

  private:
    const RootedFiles& files_;
    PciFunctionFacts& pciFunctions_;
    PolledFolder supplies_;
};

class LinuxDeviceFiles : public DeviceFiles {
  public:
    LinuxDeviceFiles(const RootedFiles& files, DiskInventory& disks) : files_(files), disks_(disks) {}
    Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path, const DeviceOpening& opening) override;
    std::uint32_t driveType(std::wstring_view root) override;
    ErrorCode defineDosDevice(std::wstring_view name, std::wstring_view target) override;

  private:
    const RootedFiles& files_;
    DiskInventory& disks_;
};

} // namespace orv::platform
