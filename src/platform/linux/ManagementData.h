#pragma once

#include "platform/ManagementData.h"
#include "platform/linux/drives/DiskInventory.h"

namespace orv::platform {

/// Answers the library's own set of queries: Win32_PhysicalMemory from the firmware's SMBIOS table, which
/// only the superuser may read, and the classes of disks and their controllers from sysfs.
class LinuxManagementData : public ManagementData {
  public:
    LinuxManagementData(const RootedFiles& files, DiskInventory& disks) : files_(files), disks_(disks) {}

    ErrorCode initialize() override { return kSuccess; }
    void uninitialize() override {}
    ErrorCode initializeSecurity() override { return kSuccess; }
    Result<std::unique_ptr<ManagementLocator>> createLocator() override;

  private:
    const RootedFiles& files_;
    DiskInventory& disks_;
};

} // namespace orv::platform
