#pragma once

#include "platform/Privileges.h"
#include "platform/machine/Requests.h"
#include "platform/servers/CardsKey.h"

#include <optional>

namespace orv::platform {

/// The key of the installed network cards, from "network.cards"; without the list the key is not there.
class MachineRegistry : public Registry {
  public:
    using Cards = std::optional<std::vector<CardKey>>;
    MachineRegistry(const Cards& cards, Requests& requests) : cards_(cards), requests_(requests) {}
    Result<std::unique_ptr<RegistryKey>> open(std::wstring_view path, std::uint32_t access) override;

  private:
    const Cards& cards_;
    Requests& requests_;
};

/// A process that holds every privilege; a planned fault takes them.
class MachinePrivileges : public Privileges {
  public:
    explicit MachinePrivileges(Requests& requests) : requests_(requests) {}
    Result<std::unique_ptr<ProcessToken>> openProcessToken() override;
    Result<PrivilegeId> lookup(std::wstring_view name) override;

  private:
    Requests& requests_;
};

} // namespace orv::platform
