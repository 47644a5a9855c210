#pragma once

#include <memory>

namespace orv::platform {

class Clock;
class DeviceFiles;
class DeviceTree;
class FaultTrap;
class GraphicsSdk;
class Libraries;
class ManagementData;
class NamedMutexes;
class NetworkTables;
class PerformanceCounters;
class Privileges;
class Processes;
class Processor;
class Registry;
class Ring0;
class SystemFacts;
class SystemServices;
class Timers;

/// What the logic asks of a system, one service an operation. Each service lives as long as the platform.
class Platform {
  public:
    virtual ~Platform() = default;

    virtual SystemFacts& systemFacts() = 0;
    virtual FaultTrap& faultTrap() = 0;
    virtual Clock& clock() = 0;
    virtual NetworkTables& networkTables() = 0;
    virtual Libraries& libraries() = 0;
    virtual GraphicsSdk& graphicsSdk() = 0;
    virtual Processes& processes() = 0;
    virtual Processor& processor() = 0;
    virtual Ring0& ring0() = 0;
    virtual NamedMutexes& namedMutexes() = 0;
    virtual Timers& timers() = 0;
    virtual PerformanceCounters& performanceCounters() = 0;
    virtual ManagementData& managementData() = 0;
    virtual DeviceTree& deviceTree() = 0;
    virtual DeviceFiles& deviceFiles() = 0;
    virtual Registry& registry() = 0;
    virtual Privileges& privileges() = 0;
    virtual SystemServices& systemServices() = 0;
};

/// The platform that this build runs on. Opens nothing.
std::unique_ptr<Platform> makeHostPlatform();

/// The platform in use. The library's load code sets the host's; the tool and the tests may set another one
/// before first use. The caller keeps `next` alive.
Platform& current();
void use(Platform& next);

} // namespace orv::platform
