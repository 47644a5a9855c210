#pragma once

#include "platform/Processor.h"
#include "platform/Timers.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"

#include <map>
#include <utility>
#include <vector>

namespace orv::platform {

class Node;

/// Section "processor" of a machine file: CPUID leaves, logical processors, topology records and a
/// time-stamp counter that follows the clock.
class MachineProcessor : public Processor {
  public:
    MachineProcessor(const Node& root, Requests& requests, const MachineClock& clock);

    CpuidRegisters cpuid(std::uint32_t leaf) override;
    std::uint64_t timeStampCounter() override;
    ErrorCode findLogicalProcessorInformation() override;
    ErrorCode GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t& length) override;
    Result<AffinityMask> SetThreadAffinityMask(const AffinityMask& mask) override;

    /// Facts of the section that no real processor has together, each as a text. They are told and not
    /// refused: a machine whose tables contradict each other is one to try as well.
    std::vector<std::string> contradictions() const;

  private:
    void loadLeaves(const Node& processor);
    void loadRecords(const Node& processor);
    void setBrand(const std::string& brand);
    void placeThread(const Node& processor);
    std::uint32_t running() const;
    void compareIntelLeaves(std::size_t cores, std::vector<std::string>& found) const;

    Requests& requests_;
    const MachineClock& clock_;
    std::map<std::uint32_t, CpuidRegisters> leaves_;
    std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidRegisters> ownLeaves_; // by processor and number
    std::vector<std::uint8_t> apicIds_;                                           // one a logical processor
    std::vector<LogicalProcessorRecord> records_;
    std::uint64_t tscKHz_ = 0;
    AffinityMask present_{0xFFFFFFFF}; // the logical processors that exist
    AffinityMask affinity_{0xFFFFFFFF};
};

/// Both timers look at the machine's clock, which each look moves: a busy wait takes no real time. These
/// looks are not written into the request record, which half a second of them would fill.
class MachineTimers : public Timers {
  public:
    MachineTimers(Requests& requests, MachineClock& clock) : requests_(requests), clock_(clock) {}

    Result<TimerPeriods> timeGetDevCaps() override;
    void timeBeginPeriod(std::uint32_t milliseconds) override;
    void timeEndPeriod(std::uint32_t milliseconds) override;
    std::uint32_t timeGetTime() override;
    Result<std::int64_t> queryPerformanceFrequency() override;
    std::int64_t queryPerformanceCounter() override;
    Priorities priorities() override { return priorities_; }
    void setPriorities(const Priorities& priorities) override;

  private:
    Requests& requests_;
    MachineClock& clock_;
    Priorities priorities_{0x20, 0}; // NORMAL_PRIORITY_CLASS, THREAD_PRIORITY_NORMAL
};

} // namespace orv::platform
