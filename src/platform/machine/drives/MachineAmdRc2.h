#pragma once

#include "platform/Libraries.h"
#include "platform/machine/Requests.h"
#include "platform/machine/drives/MachineDrives.h"
#include "platform/records/AmdRc2Records.h"

#include <set>
#include <string>
#include <vector>

namespace orv::platform {

class Node;

/// Section "amdRaid" of a machine file (docs/machine/raid.md): AMD's library for drives behind its RAID
/// driver, beside the program. Its functions carry no context, so one such library answers at a time.
class MachineAmdRc2 {
  public:
    MachineAmdRc2(const Node& root, Requests& requests);
    ~MachineAmdRc2();
    MachineAmdRc2(const MachineAmdRc2&) = delete;
    MachineAmdRc2& operator=(const MachineAmdRc2&) = delete;

    /// Whether that is the path of this library.
    bool has(std::wstring_view path) const { return installed_ && path == rc2::kLibraryName; }
    Result<std::wstring> publisher() const;
    /// From now on the functions ask this library.
    void serve();
    Result<LibraryFunction> function(const std::string& name) const;

    std::int32_t init();
    std::int32_t reload();
    std::int32_t drives();
    std::int32_t identify(rc2::IdentifyBlock& block);
    /// Both blocks are 512 bytes and may be one.
    std::int32_t smartData(std::uint32_t index, std::uint8_t* data, std::uint8_t* thresholds);

  private:
    struct Drive {
        rc2::IdentifyBlock identify{};
        DriveBlock smart;
        DriveBlock thresholds;
    };
    static Drive readDrive(const Node& entry);

    Requests& requests_;
    bool installed_ = false;
    bool signed_ = true;
    std::wstring publisher_;
    std::set<std::string> missing_;
    std::int32_t initStatus_ = 1;
    std::int32_t count_ = 0;
    std::vector<Drive> drives_;
};

} // namespace orv::platform
