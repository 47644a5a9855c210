#include "cpu/cpu.h"

#include "cpu/CpuAmd0F.h"
#include "cpu/CpuAmd10.h"
#include "cpu/CpuAmd17.h"
#include "cpu/CpuIntel.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

#include <cmath>

namespace orv {

namespace {

constexpr wchar_t kLoadPath[] = L"\\Processor Information(_Total)\\% Processor Utility";
constexpr wchar_t kPerformancePath[] = L"\\Processor Information(_Total)\\% Processor Performance";
constexpr wchar_t kBaseSpeedPath[] = L"\\Processor Information(_Total)\\Processor Frequency";

struct CpuProcess {
    OnceCell<CpuInfo> facts; // kept where no class takes them, so that the next call need not look again
    OnceCell<std::unique_ptr<Cpu>> instance;
    platform::RawCounter lastRawSample;
};

platform::PerformanceCounters& counters() {
    return platform::current().performanceCounters();
}

/// Open for a scope.
struct ScopedQuery {
    explicit ScopedQuery(platform::CounterQuery open) : query(open) {}
    ~ScopedQuery() { counters().closeQuery(query); }
    ScopedQuery(const ScopedQuery&) = delete;
    ScopedQuery& operator=(const ScopedQuery&) = delete;
    platform::CounterQuery query;
};

struct ScopedCounter {
    explicit ScopedCounter(platform::CounterHandle added) : counter(added) {}
    ~ScopedCounter() { counters().removeCounter(counter); }
    ScopedCounter(const ScopedCounter&) = delete;
    ScopedCounter& operator=(const ScopedCounter&) = delete;
    platform::CounterHandle counter;
};

enum class AmdReader { k0F, k10, k17 };

struct AmdFamily {
    std::uint32_t family; // base family plus extended family
    AmdReader reader;
};

constexpr AmdFamily kAmdFamilies[] = {
    {0x0F, AmdReader::k0F}, {0x10, AmdReader::k10}, {0x11, AmdReader::k10},
    {0x12, AmdReader::k10}, {0x14, AmdReader::k10}, {0x15, AmdReader::k10},
    {0x16, AmdReader::k10}, {0x17, AmdReader::k17}, {0x19, AmdReader::k17},
};

std::unique_ptr<Cpu> MakeCpuAmd(const CpuInfo& info) {
    for (const AmdFamily& row : kAmdFamilies) {
        if (row.family != info.family) continue;
        if (row.reader == AmdReader::k0F) return std::make_unique<CpuAmd0F>(info);
        if (row.reader == AmdReader::k10) return std::make_unique<CpuAmd10>(info);
        return std::make_unique<CpuAmd17>(info);
    }
    throwHW(L"AMD family not support: {}", info.family);
}

} // namespace

Cpu::~Cpu() {
    if (cpuQuery != 0) counters().closeQuery(cpuQuery);
}

double DefaultCpu::GetTemperature() {
    throwHW(L"unknown cpu, not support temperature");
}

std::unique_ptr<Cpu> Cpu::GetCpu() {
    log::entry(cpuLogger, L"orv::Cpu::GetCpu");
    const CpuInfo& info = processWide<CpuProcess>().facts.get(GetCpuInfo);
    if (info.vendor == CpuVendor::intel) return std::make_unique<CpuIntel>(info);
    if (info.vendor == CpuVendor::amd) return MakeCpuAmd(info);
    return std::make_unique<DefaultCpu>(info);
}

std::unique_ptr<Cpu>& GetCpuInstance() {
    return processWide<CpuProcess>().instance.get(Cpu::GetCpu);
}

double Cpu::GetCpuLoad() {
    log::entry(cpuLogger, L"orv::Cpu::GetCpuLoad");
    const auto opened = counters().openQuery();
    if (!opened.ok()) throwHW(L"PdhOpenQuery failed, {}", getSystemErrorText(opened.error));
    const ScopedQuery query(opened.value);
    const auto added = counters().addCounter(query.query, kLoadPath);
    if (!added.ok()) throwHW(L"PdhAddCounter failed, {}", getSystemErrorText(added.error));
    const ScopedCounter counter(added.value);
    if (const auto error = counters().collectQueryData(query.query))
        throwHW(L"PdhCollectQueryData failed, {}", getSystemErrorText(error));
    const auto raw = counters().getRawCounterValue(counter.counter);
    if (!raw.ok()) throwHW(L"PdhGetRawCounterValue failed, {}", getSystemErrorText(raw.error));

    platform::RawCounter& last = processWide<CpuProcess>().lastRawSample;
    if (last.firstValue == 0) {
        last = raw.value;
        return 0.0;
    }
    const auto result =
        counters().calculateCounterFromRawValue(counter.counter, platform::kFormatLarge, raw.value, last);
    if (!result.ok())
        throwHW(L"PdhCalculateCounterFromRawValue failed, {}", getSystemErrorText(result.error));
    const double load = static_cast<double>(result.value.largeValue) / 100.0;
    log::info(cpuLogger, L"cpu load: {}", load);
    last = raw.value;
    return load;
}

double Cpu::GetCpuSpeed() {
    log::entry(cpuLogger, L"orv::Cpu::GetCpuSpeed");
    if (cpuQuery == 0) {
        log::info(cpuLogger, L"init cpu speed PDH");
        const auto opened = counters().openQuery();
        if (!opened.ok()) throwHW(L"PdhOpenQuery failed, {}", getSystemErrorText(opened.error));
        cpuQuery = opened.value;
        const auto performance = counters().addCounter(cpuQuery, kPerformancePath);
        if (!performance.ok())
            throwHW(L"PdhAddCounter Performance failed, {}", getSystemErrorText(performance.error));
        cpuPerformance = performance.value;
        const auto basicSpeed = counters().addCounter(cpuQuery, kBaseSpeedPath);
        if (!basicSpeed.ok())
            throwHW(L"PdhAddCounter Frequency failed, {}", getSystemErrorText(basicSpeed.error));
        cpuBasicSpeed = basicSpeed.value;
        counters().collectQueryData(cpuQuery);
        return 0.0;
    }
    counters().collectQueryData(cpuQuery);
    const auto percent = counters().getFormattedCounterValue(cpuPerformance, platform::kFormatDouble);
    if (!percent.ok())
        throwHW(L"PdhGetFormattedCounterValue cpuPerformance failed, {}", getSystemErrorText(percent.error));
    const double performance = percent.value.doubleValue / 100.0;
    const auto base = counters().getFormattedCounterValue(cpuBasicSpeed, platform::kFormatDouble);
    if (!base.ok())
        throwHW(L"PdhGetFormattedCounterValue cpuBasicSpeed failed, {}", getSystemErrorText(base.error));
    const double basicSpeed = base.value.doubleValue;
    const double speed = performance * basicSpeed;
    if (!std::isfinite(speed))
        throwHW(L"cpu speed is no number, performance: {}, basic speed: {}", performance, basicSpeed);
    log::info(cpuLogger, L"cpu speed: {}, performance: {}, basic speed: {}", speed, performance, basicSpeed);
    return speed;
}

} // namespace orv
