#pragma once

// Processor, mutexes, timers and performance counters of the Windows side.

#include "platform/NamedMutexes.h"
#include "platform/PerformanceCounters.h"
#include "platform/Processor.h"
#include "platform/Timers.h"

namespace orv::platform {

class WindowsProcessor : public Processor {
  public:
    CpuidRegisters cpuid(std::uint32_t leaf) override;
    std::uint64_t timeStampCounter() override;
    ErrorCode findLogicalProcessorInformation() override;
    ErrorCode GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t& length) override;
    Result<AffinityMask> SetThreadAffinityMask(const AffinityMask& mask) override;
};

class WindowsNamedMutexes : public NamedMutexes {
  public:
    Result<MutexHandle> CreateMutexW(std::wstring_view name) override;
    Result<MutexHandle> CreateMutexForEveryone(std::wstring_view name) override;
    Result<MutexHandle> OpenMutexW(std::uint32_t access, std::wstring_view name) override;
    std::uint32_t WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) override;
    ErrorCode ReleaseMutex(MutexHandle mutex) override;
    void CloseHandle(MutexHandle mutex) override;
};

class WindowsTimers : public Timers {
  public:
    Result<TimerPeriods> timeGetDevCaps() override;
    void timeBeginPeriod(std::uint32_t milliseconds) override;
    void timeEndPeriod(std::uint32_t milliseconds) override;
    std::uint32_t timeGetTime() override;
    Result<std::int64_t> queryPerformanceFrequency() override;
    std::int64_t queryPerformanceCounter() override;
    Priorities priorities() override;
    void setPriorities(const Priorities& priorities) override;
};

class WindowsPerformanceCounters : public PerformanceCounters {
  public:
    Result<CounterQuery> openQuery() override;
    Result<CounterHandle> addCounter(CounterQuery query, std::wstring_view path) override;
    ErrorCode collectQueryData(CounterQuery query) override;
    Result<RawCounter> getRawCounterValue(CounterHandle counter) override;
    Result<FormattedCounter> calculateCounterFromRawValue(CounterHandle counter, std::uint32_t format,
                                                          const RawCounter& newer,
                                                          const RawCounter& older) override;
    Result<FormattedCounter> getFormattedCounterValue(CounterHandle counter, std::uint32_t format) override;
    void removeCounter(CounterHandle counter) override;
    void closeQuery(CounterQuery query) override;
};

} // namespace orv::platform
