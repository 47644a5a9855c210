#pragma once

#include "platform/linux/RootedFiles.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace orv::platform {

/// The names in a folder of /sys that is listed on each poll. On the running system it stays open, which
/// saves most of a listing's time; a folder that is not there is looked for again. Not for two threads at
/// once.
class PolledFolder {
  public:
    PolledFolder(const RootedFiles& files, std::string path) : files_(files), path_(std::move(path)) {}

    /// Sorted, without "." and "..".
    Result<std::vector<std::string>> list();

  private:
    const RootedFiles& files_;
    std::string path_;
    OpenFolder folder_;
    pid_t opener_ = 0;
};

} // namespace orv::platform
