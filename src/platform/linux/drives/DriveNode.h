#pragma once

#include "platform/linux/files/RootedFiles.h"

#include <span>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace orv::platform {

/// A descriptor that is closed with the object.
class OwnedDescriptor {
  public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int file) : file_(file) {}
    ~OwnedDescriptor() {
        if (file_ >= 0) ::close(file_);
    }
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(file_, other.file_);
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return file_; }

  private:
    int file_ = -1;
};

/// A device's node and what the kernel says that it is.
struct DriveNode {
    std::string path;   ///< "/dev/sda"
    std::string number; ///< "8:0", as the file `dev` of sysfs has it
    bool block = true;  ///< otherwise a character device
};

/// Opens a node for reading, and with `direct` past the page cache. It has to be the device itself: a link, a
/// file of another kind or of another device's number counts as no node and gives kFileNotFound. The open
/// neither waits for a medium nor writes, so that it wakes nothing and tells no one that a disk has changed.
Result<OwnedDescriptor> openNode(const RootedFiles& files, const DriveNode& node, bool direct = false);

/// Reads from an open disk past the page cache, in whole blocks of the disk.
Result<std::uint32_t> readPastCache(int file, std::uint64_t blockBytes, std::uint64_t offset,
                                    std::span<std::byte> into);

} // namespace orv::platform
