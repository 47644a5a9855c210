#pragma once

#include "platform/GraphicsSdk.h"
#include "platform/linux/NvmlServer.h"
#include "platform/linux/RootedFiles.h"

namespace orv::platform {

/// The driver's own NVAPI library when it is installed and can be initialised, else NVML. Looked for at each
/// request until one is found.
class LinuxGraphicsSdk : public GraphicsSdk {
  public:
    explicit LinuxGraphicsSdk(const RootedFiles& files) : files_(files) {}

    Result<LibraryFunction> function(std::uint32_t interfaceId) override;

  private:
    using QueryInterface = LibraryFunction (*)(std::uint32_t interfaceId);
    QueryInterface findQuery();

    const RootedFiles& files_;
    NvmlServer nvml_;
    QueryInterface query_ = nullptr;
};

} // namespace orv::platform
