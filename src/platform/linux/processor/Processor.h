#pragma once

#include "platform/Processor.h"
#include "platform/Timers.h"
#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/processor/ProcessorSet.h"

#include <vector>

namespace orv::platform {

/// The instructions, topology from sysfs, affinity by the scheduler; the two latter in bits of the set.
class LinuxProcessor : public Processor {
  public:
    LinuxProcessor(const RootedFiles& files, ProcessorSet& processors)
        : files_(files), processors_(processors) {}

    CpuidRegisters cpuid(std::uint32_t leaf) override;
    std::uint64_t timeStampCounter() override;
    ErrorCode findLogicalProcessorInformation() override;
    ErrorCode GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t& length) override;
    Result<AffinityMask> SetThreadAffinityMask(const AffinityMask& mask) override;

  private:
    std::vector<LogicalProcessorRecord> records();

    const RootedFiles& files_;
    ProcessorSet& processors_;
};

/// The kernel's monotonic clock stands for both timers; it needs no period. The real-time class is the
/// scheduling policy SCHED_FIFO, where that is not granted the highest nice value.
class LinuxTimers : public Timers {
  public:
    Result<TimerPeriods> timeGetDevCaps() override { return {{1, 1}}; }
    void timeBeginPeriod(std::uint32_t) override {}
    void timeEndPeriod(std::uint32_t) override {}
    std::uint32_t timeGetTime() override;
    Result<std::int64_t> queryPerformanceFrequency() override;
    std::int64_t queryPerformanceCounter() override;
    Priorities priorities() override;
    void setPriorities(const Priorities& priorities) override;
};

} // namespace orv::platform
