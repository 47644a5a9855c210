#pragma once

#include "platform/Platform.h"
#include "platform/windows/DeviceServices.h"
#include "platform/windows/Graphics.h"
#include "platform/windows/ManagementData.h"
#include "platform/windows/ProcessorServices.h"
#include "platform/windows/Ring0.h"
#include "platform/windows/Services.h"

namespace orv::platform {

class WindowsPlatform : public Platform {
  public:
    SystemFacts& systemFacts() override { return systemFacts_; }
    FaultTrap& faultTrap() override { return faultTrap_; }
    Clock& clock() override { return clock_; }
    NetworkTables& networkTables() override { return networkTables_; }
    Libraries& libraries() override { return libraries_; }
    GraphicsSdk& graphicsSdk() override { return graphicsSdk_; }
    Processes& processes() override { return processes_; }
    Processor& processor() override { return processor_; }
    Ring0& ring0() override { return ring0_; }
    NamedMutexes& namedMutexes() override { return namedMutexes_; }
    Timers& timers() override { return timers_; }
    PerformanceCounters& performanceCounters() override { return performanceCounters_; }
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
    WindowsLibraries libraries_;
    WindowsGraphicsSdk graphicsSdk_;
    WindowsProcesses processes_;
    WindowsProcessor processor_;
    WindowsRing0 ring0_;
    WindowsNamedMutexes namedMutexes_;
    WindowsTimers timers_;
    WindowsPerformanceCounters performanceCounters_;
    WindowsManagementData managementData_;
    WindowsDeviceTree deviceTree_;
    WindowsDeviceFiles deviceFiles_;
    WindowsRegistry registry_;
    WindowsPrivileges privileges_;
};

} // namespace orv::platform
