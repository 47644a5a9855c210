/*
 * Orvane HwProbe: the state of this machine in 19 C functions.
 *
 * Loading      Load the library once and poll it. Loading opens the log file
 *              ./resources/log/cpp/orvaneHwProbe_YYYY-MM-DD.log below the current directory and touches no
 *              hardware. If the file cannot be made, everything else works without it. On Linux the file is
 *              its user's alone, and no symbolic link is followed to it. Loading also makes the lock that
 *              processes share for some USB bridges: on Linux a file of its name in /run/lock.
 * Version      HWPROBE_VERSION_MAJOR, _MINOR, _PATCH and the text HWPROBE_VERSION are this header's. The
 *              library that is there at run time tells its own in the file: on Windows a version resource
 *              (GetFileVersionInfo), on Linux the SONAME libOrvane_HwProbe.so.MAJOR and a note with the
 *              owner "Orvane", type 1, the version as text (readelf -n). Within one MAJOR no function goes
 *              away or changes its form, and no key of a text goes away.
 * Convention   All functions are cdecl, also on 32-bit Windows, and exported under their plain names.
 *              The DLL is for 32-bit processes. double is 64 bits wide; on 32-bit x86 it comes back on the
 *              floating-point stack, as cdecl has it.
 * Log          The file takes lines from debug up, standard output from info up. Two environment variables,
 *              read while loading, choose others: HWPROBE_LOG_FILE and HWPROBE_LOG_CONSOLE, each trace,
 *              debug, info, warning, error, critical or off; what is none of these changes nothing. With
 *              the file off there is none. A Linux host with rights that its caller lacks (set-user-ID)
 *              takes neither. A host that polls for long wants "warning" or "off": polling
 *              every function once a second writes about half a gigabyte a day, and the library deletes
 *              nothing. On Linux a console line never blocks or signals the host: one that would have to
 *              wait is lost, and a standard output that has failed or is closed gets no more.
 * Threads      Call one function at a time, from any thread. Nothing here takes a lock for you: a host with
 *              several threads holds one lock of its own over the call, the copying of the text that it
 *              gave, and the getLastError that belongs to it. On Linux a thread that is cancelled in a call
 *              ends behind it.
 * Cost         At worst, by function; a call that is not named takes well under a millisecond.
 *                getCpuLoad,             The first of the four measures the clock, with the processor busy:
 *                getCpuTemperature,      half a second to a second. Later calls read a counter, or a register
 *                getCpuFrequency,        of each core.
 *                getCpuBaseFrequency
 *                getGpuLoad,             The first loads the driver's library and may wake a sleeping card:
 *                getGpuTemperature       up to a few seconds. Later calls take milliseconds.
 *                getMemoryManufacturerAndModel   A quarter of a second a module, up to about five seconds
 *                                        where the memory bus stays busy. Each call.
 *                initDisk,               The search for drives, once: as long as they take to answer,
 *                getAllDiskType,         seconds with many or with one that sleeps. Later, where five
 *                getDiskNameWhichOsInstalled,    seconds have passed, a fresh reading of each drive that
 *                getDiskTemperature      is asked: milliseconds, and seconds for one that sleeps.
 *                initBattery,            As long as the battery's driver takes, milliseconds as a rule.
 *                getBatteryAllMessage
 *                getNetCardMessage       The first looks for the cards, milliseconds as a rule.
 *              Nothing bounds a driver that does not answer: a host with a window calls from a thread of
 *              its own.
 * Windows      COM: the functions of memory modules and of drives start COM on the calling thread as
 *              COINIT_MULTITHREADED and end it again before they return. A thread that has COM in either
 *              form keeps it, and the library works in it; where it has the multithreaded form already, the
 *              start that such a call adds stays open. The first getMemoryManufacturerAndModel of a process
 *              whose security is not set calls CoInitializeSecurity (default authentication,
 *              impersonation), which a process can do once: a host that needs other settings makes them
 *              before.
 *              Floating point: loading unmasks the division by zero in the control word of the loading
 *              thread and masks the other exceptions (_controlfp with 0xFFFFFFF7, 0x8001F). It stays so
 *              after LoadLibrary; a host that divides by zero on purpose restores its word with _controlfp.
 *              Other threads and Linux see no change.
 *              Priority: while the clock is measured the calling thread and process run at a higher one.
 * Faults       getAllDiskType, getNetCardMessage and getNetCurrentSpeed stop a hardware fault of their own;
 *              in the others it is the process's. On Linux the library handles SIGSEGV, SIGBUS, SIGFPE and
 *              SIGILL while one of the three runs, in whatever thread, and hands the faults of other
 *              threads on to your handlers, which are back when the last of them returns. Such a signal
 *              that somebody sent to the calling thread lets the call come to its end and makes it fail.
 *              Memory that a stopped call had in use is lost, and so is a lock of the system's that it
 *              held.
 * Fork         A child can call. What was under way in another thread when it came into being starts anew
 *              there; a fork waits for the moments in which shared data is changed.
 * Unload       Once no call is running the library can be unloaded, and loaded again. Its log, its files
 *              and its access to machine registers are closed then.
 * Text         Every text is UTF-8, ends in a NUL and belongs to the library: never free it. A pointer
 *              stays valid until the same function gives an answer of the same kind again (answers and
 *              failures have a buffer each), and at the latest until the library is unloaded. Copy it
 *              before the next call; a binding that frees what a function returns has to be told not to.
 * JSON         Compact, keys in alphabetical order unless told otherwise. TEXT is a string, whose bytes
 *              that are no UTF-8 are dropped. INT is a whole number without a point. FLOAT has six digits at
 *              most, and a point or an exponent. A list without entries is null, not [].
 * Failures     A failure never leaves the library. The function gives the failure value told below, and
 *              getLastError gives the reason. The next call starts fresh.
 * Calling      Functions without an index can be called at any time. getDiskTemperature and
 * order        getDiskReadWriteSpeed need initDisk (or getAllDiskType, or getDiskNameWhichOsInstalled)
 *              before them, getBatteryAllMessage needs initBattery. releaseRing0 comes last.
 */
#ifndef ORVANE_HWPROBE_H
#define ORVANE_HWPROBE_H

#include <stdint.h>

/* The version of this header. The one place where the number stands: the build takes it from here. */
#define HWPROBE_VERSION_MAJOR 1
#define HWPROBE_VERSION_MINOR 0
#define HWPROBE_VERSION_PATCH 0
#define HWPROBE_TEXT_OF_(number) #number
#define HWPROBE_TEXT_(major, minor, patch)                                                                   \
    HWPROBE_TEXT_OF_(major) "." HWPROBE_TEXT_OF_(minor) "." HWPROBE_TEXT_OF_(patch)
#define HWPROBE_VERSION HWPROBE_TEXT_(HWPROBE_VERSION_MAJOR, HWPROBE_VERSION_MINOR, HWPROBE_VERSION_PATCH)

#if defined(ORVANE_HWPROBE_STATIC)
#define ORVANE_HWPROBE_API
#elif defined(_WIN32) && defined(ORVANE_HWPROBE_BUILD)
#define ORVANE_HWPROBE_API __declspec(dllexport)
#elif defined(_WIN32)
#define ORVANE_HWPROBE_API __declspec(dllimport)
#else
#define ORVANE_HWPROBE_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Processor ------------------------------------------------------------------------------------------
 */

/* Load since the previous call, as a fraction of 1 (0.25 is 25 percent). The first call gives 0.0.
   Failure: -1.0. */
ORVANE_HWPROBE_API double getCpuLoad(void);

/* Temperature in degrees Celsius; needs access to machine registers. Failure: -1.0. An Intel processor that
   refuses the register read gives 4294967295.0. */
ORVANE_HWPROBE_API double getCpuTemperature(void);

/* Current clock in MHz. The first call gives 0.0. Failure: -1.0. */
ORVANE_HWPROBE_API double getCpuFrequency(void);

/* Measured base clock in MHz. The first call of any processor function takes over half a second, the time of
   the measurement. Failure: -1. */
ORVANE_HWPROBE_API int32_t getCpuBaseFrequency(void);

/* ---- Graphics: the first usable adapter, NVIDIA before AMD ----------------------------------------------
 */

/* Load as a fraction of 1. Failure: -1.0; without an adapter the reason is "No gpu found". */
ORVANE_HWPROBE_API double getGpuLoad(void);

/* Temperature in degrees Celsius. Failure: -1.0, as above. */
ORVANE_HWPROBE_API double getGpuTemperature(void);

/* ---- Memory ---------------------------------------------------------------------------------------------
 */

/* Physical memory in use, in percent, 0 to 100. Failure: -1. */
ORVANE_HWPROBE_API int32_t getMemoryLoad(void);

/* The memory modules, an object:
     code          INT   1
     data          list  an object a module, in the system's order; null when none is listed, be it that
                         the system did not answer
       manufacturer  TEXT  as the system tells it, blanks kept; empty when unknown
       model         TEXT  the part number, likewise
   Soldered modules (LPDDR3, LPDDR4, LPDDR5) are one entry together.
   Failure:
     code          INT   0
     data          TEXT  the reason */
ORVANE_HWPROBE_API const char* getMemoryManufacturerAndModel(void);

/* ---- Disks ----------------------------------------------------------------------------------------------
 *
 * The drives that give SMART data, by SATA, NVMe, USB bridge or RAID driver, in the order of their drive
 * letters. They are looked for once in a process, by the first disk function that is called without an index,
 * which takes as long as the drives take to answer, some seconds with many of them or with one that sleeps.
 * The list stays: a drive that is plugged in later is not in it, and one that was pulled out keeps its place
 * and its last values. One drive whose counters cannot be read makes the whole list fail; the next call tries
 * again.
 *
 * SMART data need administrator rights on Windows and root on Linux, where a process without them finds no
 * drive. The counters behind the throughput need no right there.
 *
 * A drive is asked for SMART data at most once in five seconds, however often the functions are called; a
 * call within them gives the last values and touches no drive. A call after them takes as long as the drive's
 * answer, milliseconds as a rule, and seconds for a drive that sleeps. A drive that does not answer keeps its
 * last values, and the call is no failure.
 */

/* The number of drives; `index` below counts from 0 up to it. With drives in the list it looks for none.
   Failure: -1. */
ORVANE_HWPROBE_API int32_t initDisk(void);

/* The drives, a list of objects in the order of `index`; null without drives:
     SN            TEXT  serial number; may be empty
     type          TEXT  "SSD", or "HDD" for whatever does not call itself solid state
   Calls initDisk: after its failure the answer is null as well, and getLastError tells why.
   Failure:
     error         TEXT  the reason */
ORVANE_HWPROBE_API const char* getAllDiskType(void);

/* Temperature of a drive in degrees Celsius. A drive that does not tell it gives about -1000.0 times its
   scale: -1000.0, or -500.0 where a unit is half a degree. Failure: -1.0; an index beyond the list is one. */
ORVANE_HWPROBE_API double getDiskTemperature(uint32_t index);

/* Throughput since the previous call for this drive, or since the list was made, an object with the keys in
   this order and a blank after each colon and comma, {"write": 1024.000000, "read": 0.000000}:
     write         number with six decimals, bytes per millisecond (by 1000 it is bytes per second)
     read          likewise
   Negative when the drive's counters began anew. Asks the system alone, not the drive. Two calls within a
   millisecond are a failure, which leaves the earlier one to count from.
   Failure: {"error": "REASON"} with the reason unescaped and cut to 1023 bytes in all, so it can be broken
   JSON. */
ORVANE_HWPROBE_API const char* getDiskReadWriteSpeed(uint32_t index);

/* The drive that the system is installed on, an object. Finds the drives as initDisk does.
     code          INT   1
     diskName      TEXT  the drive's model
   When no drive of the list holds the system, with these blanks and without a word in getLastError:
   {"code":0, "data": "available disk not found"}.
   Failure:
     code          INT   0
     data          TEXT  the reason */
ORVANE_HWPROBE_API const char* getDiskNameWhichOsInstalled(void);

/* ---- Batteries ------------------------------------------------------------------------------------------
 */

/* Finds the system batteries anew and gives their number; `index` below counts from 0 up to it.
   Failure: -1. */
ORVANE_HWPROBE_API int32_t initBattery(void);

/* A fresh reading of a battery, an object. A battery that counts in units of its own instead of mWh and mW
   gives those.
     bias                 INT    critical bias, mWh as a rule; 0 when it has none
     capacity             INT    charge now, mWh; -1 when unknown
     cycleCount           INT    charge cycles; 0 when unknown
     designCapacity       INT    capacity when new, mWh; -1 when unknown
     electricCurrent      FLOAT  power by voltage, A, negative while discharging; 0.0 at a voltage of 0; means
                                 nothing while power or voltage is unknown
     estimatedTime        INT    seconds until empty; 0 when unknown or not discharging
     fullChargedCapacity  INT    capacity when full, mWh; -1 when unknown
     manufacturer         TEXT   may be empty; on Windows by way of the ANSI code page, so letters can be lost
     power                INT    mW, negative while discharging; -2147483648 when unknown
     status               list   of TEXT: "AC power", "discharging", "critical", "charging", in this order
                                 those that hold; the key is missing when none does
     temperature          INT    degrees Celsius; 0 when unknown; 4294967296 more below zero
     voltage              INT    mV; 4294967295 when unknown
   Failure: {"error": "REASON"} with the reason unescaped and cut to 4095 bytes in all, so it can be broken
   JSON. */
ORVANE_HWPROBE_API const char* getBatteryAllMessage(uint32_t index);

/* ---- Network --------------------------------------------------------------------------------------------
 */

/* Physical network cards, found once, a list of objects in the system's order; null without one:
     macAddress    TEXT  like "00-1a-2b-3c-4d-5e"; empty for a card without an address
     manufacture   TEXT  the model up to its first blank
     model         TEXT  the card's description
     type          TEXT  "Ethernet" or "WLAN"
   A Windows process needs SeDebugPrivilege, SeBackupPrivilege and SeRestorePrivilege.
   Failure:
     error         TEXT  the reason */
ORVANE_HWPROBE_API const char* getNetCardMessage(void);

/* Rates since the previous call, a list of objects, one an adapter; null without one. The adapters are those
   of the first call, whose rates are close to zero. A call within a millisecond gives the last ones again.
     down          FLOAT  received, bytes per millisecond
     model         TEXT   the adapter's description; may be empty
     up            FLOAT  sent, bytes per millisecond
   The system's counters have 32 bits, so one that wraps twice between two calls tells too little.
   Failure:
     error         TEXT   the reason */
ORVANE_HWPROBE_API const char* getNetCurrentSpeed(void);

/* ---- Ending and failures --------------------------------------------------------------------------------
 */

/* Ends the access to machine registers for the rest of the process. Call it once, when finished. */
ORVANE_HWPROBE_API void releaseRing0(void);

/* The reason of the most recent failure of any function; an empty text before the first. A success does not
   clear it. The pointer is valid until the next failure. */
ORVANE_HWPROBE_API const char* getLastError(void);

#ifdef __cplusplus
}
#endif

#endif
