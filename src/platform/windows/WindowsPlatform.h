#pragma once

#include "platform/PlatformOf.h"
#include "platform/windows/ManagementData.h"
#include "platform/windows/Services.h"
#include "platform/windows/drives/DeviceServices.h"
#include "platform/windows/graphics/Graphics.h"
#include "platform/windows/processor/ProcessorServices.h"
#include "platform/windows/processor/Ring0.h"

namespace orv::platform {

struct WindowsServices {
    WindowsSystemFacts systemFacts;
    WindowsFaultTrap faultTrap;
    WindowsClock clock;
    WindowsNetworkTables networkTables;
    WindowsLibraries libraries;
    WindowsGraphicsSdk graphicsSdk;
    WindowsProcesses processes;
    WindowsProcessor processor;
    WindowsRing0 ring0;
    WindowsNamedMutexes namedMutexes;
    WindowsTimers timers;
    WindowsPerformanceCounters performanceCounters;
    WindowsManagementData managementData;
    WindowsDeviceTree deviceTree;
    WindowsDeviceFiles deviceFiles;
    WindowsRegistry registry;
    WindowsPrivileges privileges;
    WindowsSystemServices systemServices;
};

using WindowsPlatform = PlatformOf<WindowsServices>;

} // namespace orv::platform
