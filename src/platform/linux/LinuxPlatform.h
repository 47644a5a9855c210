#pragma once

#include "platform/PlatformOf.h"
#include "platform/linux/DeviceServices.h"
#include "platform/linux/FaultTrap.h"
#include "platform/linux/Libraries.h"
#include "platform/linux/ManagementData.h"
#include "platform/linux/NamedMutexes.h"
#include "platform/linux/Services.h"
#include "platform/linux/drives/DiskInventory.h"
#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/graphics/GraphicsSdk.h"
#include "platform/linux/network/InterfaceNames.h"
#include "platform/linux/network/NetworkTables.h"
#include "platform/linux/network/Registry.h"
#include "platform/linux/processor/PerformanceCounters.h"
#include "platform/linux/processor/Processor.h"
#include "platform/linux/processor/ProcessorSet.h"
#include "platform/linux/processor/Ring0.h"

#include <string>

namespace orv::platform {

/// Every file below /proc, /sys and /dev is read below `root`; without one they are the running system's.
struct LinuxServices {
    explicit LinuxServices(std::string root = {}) : files(std::move(root)) {}

    RootedFiles files;
    InterfaceNames interfaceNames{files};
    LinuxSystemFacts systemFacts{files};
    LinuxFaultTrap faultTrap;
    LinuxClock clock;
    LinuxNetworkTables networkTables{files, interfaceNames};
    LinuxLibraries libraries{files};
    LinuxGraphicsSdk graphicsSdk{files};
    LinuxProcesses processes;
    ProcessorSet processors{files};
    LinuxProcessor processor{files, processors};
    LinuxRing0 ring0{files, processors};
    LinuxNamedMutexes namedMutexes{files};
    LinuxTimers timers;
    LinuxPerformanceCounters performanceCounters{files};
    DiskInventory disks{files};
    LinuxManagementData managementData{files, disks};
    LinuxDeviceTree deviceTree{files, disks};
    LinuxDeviceFiles deviceFiles{files, disks};
    LinuxRegistry registry{files, interfaceNames};
    LinuxPrivileges privileges{files};
    LinuxSystemServices systemServices;
};

/// The running system, or a captured tree of its files.
using LinuxPlatform = PlatformOf<LinuxServices>;

} // namespace orv::platform
