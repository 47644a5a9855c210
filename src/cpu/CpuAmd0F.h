#pragma once

#include "cpu/CpuAmd.h"
#include "log/Logger.h"

namespace orv {

/// Family 0x0F: the thermtrip status register of the northbridge.
class CpuAmd0F : public CpuAmd {
  public:
    explicit CpuAmd0F(const CpuInfo& detected);

    std::string Name() override;
    std::string Vendor() override;
    double GetTemperature() override;
    std::int32_t GetCpuBaseFrequency() override;

  private:
    Logger logger{"CpuAmd0F"};
    std::uint32_t miscellaneousControlAddress = kNoPciFunction;
    std::uint8_t thermSenseCoreSelect = 0;
    double temperatureOffset = 0;
};

} // namespace orv
