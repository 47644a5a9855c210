#pragma once

#include "gpu/Gpu.h"
#include "platform/records/AdlRecords.h"

#include <cstddef>

namespace orv {

/// Loads ADL, resolves its functions and starts it. False when there is none; tried again at the next call
/// until it succeeded.
bool AdlInit();

/// The adapters whose temperature can be read, one for each bus and device, in the library's order.
GpuList GetAllAmdGpus();

/// A sensor's value; 0 when the driver does not know the sensor or does not support it.
std::int32_t GetPMLog(const platform::adl::PmLogData& data, std::size_t index);

/// One entry of ADL's adapter list. Constructing it tries its readings.
class GpuAmd : public Gpu {
  public:
    explicit GpuAmd(const platform::adl::AdapterInfo& record);
    ~GpuAmd() override;
    GpuAmd(const GpuAmd&) = delete;
    GpuAmd& operator=(const GpuAmd&) = delete;

    double GetTemperature() override;
    double GetGpuLoad() override;
    std::uint32_t GetTotalMemory() override;

    std::uint32_t getSensorCount() const;
    bool isTemperatureTestPassed() const { return temperatureTestPassed; }

  private:
    void findOverdriveLevel();
    void testReadings();
    double GetGpuTemperatureAmdPmLog();
    double GetGpuTemperatureAmdOD5();
    double GetGpuTemperatureAmdODN();

    platform::adl::AdapterInfo adapterInfo;
    platform::adl::Context contextHandle = nullptr;
    bool overdriveSupported = false;
    std::int32_t currentOverdriveApiLevel = 0; ///< Overdrive generation; -1 when there is none.
    bool asleep = false; ///< The last temperature was refused so as not to wake the card up.
    bool temperatureTestPassed = false;
    bool loadTestPassed = false;
    std::uint32_t sensorCount = 0; ///< 2 for a temperature, 1 for a load.
};

} // namespace orv
