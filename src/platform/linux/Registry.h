#pragma once

#include "platform/Privileges.h"
#include "platform/Registry.h"
#include "platform/linux/InterfaceNames.h"

namespace orv::platform {

/// The installed network cards: interfaces with a device behind them, named as the interface is.
class LinuxRegistry : public Registry {
  public:
    LinuxRegistry(const RootedFiles& files, InterfaceNames& names) : files_(files), names_(names) {}
    Result<std::unique_ptr<RegistryKey>> open(std::wstring_view path, std::uint32_t access) override;

  private:
    bool isPhysical(const std::string& interface) const;

    const RootedFiles& files_;
    InterfaceNames& names_;
};

/// Reading the cards takes no privilege here, so each is granted.
class LinuxPrivileges : public Privileges {
  public:
    Result<std::unique_ptr<ProcessToken>> openProcessToken() override;
    Result<PrivilegeId> lookup(std::wstring_view) override { return {1}; }
};

} // namespace orv::platform
