#pragma once

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"
#include "platform/machine/drives/MachineDrives.h"
#include "platform/machine/drives/MachineRaid.h"
#include "platform/machine/drives/MachineVolumes.h"
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

/// The interfaces of the battery class, "battery0" and so on, and the controllers of drives; no other class
/// has a device.
class MachineDeviceTree : public DeviceTree {
  public:
    MachineDeviceTree(const MachineBatteries& batteries, const MachineDrives& drives, Requests& requests)
        : batteries_(batteries), drives_(drives), requests_(requests) {}
    Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) override;
    Result<std::unique_ptr<Devices>> devicesOf(const Guid& setupClass) override;

  private:
    const MachineBatteries& batteries_;
    const MachineDrives& drives_;
    Requests& requests_;
};

/// Batteries, drives, their ports, volumes, and the names that were defined for a port.
class MachineDeviceFiles : public DeviceFiles {
  public:
    MachineDeviceFiles(const MachineBatteries& batteries, const MachineDrives& drives,
                       const MachineRaid& raid, const MachineVolumes& volumes, Requests& requests)
        : batteries_(batteries), drives_(drives), raid_(raid), volumes_(volumes), requests_(requests) {}
    Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path, const DeviceOpening& opening) override;
    std::uint32_t driveType(std::wstring_view root) override;
    ErrorCode defineDosDevice(std::wstring_view name, std::wstring_view target) override;

  private:
    /// The drives of the port that a path names; none when it names none.
    std::vector<MachineDrive*> portOf(std::wstring_view path) const;
    /// Null when the port has no RAID driver.
    MachineRaidPort* raidOf(std::wstring_view path) const;

    const MachineBatteries& batteries_;
    const MachineDrives& drives_;
    const MachineRaid& raid_;
    const MachineVolumes& volumes_;
    Requests& requests_;
    std::vector<std::pair<std::wstring, std::wstring>> defined_; // name and target
};

} // namespace orv::platform
