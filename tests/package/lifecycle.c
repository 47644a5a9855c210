/*
 * What a host does to a library besides calling it: lifecycle LIBRARY COMMAND
 *
 *   unload CYCLES   loads, polls and unloads it; it must be gone from memory each time, with its descriptors
 *   fork CHILDREN   forks while a thread polls; each child calls every export and ends in time
 *   scarce MOST     lets each of the first MOST allocations of a report fail, alone and for good, in children
 *                   that have to come through and to call again
 *   storm SECONDS   sends a fault signal to the polling thread each millisecond
 *   cancel ROUNDS   cancels threads in each export, in loading and in unloading: the thread ends behind the
 * call, the process goes on
 */
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static const char* path;
static void* library; /* loaded from there */

/* The allocator of the whole process, the system's own functions included (glibc). */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);
static long allocations, failing, lasting; /* failing 0: memory is plentiful */
static int mayAllocate(void) {
    if (failing == 0) return 1;
    ++allocations;
    int may = lasting ? allocations < failing : allocations != failing;
    if (!may) errno = ENOMEM;
    return may;
}
void* malloc(size_t size) {
    return mayAllocate() ? __libc_malloc(size) : NULL;
}
void* calloc(size_t count, size_t size) {
    return mayAllocate() ? __libc_calloc(count, size) : NULL;
}
void* realloc(void* memory, size_t size) {
    return mayAllocate() ? __libc_realloc(memory, size) : NULL;
}

static void fail(const char* what, long number) {
    fprintf(stderr, "%s: %ld\n", what, number);
    _exit(1); /* a thread that was cancelled may have left a lock that an orderly end waits for */
}

static void load(void) {
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library) fail(dlerror(), 0);
}

typedef void (*Function)(void);
typedef void (*Indexed)(uint32_t); /* an index that a function does not take does no harm */

static Function find(const char* name) {
    Function function = NULL;
    void* address = dlsym(library, name);
    if (!address) fail(name, 0);
    memcpy(&function, &address, sizeof function);
    return function;
}

#define CALL(type, name) ((type(*)(void))find(name))()

/* Everything that answers at once; returns how many guarded reports a fault ended. */
static int poll(void) {
    static const char* const guarded[] = {"getNetCurrentSpeed", "getNetCardMessage"};
    int faults = 0;
    for (int i = 0; i < 2; ++i) {
        const char* answer = CALL(const char*, guarded[i]);
        if (answer[0] == '[' || strcmp(answer, "null") == 0) continue;
        if (!strstr(answer, "catch SEH exception: EXCEPTION_ACCESS_VIOLATION")) fail(answer, i);
        ++faults;
    }
    CALL(const char*, "getAllDiskType");
    int load = CALL(int32_t, "getMemoryLoad");
    if (load < 0 || load > 100) fail("getMemoryLoad", load);
    if (CALL(int32_t, "initBattery") < 0) fail("initBattery", -1);
    CALL(double, "getGpuLoad");
    CALL(const char*, "getLastError");
    return faults;
}

/* The functions that first measure the processor for half a second. The library does not know every family.
 */
static void pollProcessor(void) {
    const int load = CALL(double, "getCpuLoad") >= 0;
    if (!load && !strstr(CALL(const char*, "getLastError"), "not support")) fail("getCpuLoad", -1);
    CALL(double, "getCpuFrequency");
    if (load && CALL(int32_t, "getCpuBaseFrequency") <= 0) fail("getCpuBaseFrequency", -1);
}

static void (*handler(void))(int) {
    struct sigaction action;
    sigaction(SIGSEGV, NULL, &action);
    return action.sa_handler;
}

static int openDescriptors(void) {
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder))
        ++count;
    closedir(folder);
    return count;
}

static void unload(long cycles) {
    int descriptors = openDescriptors();
    for (long cycle = 0; cycle < cycles; ++cycle) {
        load();
        if (poll() != 0) fail("a report met a fault", cycle);
        if (cycle == 0) pollProcessor();
        dlclose(library);
        if (dlopen(path, RTLD_NOW | RTLD_NOLOAD)) fail("still in memory in cycle", cycle);
        if (openDescriptors() != descriptors) fail("descriptors open after the unloading", openDescriptors());
        if (handler() != SIG_DFL) fail("a handler left in cycle", cycle);
    }
}

static atomic_int stop;

static void* pollUntilStopped(void* unused) {
    while (!stop)
        poll();
    return unused;
}

static void sleepFor(long nanoseconds) {
    nanosleep(&(struct timespec){0, nanoseconds}, NULL);
}

static void forkWhilePolling(long children) {
    pthread_t thread;
    pthread_create(&thread, NULL, pollUntilStopped, NULL);
    for (long number = 0; number < children; ++number) {
        sleepFor(1000000 + number * 37000);
        pid_t child = fork();
        if (child == 0) {
            alarm(20);
            if (handler() != SIG_DFL) fail("a handler left in child", number);
            if (poll() + poll() != 0) fail("a fault in child", number);
            if (number % 10 == 0) pollProcessor();
            exit(0);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
            fail("a child ended with", status);
    }
    stop = 1;
    pthread_join(thread, NULL);
}

static atomic_long outside;

static void count(int signal) {
    (void)signal;
    ++outside;
}

static void* sendFaults(void* target) {
    while (!stop) {
        sleepFor(1000000);
        pthread_kill(*(pthread_t*)target, SIGSEGV);
    }
    return NULL;
}

static void storm(long seconds) {
    signal(SIGSEGV, count);
    pthread_t self = pthread_self(), thread;
    pthread_create(&thread, NULL, sendFaults, &self);
    long faults = 0;
    for (time_t end = time(NULL) + seconds; time(NULL) < end;)
        faults += poll();
    pollProcessor();
    stop = 1;
    pthread_join(thread, NULL);
    if (poll() != 0) fail("a fault after the last signal", faults);
    if (handler() != count) fail("the host's handler is gone", 0);
    if (faults == 0 || outside == 0) fail("no signal met a guarded report, or none met the host", faults);
}

static void scarce(long most) {
    static const char* const reports[] = {"getNetCurrentSpeed", "getNetCardMessage", "getAllDiskType",
                                          "getMemoryManufacturerAndModel"};
    for (int i = 0; i < 8; ++i)
        for (long number = 1; number <= most; ++number) {
            pid_t child = fork();
            if (child == 0) {
                alarm(20);
                lasting = i % 2;
                failing = number;
                CALL(const char*, reports[i / 2]);
                failing = 0;
                CALL(const char*, reports[i / 2]);
                _exit(allocations < number ? 2 : 0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            if (WIFEXITED(status) && WEXITSTATUS(status) == 2) break; /* fewer allocations than that */
            if (status != 0) fail(reports[i / 2], number);
        }
}

static char exports[] =
    "getCpuLoad getCpuTemperature getCpuFrequency getCpuBaseFrequency getGpuLoad getGpuTemperature "
    "getMemoryLoad getMemoryManufacturerAndModel initDisk getAllDiskType getDiskTemperature "
    "getDiskReadWriteSpeed getDiskNameWhichOsInstalled initBattery getBatteryAllMessage getNetCardMessage "
    "getNetCurrentSpeed getLastError releaseRing0";

struct Call {
    Indexed function;
    int atOnce; /* cancelled at any instruction, in one of many calls */
    atomic_int begun, returned;
};

static void* callAndBeCancelled(void* data) {
    struct Call* call = data;
    if (call->atOnce) {
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, NULL);
        call->begun = 1;
        for (;;)
            call->function(0);
    }
    pthread_cancel(pthread_self()); /* acts on the first wait that heeds it */
    call->function(0);
    call->returned = 1;
    pthread_testcancel();
    return NULL;
}

static void loadAndUnload(uint32_t unused) {
    (void)unused;
    load();
    dlclose(library);
}

static void cancelIn(const char* name, struct Call call, long round) {
    pthread_t thread;
    void* result = NULL;
    pthread_create(&thread, NULL, callAndBeCancelled, &call);
    if (call.atOnce) {
        do
            sleepFor(20000 + round * 17300);
        while (!call.begun);
        sleepFor(20000 + round * 17300);
        pthread_cancel(thread);
    }
    pthread_join(thread, &result);
    if (result != PTHREAD_CANCELED || call.returned == call.atOnce) fail(name, round);
}

static void cancel(long rounds) {
    cancelIn("loading", (struct Call){.function = loadAndUnload}, 0);
    load();
    for (const char* name = strtok(exports, " "); name; name = strtok(NULL, " ")) {
        cancelIn(name, (struct Call){.function = (Indexed)find(name)}, 0);
        for (long round = 0; round < rounds; ++round)
            cancelIn(name, (struct Call){.function = (Indexed)find(name), .atOnce = 1}, round);
    }
    if (poll() != 0) fail("a report met a fault", 0);
}

int main(int argc, char** argv) {
    if (argc != 4) fail("usage: lifecycle LIBRARY unload|fork|scarce|storm|cancel NUMBER; arguments", argc);
    path = argv[1];
    if (!freopen("/dev/null", "w", stdout)) fail("standard output", 0); /* takes the log's lines */
    const char* command = argv[2];
    long number = strtol(argv[3], NULL, 10);
    if (strcmp(command, "unload") == 0) unload(number);
    if (strcmp(command, "cancel") == 0) cancel(number);
    load();
    if (strcmp(command, "fork") == 0) forkWhilePolling(number);
    if (strcmp(command, "scarce") == 0) scarce(number);
    if (strcmp(command, "storm") == 0) storm(number);
    return 0;
}
