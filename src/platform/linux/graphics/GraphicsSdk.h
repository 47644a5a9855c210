#pragma once

#include "platform/GraphicsSdk.h"
#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/graphics/NvmlServer.h"

namespace orv::platform {

/// NVAPI from the NVML library of NVIDIA's driver, looked for at each request until it is found. An NVAPI of
/// the driver's own for Linux need not have the readings and is not asked.
class LinuxGraphicsSdk : public GraphicsSdk {
  public:
    explicit LinuxGraphicsSdk(const RootedFiles& files) : files_(files), nvml_(files) {}

    Result<LibraryFunction> function(std::uint32_t interfaceId) override;

  private:
    const RootedFiles& files_;
    NvmlServer nvml_;
    bool isLoaded_ = false;
};

} // namespace orv::platform
