#pragma once

#include "platform/machine/Requests.h"
#include "platform/machine/drives/MachineDrives.h"
#include "platform/servers/ManagementRows.h"

#include <optional>

namespace orv::platform {

class MachineSystemServices;
class Node;

/// The rows that a machine file gives for classes, and for what belongs to one object.
struct ManagementTables {
    struct Class {
        std::wstring name;
        std::vector<ManagementColumns> rows;
    };
    struct Associators {
        std::wstring of; ///< class of the object
        std::wstring id;
        std::wstring filter; ///< class in the query's condition; empty: any
        std::vector<ManagementColumns> rows;
    };
    std::vector<Class> classes;
    std::vector<Associators> associators;
    const MachineDrives* drives = nullptr; ///< fill in what the file does not tell

    /// Empty for a class that is not described. An object to which nothing belongs gives no rows.
    std::optional<std::vector<ManagementColumns>> answer(const ManagementQuery& query,
                                                         bool driverClasses) const;

  private:
    /// Null when the file tells nothing of it.
    const std::vector<ManagementColumns>* described(const ManagementQuery& query) const;
};

/// Section "management" of a machine file (docs/machine/memory.md, docs/machine/disk.md): classes given as
/// rows, or the raw SMBIOS table that Win32_PhysicalMemory is made from. Without the section, and without a
/// drive that fills in rows, the service is not there.
class MachineManagementData : public ManagementData {
  public:
    MachineManagementData(const Node& root, Requests& requests, const MachineDrives& drives,
                          const MachineSystemServices& services);

    ErrorCode initialize() override { return requests_.enter("initializeCom"); }
    void uninitialize() override { requests_.enter("uninitializeCom"); }
    ErrorCode initializeSecurity() override { return requests_.enter("initializeSecurity"); }
    Result<std::unique_ptr<ManagementLocator>> createLocator() override;

  private:
    Requests& requests_;
    const MachineSystemServices& services_;
    std::optional<ManagementTables> tables_;
};

} // namespace orv::platform
