#include "platform/windows/processor/ProcessorServices.h"

#include <windows.h>

#include <cstring>
#include <pdh.h>
#include <string>

namespace orv::platform {

namespace {

static_assert(sizeof(PDH_RAW_COUNTER) == sizeof(RawCounter) &&
              offsetof(PDH_RAW_COUNTER, FirstValue) == offsetof(RawCounter, firstValue) &&
              offsetof(PDH_RAW_COUNTER, MultiCount) == offsetof(RawCounter, multiCount));
static_assert(PDH_FMT_DOUBLE == kFormatDouble && PDH_FMT_LARGE == kFormatLarge);

ErrorCode code(PDH_STATUS status) {
    return static_cast<ErrorCode>(status);
}

PDH_HCOUNTER counterOf(CounterHandle counter) {
    return reinterpret_cast<PDH_HCOUNTER>(counter);
}

PDH_HQUERY queryOf(CounterQuery query) {
    return reinterpret_cast<PDH_HQUERY>(query);
}

Result<FormattedCounter> formatted(PDH_STATUS status, DWORD format, const PDH_FMT_COUNTERVALUE& value) {
    if (status != ERROR_SUCCESS) return Result<FormattedCounter>::failed(code(status));
    FormattedCounter answer;
    if (format & PDH_FMT_DOUBLE)
        answer.doubleValue = value.doubleValue;
    else
        answer.largeValue = value.largeValue;
    return {answer};
}

} // namespace

Result<CounterQuery> WindowsPerformanceCounters::openQuery() {
    PDH_HQUERY query = nullptr;
    const PDH_STATUS status = ::PdhOpenQueryW(nullptr, 0, &query);
    if (status != ERROR_SUCCESS) return Result<CounterQuery>::failed(code(status));
    return {reinterpret_cast<CounterQuery>(query)};
}

Result<CounterHandle> WindowsPerformanceCounters::addCounter(CounterQuery query, std::wstring_view path) {
    PDH_HCOUNTER counter = nullptr;
    const PDH_STATUS status = ::PdhAddCounterW(queryOf(query), std::wstring(path).c_str(), 0, &counter);
    if (status != ERROR_SUCCESS) return Result<CounterHandle>::failed(code(status));
    return {reinterpret_cast<CounterHandle>(counter)};
}

ErrorCode WindowsPerformanceCounters::collectQueryData(CounterQuery query) {
    return code(::PdhCollectQueryData(queryOf(query)));
}

Result<RawCounter> WindowsPerformanceCounters::getRawCounterValue(CounterHandle counter) {
    RawCounter raw;
    const PDH_STATUS status =
        ::PdhGetRawCounterValue(counterOf(counter), nullptr, reinterpret_cast<PDH_RAW_COUNTER*>(&raw));
    if (status != ERROR_SUCCESS) return Result<RawCounter>::failed(code(status));
    return {raw};
}

Result<FormattedCounter> WindowsPerformanceCounters::calculateCounterFromRawValue(CounterHandle counter,
                                                                                  std::uint32_t format,
                                                                                  const RawCounter& newer,
                                                                                  const RawCounter& older) {
    PDH_RAW_COUNTER first{};
    PDH_RAW_COUNTER second{};
    std::memcpy(&first, &newer, sizeof first);
    std::memcpy(&second, &older, sizeof second);
    PDH_FMT_COUNTERVALUE value{};
    const PDH_STATUS status =
        ::PdhCalculateCounterFromRawValue(counterOf(counter), format, &first, &second, &value);
    return formatted(status, format, value);
}

Result<FormattedCounter> WindowsPerformanceCounters::getFormattedCounterValue(CounterHandle counter,
                                                                              std::uint32_t format) {
    PDH_FMT_COUNTERVALUE value{};
    const PDH_STATUS status = ::PdhGetFormattedCounterValue(counterOf(counter), format, nullptr, &value);
    return formatted(status, format, value);
}

void WindowsPerformanceCounters::removeCounter(CounterHandle counter) {
    ::PdhRemoveCounter(counterOf(counter));
}

void WindowsPerformanceCounters::closeQuery(CounterQuery query) {
    ::PdhCloseQuery(queryOf(query));
}

} // namespace orv::platform
