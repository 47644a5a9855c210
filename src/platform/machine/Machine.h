#pragma once

#include "platform/Platform.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/MachineCounters.h"
#include "platform/machine/MachineDevices.h"
#include "platform/machine/MachineGraphics.h"
#include "platform/machine/MachineManagement.h"
#include "platform/machine/MachineNetwork.h"
#include "platform/machine/MachineProcessor.h"
#include "platform/machine/MachineRegistry.h"
#include "platform/machine/MachineRing0.h"
#include "platform/machine/MachineSmbus.h"
#include "platform/machine/MachineSystem.h"
#include "platform/machine/Node.h"
#include "platform/machine/Requests.h"

#include <string>
#include <string_view>

namespace orv::platform {

/// A machine described in a file (docs/machine-files.md): deterministic, with a clock that can be moved and a
/// record of the requests that reached it.
class Machine : public Platform {
  public:
    /// Both throw MachineFileError with file, place and reason.
    static std::unique_ptr<Machine> fromFile(const std::string& path);
    static std::unique_ptr<Machine> fromText(std::string_view text);

    const std::string& name() const { return name_; }
    Requests& requests() { return requests_; }
    MachineClock& machineClock() { return clock_; }
    /// Another side's mutexes in place of the described ones, to meet other processes on a real system.
    void useMutexes(NamedMutexes& other) { mutexesInUse_ = &other; }

    SystemFacts& systemFacts() override { return systemFacts_; }
    FaultTrap& faultTrap() override { return faultTrap_; }
    Clock& clock() override { return clock_; }
    NetworkTables& networkTables() override { return networkTables_; }
    Libraries& libraries() override { return libraries_; }
    GraphicsSdk& graphicsSdk() override { return graphicsSdk_; }
    Processes& processes() override { return processes_; }
    MachineProcessor& processor() override { return processor_; }
    MachineRing0& ring0() override { return ring0_; }
    NamedMutexes& namedMutexes() override { return *mutexesInUse_; }
    Timers& timers() override { return timers_; }
    PerformanceCounters& performanceCounters() override { return performanceCounters_; }
    ManagementData& managementData() override { return managementData_; }
    DeviceTree& deviceTree() override { return deviceTree_; }
    DeviceFiles& deviceFiles() override { return deviceFiles_; }
    Registry& registry() override { return registry_; }
    Privileges& privileges() override { return privileges_; }

  private:
    explicit Machine(const Node& root);

    std::string name_;
    Requests requests_;
    MachineClock clock_;
    MachineSystemFacts systemFacts_;
    MachineFaultTrap faultTrap_;
    MachineNetworkTables networkTables_;
    MachineNvidia nvidia_;
    MachineAmd amd_;
    MachineLibraries libraries_{amd_, requests_};
    MachineGraphicsSdk graphicsSdk_{nvidia_, requests_};
    MachineProcesses processes_{nvidia_, requests_};
    MachineProcessor processor_;
    MachineRing0 ring0_;
    MachineNamedMutexes namedMutexes_;
    NamedMutexes* mutexesInUse_ = &namedMutexes_;
    MachineTimers timers_;
    MachinePerformanceCounters performanceCounters_;
    MachineManagementData managementData_;
    MachineSmbus smbus_;
    MachineBatteries batteries_;
    MachineDeviceTree deviceTree_;
    MachineDeviceFiles deviceFiles_;
    MachineRegistry registry_;
    MachinePrivileges privileges_;
};

} // namespace orv::platform
