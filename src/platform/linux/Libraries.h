#pragma once

#include "platform/Libraries.h"
#include "platform/Processes.h"
#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/graphics/AmdGpuServer.h"

namespace orv::platform {

/// Shared libraries of the running system. AMD's display library, which Linux has not, is served from the
/// files of the amdgpu driver when that drives a card.
class LinuxLibraries : public Libraries {
  public:
    explicit LinuxLibraries(const RootedFiles& files) : files_(files), amdGpus_(files) {}

    Result<Library> load(std::wstring_view name) override;
    Result<LibraryFunction> function(Library library, const char* name) override;
    /// No library of this system is signed.
    Result<std::wstring> publisher(std::wstring_view) override {
        return Result<std::wstring>::failed(kNotSupported);
    }

  private:
    const RootedFiles& files_;
    AmdGpuServer amdGpus_;
};

class LinuxProcesses : public Processes {
  public:
    ErrorCode runAndWait(const std::wstring& program) override;
};

} // namespace orv::platform
