#pragma once

#include "cpu/CpuAmd.h"
#include "log/Logger.h"

namespace orv {

/// Families 0x10 to 0x16: the reported temperature register, of the northbridge or behind the SMU.
class CpuAmd10 : public CpuAmd {
  public:
    explicit CpuAmd10(const CpuInfo& detected);

    std::string Name() override;
    std::string Vendor() override;
    double GetTemperature() override;
    std::int32_t GetCpuBaseFrequency() override;

  private:
    bool ReadSmuRegister(std::uint32_t reg, std::uint32_t& value);

    Logger logger{"CpuAmd10"};
    bool useSmu = false;
    std::uint32_t miscellaneousControlAddress = kNoPciFunction;
};

} // namespace orv
