// The sealed border of the library: each export is a few lines over the frame of callFrame.h.

#include "WLAN/WLAN.h"
#include "WinRing0/WinRing0.h"
#include "battery/BatteryReport.h"
#include "cpu/cpu.h"
#include "disk/DiskReport.h"
#include "frame/border/callFrame.h"
#include "frame/sehGuard.h"
#include "frame/supportedArch.h"
#include "gpu/Gpu.h"
#include "memory/MemInfo.h"
#include "memory/MemoryStatus.h"
#include "networks/adapter.h"
#include "orvane/hwprobe.h"

using namespace orv;
using frame::guarded;
using frame::guardedReading;
using frame::guardedText;
using frame::TextResults;

namespace {

/// The text of a report builder that runs under the hardware-fault guard.
template <class Builder>
std::string underSehGuard(Builder builder) {
    std::string text;
    sehGuard([&] { text = builder(); });
    return text;
}

/// A reading of the first adapter; a machine without one is told apart without an exception.
double ofFirstGpu(double (Gpu::*reading)()) {
    const GpuList& gpus = GetGpuList();
    if (gpus.empty()) {
        frame::setLastError("No gpu found");
        return -1.0;
    }
    return (gpus.front().get()->*reading)();
}

} // namespace

double getCpuLoad(void) {
    return guardedReading([] {
        GetCpuInstance();
        return Cpu::GetCpuLoad();
    });
}

double getCpuTemperature(void) {
    return guardedReading([] {
        if (!frame::isSupportedArch()) return -1.0;
        return GetCpuInstance()->GetTemperature();
    });
}

double getCpuFrequency(void) {
    return guardedReading([] {
        if (!frame::isSupportedArch()) return -1.0;
        return GetCpuInstance()->GetCpuSpeed();
    });
}

int32_t getCpuBaseFrequency(void) {
    return guarded(-1, [] { return GetCpuInstance()->GetCpuBaseFrequency(); });
}

double getGpuLoad(void) {
    return guardedReading([] { return ofFirstGpu(&Gpu::GetGpuLoad); });
}

double getGpuTemperature(void) {
    return guardedReading([] { return ofFirstGpu(&Gpu::GetTemperature); });
}

int32_t getMemoryLoad(void) {
    return guarded(-1, [] { return static_cast<int32_t>(memory::getMemoryStatus().memLoad); });
}

const char* getMemoryManufacturerAndModel(void) {
    return guardedText(&TextResults::memoryManufacturerAndModel, memory::manufacturerAndModelReport,
                       frame::kCodeObject);
}

int32_t initDisk(void) {
    return guarded(-1, disk::initialise);
}

const char* getAllDiskType(void) {
    return guardedText(
        &TextResults::allDiskType,
        [] {
            return underSehGuard([] {
                initDisk(); // a failure is told by getLastError; the report is that of no drives
                return disk::typeReport();
            });
        },
        frame::kErrorObject);
}

double getDiskTemperature(uint32_t index) {
    return guardedReading([&] { return frame::at(disk::diskList(), index).Temperature(); });
}

const char* getDiskReadWriteSpeed(uint32_t index) {
    return guardedText(
        &TextResults::diskReadWriteSpeed,
        [&] { return disk::speedReport(frame::at(disk::diskList(), index)); }, frame::kBoundedError<1024>);
}

const char* getDiskNameWhichOsInstalled(void) {
    return guardedText(&TextResults::diskNameWhichOsInstalled, disk::systemDiskReport, frame::kCodeObject);
}

int32_t initBattery(void) {
    return guarded(-1, battery::initialise);
}

const char* getBatteryAllMessage(uint32_t index) {
    return guardedText(
        &TextResults::batteryAllMessage,
        [&] { return battery::report(frame::at(battery::batteryList(), index)); },
        frame::kBoundedError<4096>);
}

const char* getNetCardMessage(void) {
    return guardedText(
        &TextResults::netCardMessage, [] { return underSehGuard(net::netCardReport); }, frame::kErrorObject);
}

const char* getNetCurrentSpeed(void) {
    return guardedText(
        &TextResults::netCurrentSpeed, [] { return underSehGuard(wlan::currentSpeedReport); },
        frame::kErrorObject);
}

void releaseRing0(void) {
    frame::entered([] {
        try {
            WinRing0Release();
        } catch (const std::exception&) {
            // No failure is reported. Without memory for its state the access was never begun.
        }
        return 0;
    });
}

const char* getLastError(void) {
    return frame::entered([] { return processWide<frame::LastError>().text.c_str(); });
}
