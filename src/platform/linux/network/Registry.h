#pragma once

#include "platform/Privileges.h"
#include "platform/Registry.h"
#include "platform/linux/network/InterfaceNames.h"

namespace orv::platform {

/// The installed network cards: interfaces with a device behind them, named as the interface is.
class LinuxRegistry : public Registry {
  public:
    LinuxRegistry(const RootedFiles& files, InterfaceNames& names) : files_(files), names_(names) {}
    Result<std::unique_ptr<RegistryKey>> open(std::wstring_view path, std::uint32_t access) override;

  private:
    const RootedFiles& files_;
    InterfaceNames& names_;
};

/// The right that the cards take is that of reading their interfaces, so a process that cannot (it is out of
/// descriptors, say) gets no token. The privileges themselves are granted.
class LinuxPrivileges : public Privileges {
  public:
    explicit LinuxPrivileges(const RootedFiles& files) : files_(files) {}
    Result<std::unique_ptr<ProcessToken>> openProcessToken() override;
    Result<PrivilegeId> lookup(std::wstring_view) override { return {1}; }

  private:
    const RootedFiles& files_;
};

} // namespace orv::platform
