#pragma once

#include "cpu/cpu.h"
#include "platform/Ring0.h"

namespace orv {

class CpuAmd : public Cpu {
  public:
    std::string Name() override { return info.name; }
    std::string Vendor() override { return "Amd"; }

  protected:
    explicit CpuAmd(const CpuInfo& detected) : Cpu(detected) {}
};

/// The address of a function of the processor's northbridge device. Throws HWException when the function
/// does not answer or is another device.
platform::pciAddress FindPciFunction(std::uint32_t function, std::uint32_t deviceId);

/// A northbridge function that could not be found.
inline constexpr platform::pciAddress kNoPciFunction = 0xFFFFFFFF;

} // namespace orv
