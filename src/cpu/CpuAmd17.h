#pragma once

#include "cpu/CpuAmd.h"
#include "log/Logger.h"

namespace orv {

/// Families 0x17 and 0x19: the thermal register behind the system management network.
class CpuAmd17 : public CpuAmd {
  public:
    explicit CpuAmd17(const CpuInfo& detected);

    std::string Name() override;
    std::string Vendor() override;
    double GetTemperature() override;
    std::int32_t GetCpuBaseFrequency() override;

  private:
    Logger logger{"CpuAmd17"};
};

} // namespace orv
