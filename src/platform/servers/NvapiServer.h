#pragma once

#include "platform/GraphicsSdk.h"
#include "platform/records/NvapiRecords.h"

namespace orv::platform {

/// NVAPI where the vendor has none: what stands behind the seven functions. Handles are the server's own.
/// NVAPI's functions carry no context, so one server answers at a time, as a process has one driver.
class NvapiServer {
  public:
    NvapiServer() = default;
    virtual ~NvapiServer();
    NvapiServer(const NvapiServer&) = delete;
    NvapiServer& operator=(const NvapiServer&) = delete;

    /// From now on the functions ask this server.
    void serve();

    virtual nvapi::Status initialize() = 0;
    /// `handles` has kMaxPhysicalGpus entries.
    virtual nvapi::Status enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) = 0;
    virtual nvapi::Status fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) = 0;
    virtual nvapi::Status thermalSettings(nvapi::GpuHandle gpu, std::uint32_t sensor,
                                          nvapi::ThermalSettings& record) = 0;
    virtual nvapi::Status dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) = 0;
    virtual nvapi::Status memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) = 0;
    virtual nvapi::Status errorMessage(nvapi::Status status, nvapi::ShortString& text) = 0;
};

/// The function of an interface id, which asks the server; nullptr for an unknown id.
LibraryFunction servedNvapiFunction(std::uint32_t interfaceId);

} // namespace orv::platform
