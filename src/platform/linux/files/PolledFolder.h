#pragma once

#include "platform/linux/files/RootedFiles.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orv::platform {

/// The names in a folder of /sys that is listed on each poll. On the running system it stays open, which
/// saves most of a listing's time; a folder that is not there is looked for again. Not for two threads at
/// once.
class PolledFolder {
  public:
    PolledFolder(const RootedFiles& files, std::string path) : files_(files), path_(std::move(path)) {}
    ~PolledFolder() { close(); }
    PolledFolder(const PolledFolder&) = delete;
    PolledFolder& operator=(const PolledFolder&) = delete;

    /// Sorted, without "." and "..".
    Result<std::vector<std::string>> list();

  private:
    ErrorCode open();
    void close();
    Result<std::vector<std::string>> fromHere();

    const RootedFiles& files_;
    std::string path_;
    int folder_ = -1;
    bool isSysfs_ = false;
    std::uint32_t generation_ = 0; // of the process that opened it
};

} // namespace orv::platform
