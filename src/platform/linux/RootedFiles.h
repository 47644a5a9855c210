#pragma once

#include "platform/Result.h"

#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

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
