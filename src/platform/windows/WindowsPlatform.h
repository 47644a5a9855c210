#pragma once

#include "platform/Platform.h"
#include "platform/windows/DeviceServices.h"
#include "platform/windows/ManagementData.h"
#include "platform/windows/Services.h"

namespace orv::platform {

class WindowsPlatform : public Platform {
  public:
    SystemFacts& systemFacts() override { return systemFacts_; }
    FaultTrap& faultTrap() override { return faultTrap_; }
    Clock& clock() override { return clock_; }
    NetworkTables& networkTables() override { return networkTables_; }
    ManagementData& managementData() override { return managementData_; }
    DeviceTree& deviceTree() override { return deviceTree_; }
    DeviceFiles& deviceFiles() override { return deviceFiles_; }
    Registry& registry() override { return registry_; }
    Privileges& privileges() override { return privileges_; }

  private:
    WindowsSystemFacts systemFacts_;
    WindowsFaultTrap faultTrap_;
    WindowsClock clock_;
    WindowsNetworkTables networkTables_;
    WindowsManagementData managementData_;
    WindowsDeviceTree deviceTree_;
    WindowsDeviceFiles deviceFiles_;
    WindowsRegistry registry_;
    WindowsPrivileges privileges_;
};

} // namespace orv::platform
