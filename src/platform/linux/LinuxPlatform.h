#pragma once

#include "platform/Platform.h"
#include "platform/linux/DeviceServices.h"
#include "platform/linux/GraphicsSdk.h"
#include "platform/linux/InterfaceNames.h"
#include "platform/linux/Libraries.h"
#include "platform/linux/ManagementData.h"
#include "platform/linux/NamedMutexes.h"
#include "platform/linux/NetworkTables.h"
#include "platform/linux/PerformanceCounters.h"
#include "platform/linux/Processor.h"
#include "platform/linux/Registry.h"
#include "platform/linux/Ring0.h"
#include "platform/linux/RootedFiles.h"
#include "platform/linux/Services.h"

#include <string>

namespace orv::platform {

/// The running system, or a captured tree of its files below `root`.
class LinuxPlatform : public Platform {
  public:
    explicit LinuxPlatform(std::string root = {}) : files_(std::move(root)) {}

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
    RootedFiles files_;
    InterfaceNames interfaceNames_{files_};
    LinuxSystemFacts systemFacts_{files_};
    LinuxFaultTrap faultTrap_;
    LinuxClock clock_;
    LinuxNetworkTables networkTables_{files_, interfaceNames_};
    LinuxLibraries libraries_{files_};
    LinuxGraphicsSdk graphicsSdk_{files_};
    LinuxProcesses processes_;
    LinuxProcessor processor_{files_};
    LinuxRing0 ring0_{files_};
    LinuxNamedMutexes namedMutexes_{files_};
    LinuxTimers timers_;
    LinuxPerformanceCounters performanceCounters_{files_};
    LinuxManagementData managementData_{files_};
    LinuxDeviceTree deviceTree_{files_};
    LinuxDeviceFiles deviceFiles_{files_};
    LinuxRegistry registry_{files_, interfaceNames_};
    LinuxPrivileges privileges_;
};

} // namespace orv::platform
