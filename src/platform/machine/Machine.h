#pragma once

#include "platform/FaultTrap.h"
#include "platform/PlatformOf.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/MachineDevices.h"
#include "platform/machine/MachineManagement.h"
#include "platform/machine/MachineSmbus.h"
#include "platform/machine/MachineSystem.h"
#include "platform/machine/Node.h"
#include "platform/machine/Requests.h"
#include "platform/machine/drives/MachineDrives.h"
#include "platform/machine/drives/MachineRaid.h"
#include "platform/machine/drives/MachineVolumes.h"
#include "platform/machine/graphics/MachineGraphics.h"
#include "platform/machine/network/MachineNetwork.h"
#include "platform/machine/network/MachineRegistry.h"
#include "platform/machine/processor/MachineCounters.h"
#include "platform/machine/processor/MachineProcessor.h"
#include "platform/machine/processor/MachineRing0.h"

#include <memory>
#include <string>
#include <string_view>

namespace orv::platform {

/// What a machine file describes. Members are read from the file in this order.
struct MachineServices {
    explicit MachineServices(const Node& root);

    std::string name;
    Requests requests;
    MachineClock clock;
    MachineSystemFacts systemFacts;
    std::unique_ptr<FaultTrap> hostFaultTrap = makeHostFaultTrap();
    FaultTrap& faultTrap = *hostFaultTrap; // a planned fault is a real one
    MachineNetworkTables networkTables;
    MachineNvidia nvidia;
    MachineAmd amd;
    MachineAmdRc2 amdRc2;
    MachineLibraries libraries{amd, amdRc2, requests};
    MachineGraphicsSdk graphicsSdk{nvidia, requests};
    MachineProcesses processes{nvidia, requests};
    MachineProcessor processor;
    MachineRing0 ring0;
    MachineNamedMutexes namedMutexes;
    MachineTimers timers{requests, clock};
    MachinePerformanceCounters performanceCounters;
    MachineSystemServices systemServices;
    MachineDrives drives;
    MachineRaid raid;
    MachineVolumes volumes;
    MachineManagementData managementData;
    MachineSmbus smbus;
    MachineBatteries batteries;
    MachineDeviceTree deviceTree{batteries, drives, requests};
    MachineDeviceFiles deviceFiles{batteries, drives, raid, volumes, requests};
    MachineRegistry registry{networkTables.cards(), requests};
    MachinePrivileges privileges{requests};
};

/// A machine described in a file (docs/machine-files.md): deterministic, with a clock that can be moved and a
/// record of the requests that reached it.
class Machine : public PlatformOf<MachineServices> {
  public:
    /// Both throw MachineFileError with file, place and reason.
    static std::unique_ptr<Machine> fromFile(const std::string& path);
    static std::unique_ptr<Machine> fromText(std::string_view text);

    const std::string& name() const { return services_.name; }
    Requests& requests() { return services_.requests; }
    MachineClock& machineClock() { return services_.clock; }
    MachineProcessor& processor() override { return services_.processor; }
    MachineRing0& ring0() override { return services_.ring0; }

  private:
    using PlatformOf::PlatformOf;
};

} // namespace orv::platform
