// Every global object of the library, in the order in which loading makes them. Their order in this file is
// the load order; nothing here touches hardware, loads a vendor library or starts a thread.

#include "frame/border/globals.h"

#include "disk_engine/CAtaSmart.h"
#include "frame/border/TextResults.h"
#include "frame/sehGuard.h"
#include "gpu/AdlFunctionTable.h"
#include "log/Logger.h"
#include "log/log.h"
#include "memory/MemoryTables.h"
#include "platform/Cancellation.h"
#include "platform/Platform.h"
#include "platform/floatingPoint.h"

namespace orv {

namespace {

// Loading and unloading are calls too: the thread that does either is not cancelled from the first of these
// objects to the last.
constinit platform::Cancellation formerCancellation;

struct FirstObject {
    FirstObject() { formerCancellation = platform::holdCancellation(); }
    ~FirstObject() noexcept(false) { platform::restoreCancellation(formerCancellation); }
};

struct LastObject {
    LastObject() { platform::restoreCancellation(formerCancellation); }
    ~LastObject() noexcept(false) { formerCancellation = platform::holdCancellation(); }
};

const FirstObject firstObject;

} // namespace

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

namespace memory {

const NameTable memoryTypeName = {
    {0, L"Unknown"}, {24, L"DDR3"},   {26, L"DDR4"}, {28, L"LPDDR2"},
    {29, L"LPDDR3"}, {30, L"LPDDR4"}, {34, L"DDR5"}, {35, L"LPDDR5"},
};

const NameTable smbiosMemoryTypeName = {
    {1, L"Other"},   {2, L"Unknown"}, {3, L"DRAM"},    {4, L"EDRAM"},
    {5, L"VRAM"},    {6, L"SRAM"},    {7, L"RAM"},     {8, L"ROM"},
    {9, L"FLASH"},   {10, L"EEPROM"}, {11, L"FEPROM"}, {12, L"EPROM"},
    {13, L"CDRAM"},  {14, L"3DRAM"},  {15, L"SDRAM"},  {16, L"SGRAM"},
    {17, L"RDRAM"},  {18, L"DDR"},    {19, L"DDR2"},   {20, L"DDR2 FB-DIMM"},
    {24, L"DDR3"},   {25, L"FBD2"},   {26, L"DDR4"},   {27, L"LPDDR"},
    {28, L"LPDDR2"}, {29, L"LPDDR3"}, {30, L"LPDDR4"}, {31, L"Logical non-volatile device"},
    {32, L"HBM"},    {33, L"HBM2"},   {34, L"DDR5"},   {35, L"LPDDR5"},
};

const NameTable cimFormFactorName = {
    {-1, L"Unknown"}, {0, L"RowOfChip"}, {1, L"Other"},       {2, L"SIP"},     {3, L"DIP"},
    {4, L"ZIP"},      {5, L"SOJ"},       {6, L"Proprietary"}, {7, L"SIMM"},    {8, L"DIMM"},
    {9, L"TSOP"},     {10, L"PGA"},      {11, L"RIMM"},       {12, L"SODIMM"}, {13, L"SRIMM"},
    {14, L"SMD"},     {15, L"SSMP"},     {16, L"QFP"},        {17, L"TQFP"},   {18, L"SOIC"},
    {19, L"LCC"},     {20, L"PLCC"},     {21, L"BGA"},        {22, L"FPBGA"},  {23, L"LGA"},
};

const NameTable smbiosFormFactorName = {
    {1, L"Other"},   {2, L"Unknown"}, {3, L"SIMM"},          {4, L"SIP"},
    {5, L"Chip"},    {6, L"DIP"},     {7, L"ZIP"},           {8, L"Proprietary Card"},
    {9, L"DIMM"},    {10, L"TSOP"},   {11, L"Row of chips"}, {12, L"RIMM"},
    {13, L"SODIMM"}, {14, L"SRIMM"},  {15, L"FB-DIMM"},      {16, L"Die"},
};

} // namespace memory

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

// The one place that chooses the platform.
struct HostPlatform {
    HostPlatform() : platform(platform::makeHostPlatform()) { platform::use(*platform); }
    std::unique_ptr<platform::Platform> platform;
} const hostPlatform;

// After the platform, so that the exit list runs while it is there.
const bool failuresHaveRoom = (frame::makeRoomForFailures(), true);

// The one engine: it asks the platform for the system's version and its mutex, so it comes after it. It logs
// nothing, and its place among the loggers could not be told.
const bool engineMade = (processWide<CAtaSmart>(), true);

const LastObject lastObject;

} // namespace

void setConsole(Console target) {
    using platform::ConsoleStream;
    if (target == Console::off) return log::setConsole(std::nullopt);
    log::setConsole(target == Console::standardError ? ConsoleStream::error : ConsoleStream::output);
}

} // namespace orv
