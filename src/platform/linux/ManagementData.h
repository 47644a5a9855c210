#pragma once

#include "platform/ManagementData.h"
#include "platform/linux/RootedFiles.h"

namespace orv::platform {

/// Answers the library's own set of queries: Win32_PhysicalMemory from the firmware's SMBIOS table, which
/// only the superuser may read.
class LinuxManagementData : public ManagementData {
  public:
    explicit LinuxManagementData(const RootedFiles& files) : files_(files) {}

    ErrorCode initialize() override { return kSuccess; }
    void uninitialize() override {}
    ErrorCode initializeSecurity() override { return kSuccess; }
    Result<std::unique_ptr<ManagementLocator>> createLocator() override;

  private:
    const RootedFiles& files_;
};

} // namespace orv::platform
