// Every global object of the library, in the order in which loading makes them. Their order in this file is
// the load order; nothing here touches hardware, loads a vendor library or starts a thread.

#include "frame/globals.h"

#include "gpu/AdlFunctionTable.h"
#include "log/Logger.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/floatingPoint.h"

#include <spdlog/sinks/stdout_color_sinks.h>

namespace orv {

const std::unordered_map<std::uint32_t, std::string> sehExceptionNames = {
    {0xC0000005, "EXCEPTION_ACCESS_VIOLATION"},
    {0x80000002, "EXCEPTION_DATATYPE_MISALIGNMENT"},
    {0x80000003, "EXCEPTION_BREAKPOINT"},
    {0x80000004, "EXCEPTION_SINGLE_STEP"},
    {0xC000008C, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {0xC000008D, "EXCEPTION_FLT_DENORMAL_OPERAND"},
    {0xC000008E, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {0xC000008F, "EXCEPTION_FLT_INEXACT_RESULT"},
    {0xC0000090, "EXCEPTION_FLT_INVALID_OPERATION"},
    {0xC0000091, "EXCEPTION_FLT_OVERFLOW"},
    {0xC0000092, "EXCEPTION_FLT_STACK_CHECK"},
    {0xC0000093, "EXCEPTION_FLT_UNDERFLOW"},
    {0xC0000094, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {0xC0000095, "EXCEPTION_INT_OVERFLOW"},
    {0xC0000096, "EXCEPTION_PRIV_INSTRUCTION"},
    {0xC0000006, "EXCEPTION_IN_PAGE_ERROR"},
    {0xC000001D, "EXCEPTION_ILLEGAL_INSTRUCTION"},
    {0xC0000025, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {0xC00000FD, "EXCEPTION_STACK_OVERFLOW"},
    {0xC0000026, "EXCEPTION_INVALID_DISPOSITION"},
    {0x80000001, "EXCEPTION_GUARD_PAGE"},
    {0xC0000008, "EXCEPTION_INVALID_HANDLE"},
};

namespace {
const bool floatingPointSet = (platform::setLoadFloatingPointControl(), true);
} // namespace

Logger cpuLogger("cpu");
Logger diskLogger("disk");
Logger batteryLogger("battery");
Logger memoryLogger("memory");
Logger networkAdapterLogger("network adapter");
Logger wlanLogger("WLAN");
Logger winRing0Logger("WinRing0");
Logger cpuInfoLogger("cpu info");
Logger hwExceptionLogger("HWException");
Logger wmiLogger("wmi");
Logger nvidiaGpuLogger("nvidia gpu");
Logger amdGpuLogger("amd gpu");

AdlFunctionTable adlFunctionTable;

Logger spdLogger("SPD");
Logger regeditLogger("regedit");
Logger cpuFrequencyLogger("cpuFrequency");
Logger mutexesLogger("Mutexes");
Logger smbusLogger("SMBUS");

namespace {

Logger* const allLoggers[] = {
    &cpuLogger,       &diskLogger,     &batteryLogger, &memoryLogger,      &networkAdapterLogger,
    &wlanLogger,      &winRing0Logger, &cpuInfoLogger, &hwExceptionLogger, &wmiLogger,
    &nvidiaGpuLogger, &amdGpuLogger,   &spdLogger,     &regeditLogger,     &cpuFrequencyLogger,
    &mutexesLogger,   &smbusLogger,
};

// The one place that chooses the platform.
struct HostPlatform {
    HostPlatform() : platform(platform::makeHostPlatform()) { platform::use(*platform); }
    std::unique_ptr<platform::Platform> platform;
} const hostPlatform;

} // namespace

void setConsole(Console target) {
    spdlog::sink_ptr console;
    if (target == Console::standardError)
        console = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    else
        console = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
    console->set_level(target == Console::off ? spdlog::level::off : spdlog::level::info);
    log::sharedSinks().front() = console;
    for (Logger* logger : allLoggers)
        logger->sinks().front() = console;
}

} // namespace orv
