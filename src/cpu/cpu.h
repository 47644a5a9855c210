#pragma once

#include "cpu/cpu_info.h"
#include "platform/PerformanceCounters.h"

#include <memory>
#include <string>

namespace orv {

/// The machine's processor, made once by vendor and family.
class Cpu {
  public:
    // For who holds a processor of his own; no export tells the two.
    virtual std::string Name() = 0;
    virtual std::string Vendor() = 0;
    virtual double GetTemperature() = 0;            ///< Degrees Celsius.
    virtual std::int32_t GetCpuBaseFrequency() = 0; ///< MHz
    virtual ~Cpu();
    Cpu(const Cpu&) = delete;
    Cpu& operator=(const Cpu&) = delete;

    static std::unique_ptr<Cpu> GetCpu();

    /// The load since the last call as a fraction; 0.0 on the first call.
    static double GetCpuLoad();
    /// The current speed in MHz; 0.0 on the first call.
    double GetCpuSpeed();

  protected:
    explicit Cpu(CpuInfo detected) : info(std::move(detected)) {}

    platform::CounterQuery cpuQuery = 0;
    platform::CounterHandle cpuPerformance = 0;
    platform::CounterHandle cpuBasicSpeed = 0;
    CpuInfo info;
};

/// A processor of an unknown vendor.
class DefaultCpu : public Cpu {
  public:
    explicit DefaultCpu(const CpuInfo& detected) : Cpu(detected) {}

    std::string Name() override { return info.name; }
    std::string Vendor() override { return "Unknown"; }
    double GetTemperature() override;
    std::int32_t GetCpuBaseFrequency() override { return static_cast<std::int32_t>(info.frequency); }
};

/// The process's processor, made on first use; a maker that throws runs again on the next call.
std::unique_ptr<Cpu>& GetCpuInstance();

} // namespace orv
