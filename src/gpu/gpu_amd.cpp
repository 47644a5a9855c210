#include "gpu/gpu_amd.h"

#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "gpu/AdlFunctionTable.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace orv {

namespace adl = platform::adl;

namespace {

struct AdlState {
    std::set<std::string, std::less<>> loadedFunctionNames;
    bool initialised = false;
};

bool isLoaded(std::string_view name) {
    return processWide<AdlState>().loadedFunctionNames.contains(name);
}

void* ORV_ADL_CALLBACK allocate(int size) {
    return size < 0 ? nullptr : std::malloc(static_cast<std::size_t>(size));
}

platform::Result<platform::Library> loadAdl() {
    platform::Libraries& libraries = platform::current().libraries();
    const auto library = libraries.load(L"atiadlxx.dll");
    return library.ok() ? library : libraries.load(L"atiadlxy.dll");
}

void resolveFunctions(platform::Library library, std::set<std::string, std::less<>>& loadedFunctionNames) {
    adlFunctionTable.forEach([&](auto& slot) {
        const auto found = platform::current().libraries().function(library, slot.name);
        slot.resolve(found.ok() ? found.value : nullptr);
        const std::wstring name = EncodedText(slot.name, std::strlen(slot.name)).wide;
        if (slot.loaded) {
            log::debug(amdGpuLogger, L"Load function: {}", name);
            loadedFunctionNames.insert(slot.name);
        } else {
            log::error(amdGpuLogger, L"Can not load function: {}", name);
        }
    });
}

/// A driver need not end the name in a NUL.
std::string adapterName(const adl::AdapterInfo& record) {
    return {record.adapterName, ::strnlen(record.adapterName, sizeof record.adapterName)};
}

// Integrated graphics, and the adapters of others that ADL lists too.
constexpr std::string_view kSkippedNames[] = {
    "AMD Radeon(TM) Graphics",
    "AMD Radeon(TM) Vega ", // the blank is part of it: a bare "Vega" names a card
    "AMD Radeon (TM) 780M Graphics",
};
constexpr std::string_view kOtherVendors[] = {"nvidia", "intel", "microsoft"}; // in lower case

bool isSkipped(const adl::AdapterInfo& record) {
    std::string name = adapterName(record);
    log::debug(amdGpuLogger, L"adapter name: {}, index: {}", EncodedText(name).wide, record.adapterIndex);
    const auto holds = [&](std::string_view part) { return name.find(part) != name.npos; };
    if (std::any_of(std::begin(kSkippedNames), std::end(kSkippedNames), holds)) return true;
    for (char& letter : name)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return std::any_of(std::begin(kOtherVendors), std::end(kOtherVendors), holds);
}

std::vector<adl::AdapterInfo> readAdapterInfos() {
    int count = 0;
    adlFunctionTable.numberOfAdapters(&count);
    log::info(amdGpuLogger, L"GetAllAmdGpus: number of adapters: {}", count);
    if (count < 1) return {};
    if (count > adl::kMaxAdapters)
        throwHW(L"ADL_Adapter_NumberOfAdapters_Get gave {} adapters, more than the {} that there can be",
                count, adl::kMaxAdapters);
    std::vector<adl::AdapterInfo> records(static_cast<std::size_t>(count));
    adlFunctionTable.adapterInfo(records.data(), static_cast<int>(records.size() * sizeof(adl::AdapterInfo)));
    for (const adl::AdapterInfo& record : records) {
        int status = 0; // not looked at: an inactive entry that can be read is as good
        adlFunctionTable.adapterActive(record.adapterIndex, &status);
    }
    return records;
}

std::uint32_t slotKey(const adl::AdapterInfo& record) {
    return static_cast<std::uint32_t>(record.busNumber) << 16 |
           static_cast<std::uint32_t>(record.deviceNumber);
}

} // namespace

bool AdlInit() {
    log::entry(amdGpuLogger, L"orv::AdlInit");
    AdlState& state = processWide<AdlState>();
    if (state.initialised) return true;
    const auto library = loadAdl();
    if (!library.ok()) {
        log::error(amdGpuLogger, L"Can not load atiadlxx.dll or atiadlxy.dll");
        return false;
    }
    resolveFunctions(library.value, state.loadedFunctionNames);
    if (const auto result = adlFunctionTable.mainControlCreate(allocate, 1); result != adl::kOk) {
        log::error(amdGpuLogger, L"ADL_Main_Control_Create failed, error code: {}", result);
        return false;
    }
    log::info(amdGpuLogger, L"AdlInit: OK, init functions size: {}", state.loadedFunctionNames.size());
    state.initialised = true;
    return true;
}

GpuList GetAllAmdGpus() {
    log::entry(amdGpuLogger, L"orv::GetAllAmdGpus");
    if (!AdlInit()) return {};
    std::vector<adl::AdapterInfo> records = readAdapterInfos();
    if (records.empty()) return {};
    std::erase_if(records, isSkipped);

    // Several entries can stand for one card: the one that answers most stays, the earlier one on a tie. The
    // cards keep the order of the library.
    std::vector<std::pair<std::uint32_t, std::shared_ptr<GpuAmd>>> bySlot;
    for (const adl::AdapterInfo& record : records) {
        auto gpu = std::make_shared<GpuAmd>(record);
        if (!gpu->isTemperatureTestPassed()) continue;
        const auto key = slotKey(record);
        const auto held = std::ranges::find(bySlot, key, [](const auto& slot) { return slot.first; });
        if (held == bySlot.end())
            bySlot.emplace_back(key, std::move(gpu));
        else if (gpu->getSensorCount() > held->second->getSensorCount())
            held->second = std::move(gpu);
    }
    GpuList gpus;
    for (auto& [key, gpu] : bySlot)
        gpus.push_back(std::move(gpu));
    log::info(amdGpuLogger, L"GetAllAmdGpus: OK, size: {}", gpus.size());
    return gpus;
}

std::int32_t GetPMLog(const adl::PmLogData& data, std::size_t index) {
    if (data.size < 0 || index >= static_cast<std::size_t>(data.size)) return 0;
    if (index >= adl::kPmLogSensors || !data.sensors[index].supported) return 0;
    return data.sensors[index].value;
}

GpuAmd::GpuAmd(const adl::AdapterInfo& record) : adapterInfo(record) {
    log::entry(amdGpuLogger, L"orv::GpuAmd::GpuAmd");
    gpuType = kAmdGpu;
    if (isLoaded(adlFunctionTable.createContext.name)) {
        const auto result =
            adlFunctionTable.createContext(allocate, adapterInfo.adapterIndex, &contextHandle);
        if (result != adl::kOk) throwHW(L"ADL2_Main_Control_Create failed, error code: {}", result);
    }
    findOverdriveLevel();
    gpuName = adapterName(adapterInfo);
    log::info(amdGpuLogger, L"Construct a GpuAmd, adapter index: {}", adapterInfo.adapterIndex);
    if (overdriveSupported)
        log::info(amdGpuLogger, L"Overdrive api supported, current api level: {}", currentOverdriveApiLevel);
    else
        log::info(amdGpuLogger, L"Overdrive api not supported");
    testReadings();
}

GpuAmd::~GpuAmd() {
    log::entry(amdGpuLogger, L"orv::GpuAmd::~GpuAmd");
    if (contextHandle && adlFunctionTable.destroyContext.loaded)
        adlFunctionTable.destroyContext(contextHandle);
}

void GpuAmd::findOverdriveLevel() {
    const int index = adapterInfo.adapterIndex;
    int supported = 0;
    int enabled = 0;
    // A failing call may have written a version; the next probes replace it or leave it.
    if (isLoaded(adlFunctionTable.overdriveCaps.name) &&
        adlFunctionTable.overdriveCaps(index, &supported, &enabled, &currentOverdriveApiLevel) == adl::kOk) {
        overdriveSupported = supported == 1;
        return;
    }
    adl::Od6Capabilities od6{};
    if (isLoaded(adlFunctionTable.od6Capabilities.name) &&
        adlFunctionTable.od6Capabilities(contextHandle, index, &od6) == adl::kOk && od6.capabilities > 0) {
        overdriveSupported = true;
        currentOverdriveApiLevel = 6;
        return;
    }
    if (!isLoaded(adlFunctionTable.od5Parameters.name)) return;
    adl::Od5Parameters od5{};
    overdriveSupported = adlFunctionTable.od5Parameters(index, &od5) == adl::kOk;
    currentOverdriveApiLevel = overdriveSupported ? 5 : -1;
}

void GpuAmd::testReadings() {
    const int index = adapterInfo.adapterIndex;
    try {
        GpuAmd::GetTemperature();
        temperatureTestPassed = true;
        log::debug(amdGpuLogger, L"Index: {}, GetTemperature: OK", index);
    } catch (const std::exception&) {
        temperatureTestPassed = asleep; // it has a thermometer, and is not woken up to try it
        log::debug(amdGpuLogger, L"Index: {}, GetTemperature: Fail", index);
    }
    if (temperatureTestPassed) sensorCount += 2;
    try {
        GpuAmd::GetGpuLoad();
        sensorCount += 1;
        loadTestPassed = true;
        log::debug(amdGpuLogger, L"Index: {}, GetGpuLoad: OK", index);
    } catch (const std::exception&) {
        log::debug(amdGpuLogger, L"Index: {}, GetGpuLoad: Fail", index);
    }
}

std::uint32_t GpuAmd::getSensorCount() const {
    log::entry(amdGpuLogger, L"orv::GpuAmd::getSensorCount");
    return sensorCount;
}

double GpuAmd::GetTemperature() {
    log::entry(amdGpuLogger, L"orv::GpuAmd::GetTemperature");
    if (!contextHandle) throwHW(L"contextHandle is null");
    if (!overdriveSupported) return GetGpuTemperatureAmdPmLog();
    return currentOverdriveApiLevel < 7 ? GetGpuTemperatureAmdOD5() : GetGpuTemperatureAmdODN();
}

double GpuAmd::GetGpuTemperatureAmdPmLog() {
    adl::PmLogData data{};
    const auto result = adlFunctionTable.pmLog(contextHandle, adapterInfo.adapterIndex, &data);
    if (result != adl::kOk) throwHW(L"ADL2_New_QueryPMLogData_Get failed: {}", result);
    const double temperature = GetPMLog(data, adl::kPmLogTemperature);
    log::info(amdGpuLogger, L"GetGpuTemperatureAmdPmLog: Ok, temperature: {}", temperature);
    return temperature;
}

double GpuAmd::GetGpuTemperatureAmdOD5() {
    adl::Od5Temperature record{};
    const auto result = adlFunctionTable.od5Temperature(adapterInfo.adapterIndex, 0, &record);
    asleep = result == adl::kCardSleeps;
    if (asleep) throwHW(L"ADL_Overdrive5_Temperature_Get failed: {}, the card sleeps", result);
    if (result != adl::kOk) throwHW(L"ADL_Overdrive5_Temperature_Get failed: {}", result);
    const double temperature = record.temperature * 0.001;
    log::info(amdGpuLogger, L"GetGpuTemperatureAmdOD5: Ok, temperature: {}", temperature);
    return temperature;
}

double GpuAmd::GetGpuTemperatureAmdODN() {
    int t = 0;
    const auto result = adlFunctionTable.odnTemperature(contextHandle, adapterInfo.adapterIndex, 1, &t);
    if (result != adl::kOk || t < -256 || t > 256) throwHW(L"ADL2_OverdriveN_Temperature_Get failed");
    log::info(amdGpuLogger, L"GetGpuTemperatureAmdODN: Ok, temperature: {}", t);
    return t;
}

double GpuAmd::GetGpuLoad() {
    log::entry(amdGpuLogger, L"orv::GpuAmd::GetGpuLoad");
    constexpr double none = -1.0;
    double load = none;
    if (overdriveSupported) {
        log::debug(amdGpuLogger, L"GetGpuLoad: ADL_Overdrive5_CurrentActivity_Get");
        adl::Od5Activity activity{};
        const auto result = adlFunctionTable.od5Activity(adapterInfo.adapterIndex, &activity);
        if (result == adl::kOk)
            load = std::min(activity.activityPercent / 100.0, 1.0);
        else
            log::debug(amdGpuLogger, L"GetGpuLoad: ADL_Overdrive5_CurrentActivity_Get failed: {}", result);
    }
    if (currentOverdriveApiLevel >= 8 || !overdriveSupported) {
        log::debug(amdGpuLogger, L"GetGpuLoad: GetPMLog");
        adl::PmLogData data{};
        const auto result = adlFunctionTable.pmLog(contextHandle, adapterInfo.adapterIndex, &data);
        if (result == adl::kOk)
            load = std::min(GetPMLog(data, adl::kPmLogActivity) / 100.0, 1.0);
        else
            log::debug(amdGpuLogger, L"GetGpuLoad: ADL2_New_QueryPMLogData_Get failed: {}", result);
    }
    if (load == none)
        throwHW(L"GetGpuLoad: no implementation for currentOverdriveApiLevel: {}", currentOverdriveApiLevel);
    log::info(amdGpuLogger, L"Gpu {} GetGpuLoad: Ok, load: {}", EncodedText(gpuName).wide, load);
    return load;
}

std::uint32_t GpuAmd::GetTotalMemory() {
    log::entry(amdGpuLogger, L"orv::GpuAmd::GetTotalMemory");
    std::int64_t size = 0;
    if (adlFunctionTable.memoryInfoX4.loaded) {
        if (!contextHandle) throwHW(L"contextHandle is null");
        adl::MemoryInfoX4 record{};
        const auto result = adlFunctionTable.memoryInfoX4(contextHandle, adapterInfo.adapterIndex, &record);
        if (result != adl::kOk) throwHW(L"ADL2_Adapter_MemoryInfoX4_Get failed: {}", result);
        size = record.memorySize;
    } else {
        log::warn(amdGpuLogger, L"ADL2_Adapter_MemoryInfoX4_Get not loaded, try ADL2_Adapter_MemoryInfo_Get");
        if (!adlFunctionTable.memoryInfo.loaded) {
            log::error(amdGpuLogger, L"ADL2_Adapter_MemoryInfo_Get not loaded");
            return 0;
        }
        adl::MemoryInfo record{};
        const auto result = adlFunctionTable.memoryInfo(contextHandle, adapterInfo.adapterIndex, &record);
        if (result != adl::kOk) throwHW(L"ADL2_Adapter_MemoryInfo_Get failed: {}", result);
        size = record.memorySize;
    }
    const auto kilobytes = static_cast<std::uint32_t>(size / 1024);
    log::info(amdGpuLogger, L"GetTotalMemory: Ok, memory: {} Kb", kilobytes);
    return kilobytes;
}

} // namespace orv
