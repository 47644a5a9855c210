#include "platform/windows/processor/ProcessorServices.h"

#include <windows.h>

#include <mmsystem.h>

namespace orv::platform {

Result<TimerPeriods> WindowsTimers::timeGetDevCaps() {
    TIMECAPS caps{};
    const MMRESULT result = ::timeGetDevCaps(&caps, sizeof caps);
    if (result != MMSYSERR_NOERROR) return Result<TimerPeriods>::failed(result);
    return {{caps.wPeriodMin, caps.wPeriodMax}};
}

void WindowsTimers::timeBeginPeriod(std::uint32_t milliseconds) {
    ::timeBeginPeriod(milliseconds);
}

void WindowsTimers::timeEndPeriod(std::uint32_t milliseconds) {
    ::timeEndPeriod(milliseconds);
}

std::uint32_t WindowsTimers::timeGetTime() {
    return ::timeGetTime();
}

Result<std::int64_t> WindowsTimers::queryPerformanceFrequency() {
    LARGE_INTEGER frequency{};
    if (!::QueryPerformanceFrequency(&frequency)) return Result<std::int64_t>::failed(::GetLastError());
    return {frequency.QuadPart};
}

std::int64_t WindowsTimers::queryPerformanceCounter() {
    LARGE_INTEGER now{};
    ::QueryPerformanceCounter(&now);
    return now.QuadPart;
}

Priorities WindowsTimers::priorities() {
    return {::GetPriorityClass(::GetCurrentProcess()), ::GetThreadPriority(::GetCurrentThread())};
}

void WindowsTimers::setPriorities(const Priorities& priorities) {
    ::SetPriorityClass(::GetCurrentProcess(), priorities.processClass);
    ::SetThreadPriority(::GetCurrentThread(), priorities.thread);
}

} // namespace orv::platform
