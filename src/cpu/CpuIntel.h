#pragma once

#include "cpu/cpu.h"
#include "log/Logger.h"

#include <unordered_map>

namespace orv {

/// Reads the digital thermal sensor of every physical core.
class CpuIntel : public Cpu {
  public:
    explicit CpuIntel(const CpuInfo& detected);

    std::string Name() override;
    std::string Vendor() override;
    double GetTemperature() override;
    std::int32_t GetCpuBaseFrequency() override;

  private:
    std::unordered_map<std::int32_t, std::uint32_t> coreAffinity; // core number to thread affinity mask
    Logger logger{"CpuIntel"};
};

} // namespace orv
