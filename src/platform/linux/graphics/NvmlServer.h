#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "platform/servers/NvapiServer.h"

#include <map>
#include <string>

namespace orv::platform {

/// The part of NVML (nvml.h of NVIDIA's driver) that is used. Every function gives 0 on success.
struct NvmlFunctions {
    using Device = void*;
    struct Utilization {
        unsigned gpu; // percent
        unsigned memory;
    };
    struct Memory {
        unsigned long long total; // bytes
        unsigned long long free;
        unsigned long long used;
    };
    struct PciInfo {
        char busIdLegacy[16];
        unsigned domain;
        unsigned bus;
        unsigned device;
        unsigned pciDeviceId;
        unsigned pciSubSystemId;
        char busId[32]; // "00000000:01:00.0"
    };
    int (*init)() = nullptr;
    int (*deviceCount)(unsigned*) = nullptr;
    int (*deviceByIndex)(unsigned, Device*) = nullptr;
    int (*name)(Device, char*, unsigned) = nullptr;
    int (*temperature)(Device, unsigned sensor, unsigned*) = nullptr;
    int (*utilization)(Device, Utilization*) = nullptr;
    int (*memory)(Device, Memory*) = nullptr;
    const char* (*errorString)(int) = nullptr;
    int (*pciInfo)(Device, PciInfo*) = nullptr;
};

/// NVAPI's functions over NVML. Statuses and their texts are NVML's; a device without a handle is left out.
/// A card that sleeps is not woken up: its load is 0 and its temperature refused.
class NvmlServer : public NvapiServer {
  public:
    explicit NvmlServer(const RootedFiles& files) : files_(files) {}

    /// Loads libnvidia-ml.so.1; false when it is missing or lacks a function.
    bool load();

    nvapi::Status initialize() override;
    nvapi::Status enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) override;
    nvapi::Status fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) override;
    nvapi::Status thermalSettings(nvapi::GpuHandle gpu, std::uint32_t sensor,
                                  nvapi::ThermalSettings& record) override;
    nvapi::Status dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) override;
    nvapi::Status memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) override;
    nvapi::Status errorMessage(nvapi::Status status, nvapi::ShortString& text) override;

  private:
    bool isAsleep(nvapi::GpuHandle gpu) const;

    const RootedFiles& files_;
    NvmlFunctions nvml_;
    std::map<nvapi::GpuHandle, std::string> powerStates_; ///< File of a listed card's state.
};

} // namespace orv::platform
