#pragma once

#include "platform/servers/NvapiServer.h"

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
    int (*init)() = nullptr;
    int (*deviceCount)(unsigned*) = nullptr;
    int (*deviceByIndex)(unsigned, Device*) = nullptr;
    int (*name)(Device, char*, unsigned) = nullptr;
    int (*temperature)(Device, unsigned sensor, unsigned*) = nullptr;
    int (*utilization)(Device, Utilization*) = nullptr;
    int (*memory)(Device, Memory*) = nullptr;
    const char* (*errorString)(int) = nullptr;
};

/// NVAPI's functions over NVML. Statuses and their texts are NVML's; a device without a handle is left out.
class NvmlServer : public NvapiServer {
  public:
    NvmlServer() = default;
    explicit NvmlServer(const NvmlFunctions& functions) : nvml_(functions) {}

    /// Loads libnvidia-ml.so.1; false when it is missing or lacks a function.
    bool load();

    nvapi::Status initialize() override;
    nvapi::Status enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) override;
    nvapi::Status fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) override;
    nvapi::Status thermalSettings(nvapi::GpuHandle gpu, nvapi::ThermalSettings& record) override;
    nvapi::Status dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) override;
    nvapi::Status memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) override;
    nvapi::Status errorMessage(nvapi::Status status, nvapi::ShortString& text) override;

  private:
    NvmlFunctions nvml_;
};

} // namespace orv::platform
