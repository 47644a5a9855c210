#pragma once

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"
#include "platform/servers/BatteryServer.h"

namespace orv::platform {

class Node;

/// Section "batteries" of a machine file (docs/machine/battery.md): batteries that can change or vanish with
/// the clock.
class MachineBatteries {
  public:
    MachineBatteries(const Node& root, const MachineClock& clock);

    /// Numbers of the batteries that are there now.
    std::vector<std::size_t> present() const;
    /// Null when the battery is not there now.
    const BatteryFacts* facts(std::size_t number) const;

  private:
    struct Stage {
        std::int64_t fromNs = 0;
        bool present = true;
        BatteryFacts facts;
    };
    using Stages = std::vector<Stage>; // in the order of time

    const MachineClock& clock_;
    std::vector<Stages> batteries_;
};

/// The interfaces of the battery class, "battery0" and so on; no other class has a device.
class MachineDeviceTree : public DeviceTree {
  public:
    MachineDeviceTree(const MachineBatteries& batteries, Requests& requests)
        : batteries_(batteries), requests_(requests) {}
    Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) override;
    Result<std::unique_ptr<Devices>> devicesOf(const Guid& setupClass) override;

  private:
    const MachineBatteries& batteries_;
    Requests& requests_;
};

class MachineDeviceFiles : public DeviceFiles {
  public:
    MachineDeviceFiles(const MachineBatteries& batteries, Requests& requests)
        : batteries_(batteries), requests_(requests) {}
    Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path, const DeviceOpening& opening) override;
    ErrorCode defineDosDevice(std::wstring_view name, std::wstring_view target) override;

  private:
    const MachineBatteries& batteries_;
    Requests& requests_;
};

} // namespace orv::platform
