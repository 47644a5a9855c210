#pragma once

#include "platform/ManagementData.h"

namespace orv::platform {

/// COM and WMI.
class WindowsManagementData : public ManagementData {
  public:
    ErrorCode initialize() override;
    void uninitialize() override;
    ErrorCode initializeSecurity() override;
    Result<std::unique_ptr<ManagementLocator>> createLocator() override;
};

} // namespace orv::platform
