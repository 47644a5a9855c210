#pragma once

#include "platform/linux/files/RootedFiles.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace orv::platform {

/// A file of /proc that is read on each poll: it stays open and is read again from its beginning, which costs
/// a third of opening it anew, into memory that is kept. Not for two threads at once.
class PolledFile {
  public:
    PolledFile(const RootedFiles& files, std::string_view path) : files_(files), path_(path) {}
    ~PolledFile() { close(); }
    PolledFile(const PolledFile&) = delete;
    PolledFile& operator=(const PolledFile&) = delete;

    /// The content now, of a longer one its first `most` bytes; the view stays valid until the next call.
    Result<std::string_view> read(std::size_t most = std::string_view::npos);

  private:
    ErrorCode open();
    void close();

    const RootedFiles& files_;
    std::string path_;
    std::string content_;
    int file_ = -1;
    std::uint32_t generation_ = 0; // of the process that opened it
};

} // namespace orv::platform
