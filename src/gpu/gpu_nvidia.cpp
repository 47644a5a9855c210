#include "gpu/gpu_nvidia.h"

#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/GraphicsSdk.h"
#include "platform/Platform.h"
#include "platform/Processes.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace orv {

namespace nvapi = platform::nvapi;

namespace {

struct NvapiState {
    nvapi::Status nvapiStatus = -1; ///< Last result of NvAPI_Initialize.
};

/// Calls a function by its interface id. A library or function that is missing has a status of its own.
template <class Signature, class... Args>
nvapi::Status call(std::uint32_t interfaceId, Args... args) {
    const auto found = platform::current().graphicsSdk().function(interfaceId);
    if (found.error == platform::kModuleNotFound) return nvapi::kLibraryNotFound;
    if (!found.ok()) return nvapi::kNoImplementation;
    return reinterpret_cast<Signature>(found.value)(args...);
}

/// A short string that the driver filled need not end in a NUL.
std::string fromShortString(const nvapi::ShortString& text) {
    return {text, ::strnlen(text, sizeof text)};
}

std::wstring statusText(nvapi::Status status) {
    nvapi::ShortString text = {};
    if (call<nvapi::GetErrorMessageFunction>(nvapi::kGetErrorMessage, status, text) != nvapi::kOk) return {};
    return EncodedText(fromShortString(text)).wide;
}

/// Starts the program that wakes up an adapter and waits for its end.
void runHelper() {
    const std::wstring program =
        fmt::format(L"{}\\resources\\lib\\active_nvidia.exe", std::filesystem::current_path().wstring());
    if (const auto error = platform::current().processes().runAndWait(program))
        throwHW(L"CreateProcess failed: {}", getSystemErrorText(error));
}

} // namespace

bool NvApiInit() {
    log::entry(nvidiaGpuLogger, L"orv::NvApiInit");
    nvapi::Status& status = processWide<NvapiState>().nvapiStatus;
    if (status == nvapi::kOk) return true;
    status = call<nvapi::InitializeFunction>(nvapi::kInitialize);
    if (status == nvapi::kOk) {
        log::info(nvidiaGpuLogger, L"NvAPI_Initialize: Ok");
        return true;
    }
    if (status == nvapi::kLibraryNotFound)
        log::error(nvidiaGpuLogger,
                   L"NvAPI_Initialize failed, error code: {}, error message: NVAPI_LIBRARY_NOT_FOUND",
                   status);
    else
        log::error(nvidiaGpuLogger, L"NvAPI_Initialize failed, error code: {}, error message: {}", status,
                   statusText(status));
    return false;
}

GpuList GetAllNvidiaGpus() {
    log::entry(nvidiaGpuLogger, L"orv::GetAllNvidiaGpus");
    if (!NvApiInit()) return {};
    nvapi::GpuHandle handles[nvapi::kMaxPhysicalGpus] = {};
    std::uint32_t count = 0;
    const auto status = call<nvapi::EnumPhysicalGpusFunction>(nvapi::kEnumPhysicalGpus, &handles[0], &count);
    if (status != nvapi::kOk) {
        log::error(nvidiaGpuLogger, L"NvAPI_EnumPhysicalGPUs failed: {}", statusText(status));
        return {};
    }
    GpuList gpus;
    const std::size_t usable = std::min<std::size_t>(count, nvapi::kMaxPhysicalGpus);
    for (std::size_t i = 0; i < usable && handles[i]; ++i) // a count may exceed what was filled
        gpus.push_back(std::make_shared<GpuNvidia>(handles[i]));
    log::info(nvidiaGpuLogger, L"GetAllNvidiaGpus: Ok, size: {}", gpus.size());
    return gpus;
}

std::string GetGpuModleNvidia(nvapi::GpuHandle handle) {
    log::entry(nvidiaGpuLogger, L"GetGpuModleNvidia");
    nvapi::ShortString name = {};
    const auto status = call<nvapi::GetFullNameFunction>(nvapi::kGetFullName, handle, &name[0]);
    if (status != nvapi::kOk)
        throwHW(L"NvAPI_GPU_GetFullName failed, error code: {}, message: {}", status, statusText(status));
    std::string model = fromShortString(name);
    log::info(nvidiaGpuLogger, L"GetGpuModleNvidia: Ok, model: {}", EncodedText(model).wide);
    return model;
}

std::int32_t GetGpuTemperatureNvidia(nvapi::GpuHandle handle) {
    log::entry(nvidiaGpuLogger, L"orv::GetGpuTemperatureNvidia");
    nvapi::ThermalSettings record{};
    record.version = nvapi::kThermalSettingsVersion;
    record.count = nvapi::kThermalSensors;
    const auto read = [&] {
        return call<nvapi::GetThermalSettingsFunction>(nvapi::kGetThermalSettings, handle,
                                                       nvapi::kAllThermalSensors, &record);
    };
    // A card that is left asleep on purpose is not activated.
    if (const auto first = read(); first != nvapi::kOk && first != nvapi::kCardSleeps) {
        log::warn(nvidiaGpuLogger,
                  L"Run NvAPI_GPU_GetThermalSettings fail, try to run \"./active_nvidia.exe\" to active gpu");
        runHelper();
    }
    // The second reading is the one that counts, also when the first one worked.
    if (const auto status = read(); status != nvapi::kOk)
        throwHW(L"NvAPI_GPU_GetThermalSettings failed: {}", statusText(status));
    const std::int32_t temperature = record.sensor[0].currentTemp;
    log::info(nvidiaGpuLogger, L"GetGpuTemperatureNvidia: Ok, temperature: {}", temperature);
    return temperature;
}

std::uint32_t GetGpuTotalMemoryNvidia(nvapi::GpuHandle handle) {
    log::entry(nvidiaGpuLogger, L"GetGpuTotalMemoryNvidia");
    nvapi::MemoryInfo record{};
    record.version = nvapi::kMemoryInfoVersion;
    const auto status = call<nvapi::GetMemoryInfoFunction>(nvapi::kGetMemoryInfo, handle, &record);
    if (status != nvapi::kOk) throwHW(L"NvAPI_GPU_GetMemoryInfo failed: {}", statusText(status));
    const std::uint32_t kilobytes = record.dedicatedVideoMemory;
    log::info(nvidiaGpuLogger, L"GetGpuTotalMemoryNvidia: Ok, total memory: {}", kilobytes);
    return kilobytes;
}

GpuNvidia::GpuNvidia(nvapi::GpuHandle handle) : physicalGpuHandle(handle) {
    gpuType = kNvidiaGpu;
    gpuName = GetGpuModleNvidia(handle);
}

double GpuNvidia::GetTemperature() {
    return GetGpuTemperatureNvidia(physicalGpuHandle);
}

double GpuNvidia::GetGpuLoad() {
    log::entry(nvidiaGpuLogger, L"orv::GpuNvidia::GetGpuLoad");
    nvapi::DynamicPstatesInfo record{};
    record.version = nvapi::kDynamicPstatesVersion;
    const auto status =
        call<nvapi::GetDynamicPstatesFunction>(nvapi::kGetDynamicPstatesInfoEx, physicalGpuHandle, &record);
    if (status != nvapi::kOk) throwHW(L"NvAPI_GPU_GetDynamicPstatesInfoEx failed: {}", statusText(status));
    const double load = record.utilization[0].percentage / 100.0;
    log::info(nvidiaGpuLogger, L"GetGpuLoad: Ok, load: {}", load);
    return load;
}

std::uint32_t GpuNvidia::GetTotalMemory() {
    return GetGpuTotalMemoryNvidia(physicalGpuHandle);
}

} // namespace orv
