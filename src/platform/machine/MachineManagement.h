#pragma once

#include "platform/machine/Requests.h"
#include "platform/servers/ManagementRows.h"

#include <optional>

namespace orv::platform {

class Node;

/// Section "management" of a machine file (docs/machine/memory.md): classes given as rows, or the raw SMBIOS
/// table that Win32_PhysicalMemory is made from. Without the section the service is not there.
class MachineManagementData : public ManagementData {
  public:
    using Tables = std::map<std::wstring, std::vector<ManagementColumns>>;

    MachineManagementData(const Node& root, Requests& requests);

    ErrorCode initialize() override { return requests_.enter("initializeCom"); }
    void uninitialize() override { requests_.enter("uninitializeCom"); }
    ErrorCode initializeSecurity() override { return requests_.enter("initializeSecurity"); }
    Result<std::unique_ptr<ManagementLocator>> createLocator() override;

  private:
    Requests& requests_;
    std::optional<Tables> tables_;
};

} // namespace orv::platform
