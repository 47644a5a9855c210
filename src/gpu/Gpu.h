#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orv {

/// One graphics adapter. The readings throw HWException when the vendor's library refuses them.
class Gpu {
  public:
    virtual double GetTemperature() = 0;        ///< Degrees Celsius.
    virtual double GetGpuLoad() = 0;            ///< Fraction of 1.
    virtual std::uint32_t GetTotalMemory() = 0; ///< Kilobytes.
    virtual ~Gpu() = default;

    std::uint32_t gpuType = 0; ///< kNvidiaGpu or kAmdGpu.
    std::string gpuName;
};

inline constexpr std::uint32_t kNvidiaGpu = 1;
inline constexpr std::uint32_t kAmdGpu = 2;

using GpuList = std::vector<std::shared_ptr<Gpu>>;

/// The usable adapters, NVIDIA's first. Made on first use; when that throws, the next call tries again.
const GpuList& GetGpuList();

} // namespace orv
