#include "platform/machine/Node.h"
#include "platform/machine/graphics/MachineGraphics.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();

struct NamedInterface {
    std::uint32_t id;
    const char* name;
};

constexpr NamedInterface kInterfaces[] = {
    {nvapi::kInitialize, "NvAPI_Initialize"},
    {nvapi::kEnumPhysicalGpus, "NvAPI_EnumPhysicalGPUs"},
    {nvapi::kGetFullName, "NvAPI_GPU_GetFullName"},
    {nvapi::kGetThermalSettings, "NvAPI_GPU_GetThermalSettings"},
    {nvapi::kGetDynamicPstatesInfoEx, "NvAPI_GPU_GetDynamicPstatesInfoEx"},
    {nvapi::kGetMemoryInfo, "NvAPI_GPU_GetMemoryInfo"},
    {nvapi::kGetErrorMessage, "NvAPI_GetErrorMessage"},
};

struct StatusText {
    nvapi::Status status;
    std::string_view text;
};

constexpr StatusText kStatusTexts[] = {
    {nvapi::kError, "NVAPI_ERROR"},
    {nvapi::kLibraryNotFound, "NVAPI_LIBRARY_NOT_FOUND"},
    {nvapi::kNoImplementation, "NVAPI_NO_IMPLEMENTATION"},
    {-4, "NVAPI_API_NOT_INITIALIZED"},
    {-5, "NVAPI_INVALID_ARGUMENT"},
    {-6, "NVAPI_NVIDIA_DEVICE_NOT_FOUND"},
    {nvapi::kExpectedPhysicalGpuHandle, "NVAPI_EXPECTED_PHYSICAL_GPU_HANDLE"},
    {nvapi::kNotSupported, "NVAPI_NOT_SUPPORTED"},
};

} // namespace

MachineNvidia::MachineNvidia(const Node& root, Requests& requests) : requests_(requests) {
    const auto graphics = root.find("graphics");
    const auto nvidia = graphics ? graphics->find("nvidia") : std::nullopt;
    if (!nvidia) return;
    installed_ = true;
    for (const Node& entry : nvidia->list("adapters")) {
        Adapter adapter;
        adapter.name = entry.text("name");
        if (entry.has("temperature"))
            adapter.temperature =
                static_cast<std::int32_t>(entry.signedNumber("temperature", kLowest, kHighest));
        if (entry.has("load")) adapter.load = static_cast<std::uint32_t>(entry.number("load", kAny32));
        if (entry.has("memory")) adapter.memory = static_cast<std::uint32_t>(entry.number("memory", kAny32));
        adapter.hasSensor = entry.flag("sensor", true);
        adapter.asleep = entry.flag("asleep", false);
        entry.done();
        adapters_.push_back(std::move(adapter));
    }
    if (adapters_.size() > nvapi::kMaxPhysicalGpus) nvidia->fail("more than 64 adapters");
    count_ = static_cast<std::uint32_t>(nvidia->number("count", kAny32, adapters_.size()));
    hasHelper_ = nvidia->flag("helper", false);
    for (const Node& name : nvidia->list("missing"))
        missing_.insert(name.asText());
    nvidia->done();
}

bool MachineNvidia::runHelper() {
    if (!hasHelper_) return false;
    for (Adapter& adapter : adapters_)
        adapter.asleep = false;
    return true;
}

nvapi::Status MachineNvidia::enter(RequestName function, nvapi::GpuHandle gpu, Adapter*& adapter,
                                   std::string_view rest) {
    const auto position = std::find_if(adapters_.begin(), adapters_.end(),
                                       [&](const Adapter& candidate) { return &candidate == gpu; });
    const auto error = requests_.enter(
        function, [&] { return fmt::format("gpu {}{}", position - adapters_.begin(), rest); });
    if (error) return static_cast<nvapi::Status>(error);
    if (position == adapters_.end()) return nvapi::kExpectedPhysicalGpuHandle;
    adapter = &*position;
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::initialize() {
    return static_cast<nvapi::Status>(requests_.enter("NvAPI_Initialize"));
}

nvapi::Status MachineNvidia::enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) {
    if (const auto error = requests_.enter("NvAPI_EnumPhysicalGPUs"))
        return static_cast<nvapi::Status>(error);
    for (std::size_t i = 0; i < adapters_.size(); ++i)
        handles[i] = &adapters_[i];
    count = count_;
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) {
    Adapter* adapter = nullptr;
    if (const auto status = enter("NvAPI_GPU_GetFullName", gpu, adapter)) return status;
    adapter->name.copy(name, sizeof name); // a name that fills the array has no NUL in it
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::thermalSettings(nvapi::GpuHandle gpu, std::uint32_t sensor,
                                             nvapi::ThermalSettings& record) {
    Adapter* adapter = nullptr;
    const auto arguments = fmt::format(" sensor {} count {}", sensor, record.count);
    if (const auto status = enter("NvAPI_GPU_GetThermalSettings", gpu, adapter, arguments)) return status;
    if (record.version != nvapi::kThermalSettingsVersion) return nvapi::kError;
    if (adapter->asleep || (adapter->hasSensor && !adapter->temperature)) return nvapi::kNotSupported;
    record.count = adapter->hasSensor ? 1 : 0;
    if (adapter->hasSensor) record.sensor[0].currentTemp = *adapter->temperature;
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) {
    Adapter* adapter = nullptr;
    if (const auto status = enter("NvAPI_GPU_GetDynamicPstatesInfoEx", gpu, adapter)) return status;
    if (record.version != nvapi::kDynamicPstatesVersion) return nvapi::kError;
    if (!adapter->load) return nvapi::kNotSupported;
    record.utilization[0] = {1, *adapter->load};
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) {
    Adapter* adapter = nullptr;
    if (const auto status = enter("NvAPI_GPU_GetMemoryInfo", gpu, adapter)) return status;
    if (record.version != nvapi::kMemoryInfoVersion) return nvapi::kError;
    if (!adapter->memory) return nvapi::kNotSupported;
    record.dedicatedVideoMemory = *adapter->memory;
    return nvapi::kOk;
}

nvapi::Status MachineNvidia::errorMessage(nvapi::Status status, nvapi::ShortString& text) {
    if (const auto error = requests_.enter("NvAPI_GetErrorMessage")) return static_cast<nvapi::Status>(error);
    std::string message = fmt::format("status {}", status);
    for (const StatusText& row : kStatusTexts)
        if (row.status == status) message = row.text;
    text[message.copy(text, sizeof text - 1)] = '\0';
    return nvapi::kOk;
}

Result<LibraryFunction> MachineGraphicsSdk::function(std::uint32_t interfaceId) {
    std::string name = fmt::format("{:#x}", interfaceId);
    for (const NamedInterface& row : kInterfaces)
        if (row.id == interfaceId) name = row.name;
    if (const ErrorCode error = requests_.enter("graphicsFunction", [&] { return name; }))
        return Result<LibraryFunction>::failed(error);
    if (!nvidia_.isInstalled()) return Result<LibraryFunction>::failed(kModuleNotFound);
    const LibraryFunction found = servedNvapiFunction(interfaceId);
    if (!found || nvidia_.lacks(name)) return Result<LibraryFunction>::failed(kProcedureNotFound);
    nvidia_.serve();
    return {found};
}

ErrorCode MachineProcesses::runAndWait(const std::wstring& program) {
    if (const ErrorCode error = requests_.enter("runAndWait", [&] { return wideToUtf8(program); }))
        return error;
    if (!program.ends_with(L"\\active_nvidia.exe")) return kFileNotFound;
    return nvidia_.runHelper() ? kSuccess : kFileNotFound;
}

} // namespace orv::platform
