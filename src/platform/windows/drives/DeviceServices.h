#pragma once

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"
#include "platform/Privileges.h"
#include "platform/Registry.h"

namespace orv::platform {

/// SetupAPI, present devices only.
class WindowsDeviceTree : public DeviceTree {
  public:
    Result<std::unique_ptr<DeviceInterfaces>> interfacesOf(const Guid& deviceClass) override;
    Result<std::unique_ptr<Devices>> devicesOf(const Guid& setupClass) override;
};

class WindowsDeviceFiles : public DeviceFiles {
  public:
    Result<std::unique_ptr<DeviceFile>> open(std::wstring_view path, const DeviceOpening& opening) override;
    std::uint32_t driveType(std::wstring_view root) override;
    ErrorCode defineDosDevice(std::wstring_view name, std::wstring_view target) override;
};

class WindowsRegistry : public Registry {
  public:
    Result<std::unique_ptr<RegistryKey>> open(std::wstring_view path, std::uint32_t access) override;
};

class WindowsPrivileges : public Privileges {
  public:
    Result<std::unique_ptr<ProcessToken>> openProcessToken() override;
    Result<PrivilegeId> lookup(std::wstring_view name) override;
};

} // namespace orv::platform
