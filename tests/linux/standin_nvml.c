/* A stand-in for libnvidia-ml.so.1: a driver of two cards, of which the first cannot be opened. Names,
 * records and statuses are those of the library's public interface; a call before nvmlInit_v2 is refused. */
#include "standin_nvml.h"

#include <stdio.h>
#include <string.h>

enum { uninitialized = 1, invalidArgument = 2, insufficientSize = 7, driverNotLoaded = 9, unknown = 999 };

struct StandinNvml standinNvml = {driverNotLoaded, 0, 0, 0, 0};

static int initialised;
static int card; /* a handle is the address of something */

struct Utilization {
    unsigned gpu, memory;
};
struct Memory {
    unsigned long long total, free, used;
};
struct PciInfo {
    char busIdLegacy[16];
    unsigned domain, bus, device, pciDeviceId, pciSubSystemId;
    char busId[32];
};

static int refuse(const void* device) {
    if (!initialised) return uninitialized;
    return device == &card ? 0 : invalidArgument;
}

int nvmlInit_v2(void) {
    initialised = standinNvml.initStatus == 0;
    return standinNvml.initStatus;
}

int nvmlDeviceGetCount_v2(unsigned* count) {
    *count = 2;
    return initialised ? 0 : uninitialized;
}

int nvmlDeviceGetHandleByIndex_v2(unsigned index, void** device) {
    if (index != 1) return unknown;
    *device = &card;
    return refuse(&card);
}

int nvmlDeviceGetName(void* device, char* name, unsigned size) {
    if (size < 96) return insufficientSize;
    memset(name, 'n', size); /* no room left for an end */
    return refuse(device);
}

int nvmlDeviceGetPciInfo_v3(void* device, struct PciInfo* pci) {
    memset(pci, 0, sizeof *pci);
    pci->domain = 0x10000;
    pci->bus = 0x0a;
    snprintf(pci->busId, sizeof pci->busId, "00010000:0A:00.0");
    return refuse(device);
}

int nvmlDeviceGetTemperature(void* device, unsigned sensor, unsigned* degrees) {
    ++standinNvml.readings;
    *degrees = 61;
    if (sensor != 0) return invalidArgument;
    return standinNvml.temperatureStatus ? standinNvml.temperatureStatus : refuse(device);
}

int nvmlDeviceGetUtilizationRates(void* device, struct Utilization* rates) {
    ++standinNvml.readings;
    rates->gpu = 83;
    rates->memory = 12;
    return standinNvml.utilizationStatus ? standinNvml.utilizationStatus : refuse(device);
}

int nvmlDeviceGetMemoryInfo(void* device, struct Memory* memory) {
    memory->total = standinNvml.memory;
    memory->free = 1;
    memory->used = 2;
    return refuse(device);
}

const char* nvmlErrorString(int status) {
    return status == 3 ? "Not Supported" : "Unknown Error";
}
