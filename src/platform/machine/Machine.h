#pragma once

#include "platform/Platform.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/MachineDevices.h"
#include "platform/machine/MachineManagement.h"
#include "platform/machine/MachineNetwork.h"
#include "platform/machine/MachineRegistry.h"
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
    explicit Machine(const Node& root);

    std::string name_;
    Requests requests_;
    MachineClock clock_;
    MachineSystemFacts systemFacts_;
    MachineFaultTrap faultTrap_;
    MachineNetworkTables networkTables_;
    MachineManagementData managementData_;
    MachineBatteries batteries_;
    MachineDeviceTree deviceTree_;
    MachineDeviceFiles deviceFiles_;
    MachineRegistry registry_;
    MachinePrivileges privileges_;
};

} // namespace orv::platform
