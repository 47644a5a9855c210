#pragma once

#include "platform/Platform.h"

#include <utility>

namespace orv::platform {

/// A platform whose services are the members of `Services`, each named as its getter. A side lists its
/// services once, in the order in which they need each other.
template <class Services>
class PlatformOf : public Platform {
  public:
    template <class... Args>
    explicit PlatformOf(Args&&... args) : services_(std::forward<Args>(args)...) {}

    SystemFacts& systemFacts() override { return services_.systemFacts; }
    FaultTrap& faultTrap() override { return services_.faultTrap; }
    Clock& clock() override { return services_.clock; }
    NetworkTables& networkTables() override { return services_.networkTables; }
    Libraries& libraries() override { return services_.libraries; }
    GraphicsSdk& graphicsSdk() override { return services_.graphicsSdk; }
    Processes& processes() override { return services_.processes; }
    Processor& processor() override { return services_.processor; }
    Ring0& ring0() override { return services_.ring0; }
    NamedMutexes& namedMutexes() override { return services_.namedMutexes; }
    Timers& timers() override { return services_.timers; }
    PerformanceCounters& performanceCounters() override { return services_.performanceCounters; }
    ManagementData& managementData() override { return services_.managementData; }
    DeviceTree& deviceTree() override { return services_.deviceTree; }
    DeviceFiles& deviceFiles() override { return services_.deviceFiles; }
    Registry& registry() override { return services_.registry; }
    Privileges& privileges() override { return services_.privileges; }
    SystemServices& systemServices() override { return services_.systemServices; }

  protected:
    Services services_;
};

} // namespace orv::platform
