// What every side promises for the services of the processor.

#include "platform/NamedMutexes.h"
#include "platform/PerformanceCounters.h"
#include "platform/Processor.h"
#include "platform/Ring0.h"
#include "platform/Timers.h"
#include "support/Sides.h"

#include <bit>
#include <thread>
#include <vector>

namespace orv::test {
namespace {

using platform::LogicalProcessorRecord;

class ProcessorContract : public Contract {};

TEST_P(ProcessorContract, CpuidAndTopologyDescribeOneMachine) {
    platform::Processor& processor = side().processor();
    EXPECT_GE(processor.cpuid(0).eax, 1u);
    EXPECT_GE(processor.cpuid(0x80000000).eax, 0x80000000u);
    ASSERT_EQ(platform::kSuccess, processor.findLogicalProcessorInformation());
    std::uint32_t length = 0;
    ASSERT_EQ(platform::kInsufficientBuffer, processor.GetLogicalProcessorInformation(nullptr, length));
    ASSERT_EQ(0u, length % sizeof(LogicalProcessorRecord));
    std::vector<LogicalProcessorRecord> records(length / sizeof(LogicalProcessorRecord));
    ASSERT_EQ(platform::kSuccess, processor.GetLogicalProcessorInformation(records.data(), length));
    int cores = 0;
    int packages = 0;
    for (const LogicalProcessorRecord& record : records) {
        EXPECT_NE(0, std::popcount(record.processorMask));
        EXPECT_LE(record.relationship, 7u);
        cores += record.relationship == 0;
        packages += record.relationship == 3;
    }
    EXPECT_GE(packages, 1);
    EXPECT_GE(cores, packages);
}

TEST_P(ProcessorContract, AffinityComesBack) {
    platform::Processor& processor = side().processor();
    const platform::AffinityMask everywhere(0xFFFFFFFF);
    const auto before = processor.SetThreadAffinityMask(everywhere);
    ASSERT_TRUE(before.ok() && before.value.any());
    platform::AffinityMask one;
    for (std::size_t i = 0; one.none(); ++i)
        one[i] = before.value[i];
    ASSERT_TRUE(processor.SetThreadAffinityMask(one).ok());
    EXPECT_EQ(one, processor.SetThreadAffinityMask(before.value).value);
}

TEST_P(ProcessorContract, ClocksMoveTogetherAndPrioritiesComeBack) {
    platform::Timers& timers = side().timers();
    const auto periods = timers.timeGetDevCaps();
    ASSERT_TRUE(periods.ok());
    EXPECT_LE(periods.value.smallest, periods.value.largest);
    const auto frequency = timers.queryPerformanceFrequency();
    ASSERT_TRUE(frequency.ok() && frequency.value > 0);

    const platform::Priorities before = timers.priorities();
    timers.setPriorities({0x100, 15});
    timers.timeBeginPeriod(periods.value.smallest);
    const std::uint64_t tsc = side().processor().timeStampCounter();
    const std::uint32_t start = timers.timeGetTime();
    const std::int64_t counter = timers.queryPerformanceCounter();
    while (timers.timeGetTime() - start < 20) {
    }
    const double seconds = static_cast<double>(timers.queryPerformanceCounter() - counter) /
                           static_cast<double>(frequency.value);
    timers.timeEndPeriod(periods.value.smallest);
    timers.setPriorities(before);
    EXPECT_GT(seconds, 0.003); // the multimedia timer may step by 16 ms
    EXPECT_LT(seconds, 60);
    EXPECT_GT(side().processor().timeStampCounter(), tsc);
    EXPECT_EQ(before.processClass, timers.priorities().processClass);
    EXPECT_EQ(before.thread, timers.priorities().thread);
}

TEST_P(ProcessorContract, OneMutexAName) {
    platform::NamedMutexes& mutexes = side().namedMutexes();
    constexpr platform::ErrorCode notOwner = 288; // ERROR_NOT_OWNER
    const auto first = mutexes.CreateMutexW(L"HwProbe_Contract_Test");
    ASSERT_TRUE(first.ok());
    const auto second = mutexes.OpenMutexW(0x1F0001, L"HwProbe_Contract_Test");
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(0u, mutexes.WaitForSingleObject(first.value, 10));
    EXPECT_EQ(0u, mutexes.WaitForSingleObject(second.value, 10)); // the owner may wait again
    if (isHost()) {
        std::uint32_t elsewhere = 0;
        platform::ErrorCode release = 0;
        std::thread([&] {
            elsewhere = mutexes.WaitForSingleObject(first.value, 10);
            release = mutexes.ReleaseMutex(first.value);
        }).join();
        EXPECT_EQ(platform::kWaitTimeout, elsewhere);
        EXPECT_EQ(notOwner, release);
    }
    EXPECT_EQ(platform::kSuccess, mutexes.ReleaseMutex(first.value));
    EXPECT_EQ(platform::kSuccess, mutexes.ReleaseMutex(second.value));
    EXPECT_EQ(notOwner, mutexes.ReleaseMutex(first.value));
    mutexes.CloseHandle(first.value);
    mutexes.CloseHandle(second.value);
    EXPECT_EQ(platform::kWaitFailed, mutexes.WaitForSingleObject(0, 0));
}

TEST_P(ProcessorContract, UnknownCountersFail) {
    platform::PerformanceCounters& counters = side().performanceCounters();
    const auto query = counters.openQuery();
    ASSERT_TRUE(query.ok() && query.value != 0);
    EXPECT_FALSE(counters.addCounter(query.value, L"\\No Such Object(_Total)\\Nothing").ok());
    EXPECT_FALSE(counters.getRawCounterValue(0).ok());
    EXPECT_FALSE(counters.getFormattedCounterValue(0, platform::kFormatDouble).ok());
    counters.closeQuery(query.value);
}

TEST_P(ProcessorContract, WhatDoesNotAnswerGivesOnesOrFails) {
    platform::Ring0& ring0 = side().ring0();
    const platform::pciAddress nobody = 0xFE << 8 | 0x1F << 3 | 7;
    EXPECT_EQ(0xFF, ring0.ReadPciConfigByte(nobody, 0));
    EXPECT_EQ(0xFFFF, ring0.ReadPciConfigWord(nobody, 0));
    EXPECT_EQ(0xFFFFFFFF, ring0.ReadPciConfigDword(nobody, 0));
    const auto read = ring0.ReadPciConfigDwordEx(nobody, 0);
    EXPECT_EQ(0u, read.result);
    EXPECT_NE(platform::kSuccess, read.error);
    const auto msr = ring0.RdmsrTx(0xFFFFFFF0, 1);
    EXPECT_EQ(0u, msr.result);
    EXPECT_NE(platform::kSuccess, msr.error);
}

INSTANTIATE_SIDES(ProcessorContract);

} // namespace
} // namespace orv::test
