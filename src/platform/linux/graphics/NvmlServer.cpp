#include "platform/linux/graphics/NvmlServer.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <limits>
#include <string_view>

namespace orv::platform {

namespace {

constexpr unsigned kNameSize = 96; // NVML_DEVICE_NAME_V2_BUFFER_SIZE
constexpr unsigned kGpuSensor = 0; // NVML_TEMPERATURE_GPU

template <class Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

void copy(std::string_view from, nvapi::ShortString& to) {
    to[from.copy(to, sizeof to - 1)] = '\0';
}

/// The kernel names a card by its place in hexadecimal digits, four at least for the domain.
std::string powerStateFile(const NvmlFunctions::PciInfo& pci) {
    char place[40];
    std::snprintf(place, sizeof place, "%04x:%02x:%02x.0", pci.domain, pci.bus, pci.device);
    return "/sys/bus/pci/devices/" + std::string(place) + "/power/runtime_status";
}

} // namespace

bool NvmlServer::load() {
    void* library = ::dlopen("libnvidia-ml.so.1", RTLD_NOW);
    if (!library) return false;
    const bool complete = find(library, "nvmlInit_v2", nvml_.init) &&
                          find(library, "nvmlDeviceGetCount_v2", nvml_.deviceCount) &&
                          find(library, "nvmlDeviceGetHandleByIndex_v2", nvml_.deviceByIndex) &&
                          find(library, "nvmlDeviceGetName", nvml_.name) &&
                          find(library, "nvmlDeviceGetTemperature", nvml_.temperature) &&
                          find(library, "nvmlDeviceGetUtilizationRates", nvml_.utilization) &&
                          find(library, "nvmlDeviceGetMemoryInfo", nvml_.memory) &&
                          find(library, "nvmlErrorString", nvml_.errorString) &&
                          find(library, "nvmlDeviceGetPciInfo_v3", nvml_.pciInfo);
    if (!complete) ::dlclose(library);
    return complete;
}

nvapi::Status NvmlServer::initialize() {
    return nvml_.init();
}

nvapi::Status NvmlServer::enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) {
    unsigned devices = 0;
    count = 0;
    if (const int status = nvml_.deviceCount(&devices)) return status;
    powerStates_.clear();
    for (unsigned i = 0; i < devices && count < nvapi::kMaxPhysicalGpus; ++i) {
        if (nvml_.deviceByIndex(i, &handles[count])) continue;
        NvmlFunctions::PciInfo pci{};
        if (nvml_.pciInfo(handles[count], &pci) == 0) powerStates_[handles[count]] = powerStateFile(pci);
        ++count;
    }
    return nvapi::kOk;
}

bool NvmlServer::isAsleep(nvapi::GpuHandle gpu) const {
    const auto file = powerStates_.find(gpu);
    return file != powerStates_.end() && files_.line(file->second).starts_with("suspend");
}

nvapi::Status NvmlServer::fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) {
    char text[kNameSize + 1] = {};
    const int status = nvml_.name(gpu, text, kNameSize);
    copy(text, name);
    return status;
}

nvapi::Status NvmlServer::thermalSettings(nvapi::GpuHandle gpu, std::uint32_t,
                                          nvapi::ThermalSettings& record) {
    if (isAsleep(gpu)) return nvapi::kCardSleeps;
    unsigned degrees = 0;
    if (const int status = nvml_.temperature(gpu, kGpuSensor, &degrees)) return status;
    record.count = 1;
    record.sensor[0].currentTemp = static_cast<std::int32_t>(degrees);
    return nvapi::kOk;
}

nvapi::Status NvmlServer::dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) {
    NvmlFunctions::Utilization utilization{};
    if (!isAsleep(gpu))
        if (const int status = nvml_.utilization(gpu, &utilization)) return status;
    record.utilization[0] = {1, utilization.gpu};
    return nvapi::kOk;
}

nvapi::Status NvmlServer::memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) {
    NvmlFunctions::Memory memory{};
    if (const int status = nvml_.memory(gpu, &memory)) return status;
    constexpr unsigned long long largest = std::numeric_limits<std::uint32_t>::max();
    record.dedicatedVideoMemory = static_cast<std::uint32_t>(std::min(memory.total / 1024, largest));
    return nvapi::kOk;
}

nvapi::Status NvmlServer::errorMessage(nvapi::Status status, nvapi::ShortString& text) {
    const char* const sentence = status == nvapi::kCardSleeps ? "the card sleeps" : nvml_.errorString(status);
    copy(sentence ? sentence : "", text);
    return nvapi::kOk;
}

} // namespace orv::platform
