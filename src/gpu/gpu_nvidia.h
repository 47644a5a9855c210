#pragma once

#include "gpu/Gpu.h"
#include "platform/records/NvapiRecords.h"

namespace orv {

/// True once the driver's library is initialised; a failure is logged and tried again at the next call.
bool NvApiInit();

/// One adapter a handle, in the driver's order; none without the driver's library.
GpuList GetAllNvidiaGpus();

std::string GetGpuModleNvidia(platform::nvapi::GpuHandle handle);

/// Degrees Celsius of the first sensor. An adapter that does not answer is woken up by a helper program
/// first, which the call waits for.
std::int32_t GetGpuTemperatureNvidia(platform::nvapi::GpuHandle handle);

/// Kilobytes.
std::uint32_t GetGpuTotalMemoryNvidia(platform::nvapi::GpuHandle handle);

class GpuNvidia : public Gpu {
  public:
    explicit GpuNvidia(platform::nvapi::GpuHandle handle);

    double GetTemperature() override;
    double GetGpuLoad() override;
    std::uint32_t GetTotalMemory() override;

  private:
    platform::nvapi::GpuHandle physicalGpuHandle;
};

} // namespace orv
