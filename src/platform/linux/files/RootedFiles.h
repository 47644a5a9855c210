#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// Tells a folder of sysfs from another one of the same name, for the price of one look at it. The kernel
/// gives the inode numbers of removed folders to no other one before it has run through them all; those
/// before 4.14 do, but not with the time at which they saw the folder first. So the same stamp is the same
/// device. Another one may be the same device too, when the kernel had forgotten the inode in between.
struct FolderStamp {
    std::uint64_t inode = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const FolderStamp&) const = default;
};

/// A text's first line without its line end and surrounding blanks.
std::string firstLine(std::string text);

/// Files of the system below a root folder: "" for the running system, a captured tree for a test. Paths are
/// absolute as the running system has them. Errors are the Windows codes.
class RootedFiles {
  public:
    explicit RootedFiles(std::string root) : root_(std::move(root)) {}

    /// True for the system that this process runs on, whose kernel can also be asked by calls.
    bool isRunningSystem() const { return root_.empty(); }
    std::string full(std::string_view path) const { return root_ + std::string(path); }

    /// A whole file; sized by reading, since files of /proc and /sys have no size. At most 16 MiB.
    Result<std::string> read(std::string_view path) const;
    /// The file's first line, cut to 4096 bytes; empty when it cannot be read.
    std::string line(std::string_view path) const;
    /// Names in a folder, sorted, without "." and "..".
    Result<std::vector<std::string>> list(std::string_view path) const;
    bool exists(std::string_view path) const;
    /// False while the process or the system has no descriptor left.
    bool canOpen() const;
    /// Of the folder that a path leads to; empty when there is none.
    std::optional<FolderStamp> stamp(std::string_view path) const;
    /// What a symbolic link points to, as it stands in it; empty when there is none.
    std::string linkTarget(std::string_view path) const;
    /// Last component of what a symbolic link points to; empty when there is none.
    std::string linkName(std::string_view path) const;
    /// A folder of sysfs that `path` is a link to, as the kernel makes them ("../../../devices/..."): told
    /// without a walk over its components. Any other path is resolved.
    std::string deviceFolder(std::string_view path) const;
    /// The path with its links resolved, still relative to the root; kFileNotFound for one that leads out of
    /// it.
    Result<std::string> resolved(std::string_view path) const;

  private:
    std::string root_;
};

} // namespace orv::platform
