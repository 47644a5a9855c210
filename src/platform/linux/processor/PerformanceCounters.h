#pragma once

#include "platform/PerformanceCounters.h"
#include "platform/linux/files/PolledFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// The three processor counters that the library asks for.
///   % Processor Utility      time not idle of all time, both in the kernel's ticks, from /proc/stat
///   % Processor Performance  mean current clock of the processors in percent of the base clock
///   Processor Frequency      base clock, MHz
/// Clocks come from cpufreq, each policy with the weight of its processors, else from /proc/cpuinfo, which
/// gives one clock a processor and no base: leaf 0x16 of CPUID gives the base then, and where it is empty the
/// current clock stands for both.
class LinuxPerformanceCounters : public PerformanceCounters {
  public:
    explicit LinuxPerformanceCounters(const RootedFiles& files)
        : files_(files), stat_(files, "/proc/stat"), cpuinfo_(files, "/proc/cpuinfo"),
          onLine_(files, "/sys/devices/system/cpu/online") {}

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

  private:
    enum class Kind { utility, performance, frequency };
    struct Counter {
        CounterHandle handle = 0;
        CounterQuery query = 0;
        Kind kind = Kind::utility;
        ErrorCode error = kCounterInvalidData; // nothing collected yet
        RawCounter raw;
    };
    /// Current and base clock, MHz.
    struct Clocks {
        double current = 0;
        double base = 0;
        ErrorCode error = kSuccess;
    };

    /// A policy of cpufreq: processors that change their clock together.
    struct Policy {
        std::string folder;
        double processors = 1;
    };

    Counter* find(CounterHandle handle);
    void sampleUtility(Counter& counter);
    Clocks clocks();
    Clocks cpufreqClocks();
    Clocks cpuinfoClocks();
    void findPolicies();

    const RootedFiles& files_;
    PolledFile stat_;
    PolledFile cpuinfo_;
    PolledFile onLine_;
    std::string onLineBefore_; // the policies were found for these processors
    bool policiesKnown_ = false;
    std::vector<Policy> policies_;
    double cpufreqBase_ = 0;
    std::size_t enoughOfCpuinfo_ = std::string_view::npos; // bytes that hold every clock that differs
    std::optional<double> baseFromCpuid_;
    std::vector<Counter> counters_;
    std::uintptr_t nextHandle_ = 1;
};

} // namespace orv::platform
