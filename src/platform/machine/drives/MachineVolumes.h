#pragma once

#include "platform/Result.h"
#include "platform/records/StorageRecords.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace orv::platform {

class Node;

/// A volume with a letter of its own.
struct MachineVolume {
    wchar_t letter = L'A';
    std::uint32_t type = 0;
    ErrorCode openError = kSuccess;
    std::optional<std::vector<DISK_EXTENT>> extents;
};

/// Section "volumes" of a machine file (docs/machine/disk.md).
class MachineVolumes {
  public:
    explicit MachineVolumes(const Node& root);

    /// By its root ("C:\\") or its device ("\\.\C:"); null when the text is neither or nothing is there.
    const MachineVolume* byRoot(std::wstring_view root) const;
    const MachineVolume* byDevice(std::wstring_view path) const;

  private:
    const MachineVolume* byLetter(std::wstring_view letter) const;

    std::vector<MachineVolume> volumes_;
};

/// Answers a control code that was sent to a volume.
Result<std::uint32_t> answerVolume(const MachineVolume& volume, std::uint32_t code, std::span<std::byte> out);

} // namespace orv::platform
