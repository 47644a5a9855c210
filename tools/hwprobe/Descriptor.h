#pragma once

#include <unistd.h>
#include <utility>

namespace tool {

/// A file descriptor that is closed with its scope; -1 for none.
class Descriptor {
  public:
    explicit Descriptor(int file) : file_(file) {}
    Descriptor(Descriptor&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    int get() const { return file_; }
    /// False, with errno, where the system tells only now that something was not written.
    bool close() { return file_ < 0 || ::close(std::exchange(file_, -1)) == 0; }

  private:
    int file_;
};

} // namespace tool
