#include "platform/machine/Node.h"
#include "platform/machine/graphics/MachineGraphics.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace orv::platform {

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();

std::int32_t number(const Node& node, std::string_view key) {
    return static_cast<std::int32_t>(node.signedNumber(key, kLowest, kHighest));
}

std::int32_t number(const Node& node, std::string_view key, std::int32_t fallback) {
    return node.has(key) ? number(node, key) : fallback;
}

std::optional<std::int32_t> optionalNumber(const Node& node, std::string_view key) {
    if (!node.has(key)) return std::nullopt;
    return number(node, key);
}

std::optional<adl::PmLogData> readPmLog(const Node& adapter) {
    const auto log = adapter.find("pmLog");
    if (!log) return std::nullopt;
    adl::PmLogData data{};
    data.size = number(*log, "size", static_cast<std::int32_t>(adl::kPmLogSensors));
    if (const auto sensors = log->find("sensors")) {
        for (const std::string& key : sensors->keys()) {
            const bool isNumber =
                !key.empty() && key.size() <= 3 && key.find_first_not_of("0123456789") == key.npos;
            const std::size_t index = isNumber ? std::stoul(key) : adl::kPmLogSensors;
            if (index >= adl::kPmLogSensors) sensors->fail("\"" + key + "\" is no sensor from 0 to 255");
            data.sensors[index] = {1, number(*sensors, key)};
        }
    }
    log->done();
    return data;
}

bool allocates(adl::Allocator allocator) {
    void* memory = allocator ? allocator(1) : nullptr;
    std::free(memory); // it is the run-time's plain allocation
    return memory != nullptr;
}

} // namespace

MachineAmd::Adapter MachineAmd::readAdapter(const Node& entry, std::size_t position) {
    Adapter adapter;
    adapter.info.size = sizeof adapter.info;
    adapter.info.adapterIndex = number(entry, "index", static_cast<std::int32_t>(position));
    adapter.info.busNumber = number(entry, "bus");
    adapter.info.deviceNumber = number(entry, "device");
    // A name that fills the array has no NUL in it.
    entry.text("name").copy(adapter.info.adapterName, sizeof adapter.info.adapterName);
    if (const auto overdrive = entry.find("overdrive")) {
        adapter.overdrive = Caps{number(*overdrive, "supported", 1), number(*overdrive, "version")};
        overdrive->done();
    }
    adapter.overdrive6 = optionalNumber(entry, "overdrive6");
    adapter.overdrive5 = entry.flag("overdrive5", false);
    adapter.od5Temperature = optionalNumber(entry, "od5Temperature");
    adapter.odnTemperature = optionalNumber(entry, "odnTemperature");
    adapter.activity = optionalNumber(entry, "activity");
    adapter.pmLog = readPmLog(entry);
    if (entry.has("memory"))
        adapter.memory = entry.signedNumber("memory", 0, std::numeric_limits<std::int64_t>::max());
    entry.done();
    return adapter;
}

MachineAmd::MachineAmd(const Node& root, Requests& requests) : requests_(requests) {
    const auto graphics = root.find("graphics");
    const auto amd = graphics ? graphics->find("amd") : std::nullopt;
    if (graphics) graphics->has("nvidia"); // read by MachineNvidia
    if (graphics) graphics->done();
    if (!amd) return;
    library_ = amd->text("library", "atiadlxx.dll");
    for (const Node& entry : amd->list("adapters"))
        adapters_.push_back(readAdapter(entry, adapters_.size()));
    count_ = number(*amd, "count", static_cast<std::int32_t>(adapters_.size()));
    for (const Node& name : amd->list("missing"))
        missing_.insert(name.asText());
    amd->done();
}

adl::Status MachineAmd::enter(RequestName function, int index, Adapter*& adapter, std::string_view rest) {
    if (const auto error =
            requests_.enter(function, [&] { return fmt::format("adapter {}{}", index, rest); }))
        return static_cast<adl::Status>(error);
    for (Adapter& candidate : adapters_) {
        if (candidate.info.adapterIndex != index) continue;
        adapter = &candidate;
        return adl::kOk;
    }
    return adl::kInvalidAdapterIndex;
}

template <class Value>
adl::Status MachineAmd::answer(RequestName function, int index, std::optional<Value> Adapter::*value,
                               Value& into, std::string_view rest) {
    Adapter* adapter = nullptr;
    if (const auto status = enter(function, index, adapter, rest)) return status;
    if (!(adapter->*value)) return adl::kNotSupported;
    into = *(adapter->*value);
    return adl::kOk;
}

template <class Value>
adl::Status MachineAmd::answer(adl::Context context, RequestName function, int index,
                               std::optional<Value> Adapter::*value, Value& into, std::string_view rest) {
    if (const auto status = answer(function, index, value, into, rest)) return status;
    const auto* adapter = static_cast<const Adapter*>(context);
    return adapter && adapter->info.adapterIndex == index ? adl::kOk : adl::kError;
}

/// Fails as a driver would that gets no memory from the caller's allocator.
adl::Status MachineAmd::create(adl::Allocator allocator, int connected) {
    if (const auto error =
            requests_.enter("ADL_Main_Control_Create", [&] { return std::to_string(connected); }))
        return static_cast<adl::Status>(error);
    return allocates(allocator) ? adl::kOk : adl::kError;
}

adl::Status MachineAmd::numberOfAdapters(int& count) {
    if (const auto error = requests_.enter("ADL_Adapter_NumberOfAdapters_Get"))
        return static_cast<adl::Status>(error);
    count = count_;
    return adl::kOk;
}

adl::Status MachineAmd::adapterInfo(adl::AdapterInfo* records, std::size_t room) {
    if (const auto error = requests_.enter("ADL_Adapter_AdapterInfo_Get"))
        return static_cast<adl::Status>(error);
    for (std::size_t i = 0; i < std::min(room, adapters_.size()); ++i)
        records[i] = adapters_[i].info;
    return adl::kOk;
}

adl::Status MachineAmd::adapterActive(int index, int& status) {
    Adapter* adapter = nullptr;
    status = 1;
    return enter("ADL_Adapter_Active_Get", index, adapter);
}

adl::Status MachineAmd::createContext(adl::Allocator allocator, int index, adl::Context& context) {
    Adapter* adapter = nullptr;
    const auto status = enter("ADL2_Main_Control_Create", index, adapter);
    context = adapter;
    return status == adl::kOk && !allocates(allocator) ? adl::kError : status;
}

adl::Status MachineAmd::destroyContext(adl::Context) {
    return static_cast<adl::Status>(requests_.enter("ADL2_Main_Control_Destroy"));
}

adl::Status MachineAmd::pmLog(adl::Context context, int index, adl::PmLogData& data) {
    return answer(context, "ADL2_New_QueryPMLogData_Get", index, &Adapter::pmLog, data);
}

adl::Status MachineAmd::overdriveCaps(int index, int& supported, int& enabled, int& version) {
    Caps caps;
    const auto status = answer("ADL_Overdrive_Caps", index, &Adapter::overdrive, caps);
    if (status != adl::kOk) return status;
    supported = enabled = caps.supported;
    version = caps.version;
    return adl::kOk;
}

adl::Status MachineAmd::od6Capabilities(adl::Context context, int index, adl::Od6Capabilities& record) {
    return answer(context, "ADL2_Overdrive6_Capabilities_Get", index, &Adapter::overdrive6,
                  record.capabilities);
}

adl::Status MachineAmd::od5Parameters(int index, adl::Od5Parameters&) {
    Adapter* adapter = nullptr;
    if (const auto status = enter("ADL_Overdrive5_ODParameters_Get", index, adapter)) return status;
    return adapter->overdrive5 ? adl::kOk : adl::kNotSupported;
}

adl::Status MachineAmd::od5Temperature(int index, int controller, adl::Od5Temperature& record) {
    return answer("ADL_Overdrive5_Temperature_Get", index, &Adapter::od5Temperature, record.temperature,
                  fmt::format(" controller {}", controller));
}

adl::Status MachineAmd::odnTemperature(adl::Context context, int index, int type, int& temperature) {
    return answer(context, "ADL2_OverdriveN_Temperature_Get", index, &Adapter::odnTemperature, temperature,
                  fmt::format(" type {}", type));
}

adl::Status MachineAmd::od5Activity(int index, adl::Od5Activity& record) {
    return answer("ADL_Overdrive5_CurrentActivity_Get", index, &Adapter::activity, record.activityPercent);
}

adl::Status MachineAmd::memorySize(adl::Context context, int index, std::int64_t& bytes) {
    return answer(context, "ADL2_Adapter_MemoryInfo", index, &Adapter::memory, bytes);
}

Result<Library> MachineLibraries::load(std::wstring_view name) {
    const std::string narrow = wideToUtf8(name);
    if (const ErrorCode error = requests_.enter("loadLibrary", [&] { return narrow; }))
        return Result<Library>::failed(error);
    if (amdRc2_.has(name)) {
        amdRc2_.serve();
        return {&amdRc2_};
    }
    if (amd_.library() != narrow) return Result<Library>::failed(kModuleNotFound);
    amd_.serve();
    return {&amd_};
}

Result<LibraryFunction> MachineLibraries::function(Library library, const char* name) {
    if (const ErrorCode error = requests_.enter("libraryFunction", [&] { return std::string(name); }))
        return Result<LibraryFunction>::failed(error);
    if (library == &amdRc2_) return amdRc2_.function(name);
    const LibraryFunction found = library == &amd_ ? servedAdlFunction(name) : nullptr;
    if (!found || amd_.lacks(name)) return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {found};
}

Result<std::wstring> MachineLibraries::publisher(std::wstring_view path) {
    using Answer = Result<std::wstring>;
    if (const ErrorCode error = requests_.enter("publisher", [&] { return wideToUtf8(path); }))
        return Answer::failed(error);
    return amdRc2_.has(path) ? amdRc2_.publisher() : Answer::failed(kFileNotFound);
}

} // namespace orv::platform
