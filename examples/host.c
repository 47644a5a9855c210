/*
 * A host that loads the library at run time and polls it: host LIBRARY
 *
 * It is built without the library. Numbers come back as values, structured answers as JSON text that belongs
 * to the library and is never freed here. The library also writes its log to standard output.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>

static void* loadLibrary(const char* path) {
    return LoadLibraryA(path);
}
static void* symbol(void* library, const char* name) {
    return (void*)(uintptr_t)GetProcAddress((HMODULE)library, name);
}
static void waitASecond(void) {
    Sleep(1000);
}
#else
#include <dlfcn.h>
#include <unistd.h>

static void* loadLibrary(const char* path) {
    return dlopen(path, RTLD_NOW);
}
static void* symbol(void* library, const char* name) {
    return dlsym(library, name);
}
static void waitASecond(void) {
    sleep(1);
}
#endif

static double (*getCpuLoad)(void);
static double (*getCpuTemperature)(void);
static double (*getCpuFrequency)(void);
static int32_t (*getCpuBaseFrequency)(void);
static double (*getGpuLoad)(void);
static double (*getGpuTemperature)(void);
static int32_t (*getMemoryLoad)(void);
static const char* (*getMemoryManufacturerAndModel)(void);
static int32_t (*initDisk)(void);
static const char* (*getAllDiskType)(void);
static double (*getDiskTemperature)(uint32_t index);
static const char* (*getDiskReadWriteSpeed)(uint32_t index);
static const char* (*getDiskNameWhichOsInstalled)(void);
static int32_t (*initBattery)(void);
static const char* (*getBatteryAllMessage)(uint32_t index);
static const char* (*getNetCardMessage)(void);
static const char* (*getNetCurrentSpeed)(void);
static void (*releaseRing0)(void);
static const char* (*getLastError)(void);

/* `function` is the address of one of the pointers above. */
static void find(void* library, const char* name, void* function) {
    void* address = symbol(library, name);
    if (!address) {
        fprintf(stderr, "the library has no %s\n", name);
        exit(1);
    }
    memcpy(function, &address, sizeof address);
}
#define FIND(name) find(library, #name, &(name))

static void findAll(void* library) {
    FIND(getCpuLoad);
    FIND(getCpuTemperature);
    FIND(getCpuFrequency);
    FIND(getCpuBaseFrequency);
    FIND(getGpuLoad);
    FIND(getGpuTemperature);
    FIND(getMemoryLoad);
    FIND(getMemoryManufacturerAndModel);
    FIND(initDisk);
    FIND(getAllDiskType);
    FIND(getDiskTemperature);
    FIND(getDiskReadWriteSpeed);
    FIND(getDiskNameWhichOsInstalled);
    FIND(initBattery);
    FIND(getBatteryAllMessage);
    FIND(getNetCardMessage);
    FIND(getNetCurrentSpeed);
    FIND(releaseRing0);
    FIND(getLastError);
}

/* Every number's failure value is -1; a text carries the reason of its failure itself. */
static void printNumber(const char* name, double value, const char* unit) {
    if (value == -1)
        printf("%s: failed: %s\n", name, getLastError());
    else
        printf("%s: %.2f %s\n", name, value, unit);
}

static void printText(const char* name, const char* text) {
    printf("%s: %s\n", name, text);
}

static void printMoving(void) {
    printNumber("getCpuLoad", getCpuLoad(), "of 1");
    printNumber("getCpuFrequency", getCpuFrequency(), "MHz");
    printNumber("getMemoryLoad", getMemoryLoad(), "percent");
    printText("getNetCurrentSpeed", getNetCurrentSpeed());
}

static void printDisks(void) {
    int32_t count = initDisk();
    printNumber("initDisk", count, "drives");
    for (int32_t index = 0; index < count; ++index) {
        printNumber("getDiskTemperature", getDiskTemperature((uint32_t)index), "degrees Celsius");
        printText("getDiskReadWriteSpeed", getDiskReadWriteSpeed((uint32_t)index));
    }
    printText("getAllDiskType", getAllDiskType());
    printText("getDiskNameWhichOsInstalled", getDiskNameWhichOsInstalled());
}

static void printBatteries(void) {
    int32_t count = initBattery();
    printNumber("initBattery", count, "batteries");
    for (int32_t index = 0; index < count; ++index)
        printText("getBatteryAllMessage", getBatteryAllMessage((uint32_t)index));
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: host LIBRARY\n");
        return 2;
    }
    void* library = loadLibrary(argv[1]);
    if (!library) {
        fprintf(stderr, "%s cannot be loaded\n", argv[1]);
        return 1;
    }
    findAll(library);
    printMoving();
    waitASecond(); /* Loads and rates tell what happened between two calls. */
    printMoving();
    printNumber("getCpuTemperature", getCpuTemperature(), "degrees Celsius");
    printNumber("getCpuBaseFrequency", getCpuBaseFrequency(), "MHz");
    printNumber("getGpuLoad", getGpuLoad(), "of 1");
    printNumber("getGpuTemperature", getGpuTemperature(), "degrees Celsius");
    printText("getMemoryManufacturerAndModel", getMemoryManufacturerAndModel());
    printDisks();
    printBatteries();
    printText("getNetCardMessage", getNetCardMessage());
    releaseRing0();
    return 0;
}
