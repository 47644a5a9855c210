/*
 * Orvane HwProbe: the state of this machine in 19 C functions.
 *
 * Loading      Load the library once and poll it. Loading opens the log file
 *              ./resources/log/cpp/orvaneHwProbe_YYYY-MM-DD.log below the current directory and touches no
 *              hardware. If the file cannot be made, everything else works without it. On Linux the file is
 *              its user's alone, and no symbolic link is followed to it. Loading also makes the lock that
 *              processes share for some USB bridges: on Linux a file of its name in /run/lock.
 * Log          The file takes lines from debug up, standard output from info up. Two environment variables,
 *              read while loading, choose others: HWPROBE_LOG_FILE and HWPROBE_LOG_CONSOLE, each trace,
 *              debug, info, warning, error, critical or off; what is none of these changes nothing. With
 *              the file off there is none. A host that polls for long wants "warning" or "off": polling
 *              every function once a second writes about half a gigabyte a day, and the library deletes
 *              nothing. On Linux a console line never blocks or signals the host: one that would have to
 *              wait is lost, and a standard output that has failed or is closed gets no more.
 * Threads      Call one function at a time, from any thread. Nothing here takes a lock for you: a host with
 *              several threads holds one lock of its own over the call, the copying of the text that it
 *              gave, and the getLastError that belongs to it. Most calls take well under a millisecond.
 *              Plan for a second where a first call measures the processor, for up to about five where
 *              memory modules are read over a busy bus, and for as long as a device driver takes to answer.
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
 *              failures have a buffer each), and at the latest until the library is unloaded.
 * Failures     A failure never leaves the library. The function gives the failure value told below, and
 *              getLastError gives the reason. The next call starts fresh.
 * Calling      Functions without an index can be called at any time. getDiskTemperature and
 * order        getDiskReadWriteSpeed need initDisk (or getAllDiskType, or getDiskNameWhichOsInstalled)
 *              before them, getBatteryAllMessage needs initBattery. releaseRing0 comes last.
 */
#ifndef ORVANE_HWPROBE_H
#define ORVANE_HWPROBE_H

#include <stdint.h>

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

/* Memory modules: {"code":1,"data":[{"manufacturer":TEXT,"model":TEXT},...]}; "data" is null when none is
   listed. Failure: {"code":0,"data":REASON}. Takes a quarter of a second or more for each module,
   some seconds when the memory bus does not become free; the answer is the same then. */
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

/* [{"SN":TEXT,"type":"SSD"|"HDD"},...], the drives in the order of `index`, or null without drives. Calls
   initDisk: after its failure the answer is null as well, and getLastError tells why.
   Failure: {"error":REASON}. */
ORVANE_HWPROBE_API const char* getAllDiskType(void);

/* Temperature of a drive in degrees Celsius. A drive that does not tell it gives about -1000.0 times its
   scale: -1000.0, or -500.0 where a unit is half a degree. Failure: -1.0; an index beyond the list is one. */
ORVANE_HWPROBE_API double getDiskTemperature(uint32_t index);

/* Throughput since the previous call for this drive, or since the list was made, in bytes per millisecond (by
   1000 it is bytes per second): {"write": 1024.000000, "read": 0.000000}. Negative when the drive's counters
   began anew. Asks the system alone, not the drive. Two calls within a millisecond are a failure, which
   leaves the earlier one to count from. Failure: {"error": "REASON"} with the reason unescaped and cut to
   1023 bytes in all, so it can be broken JSON. */
ORVANE_HWPROBE_API const char* getDiskReadWriteSpeed(uint32_t index);

/* The drive that the system is installed on: {"code":1,"diskName":MODEL}, or, with these blanks and without a
   word in getLastError, {"code":0, "data": "available disk not found"}. Finds the drives as initDisk does.
   Failure: {"code":0,"data":REASON}. */
ORVANE_HWPROBE_API const char* getDiskNameWhichOsInstalled(void);

/* ---- Batteries ------------------------------------------------------------------------------------------
 */

/* Finds the system batteries anew and gives their number; `index` below counts from 0 up to it.
   Failure: -1. */
ORVANE_HWPROBE_API int32_t initBattery(void);

/* A fresh reading of a battery as a JSON object: capacities in mWh, "power" in mW and "electricCurrent" in A
   (negative while discharging), "voltage" in mV, "estimatedTime" in seconds, "temperature" in degrees
   Celsius. Failure: {"error": "REASON"} with the reason unescaped, so it can be broken JSON. */
ORVANE_HWPROBE_API const char* getBatteryAllMessage(uint32_t index);

/* ---- Network --------------------------------------------------------------------------------------------
 */

/* Physical network cards, found once:
   [{"macAddress":TEXT,"manufacture":TEXT,"model":TEXT,"type":"Ethernet"|"WLAN"},...], or null without one.
   Failure: {"error":REASON}. */
ORVANE_HWPROBE_API const char* getNetCardMessage(void);

/* Rates since the previous call, in bytes per millisecond: [{"down":N,"model":TEXT,"up":N},...], or null
   without an adapter. The first call gives rates close to zero. Failure: {"error":REASON}. */
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
