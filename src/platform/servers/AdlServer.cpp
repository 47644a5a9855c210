#include "platform/servers/AdlServer.h"

namespace orv::platform {

namespace {

using namespace adl;

AdlServer* server = nullptr;

Status mainControlCreate(Allocator allocator, int connected) {
    return server ? server->create(allocator, connected) : kError;
}
Status numberOfAdapters(int* count) {
    return server ? server->numberOfAdapters(*count) : kError;
}
Status adapterInfo(AdapterInfo* records, int size) {
    if (!server || size < 0) return kError;
    return server->adapterInfo(records, static_cast<std::size_t>(size) / sizeof(AdapterInfo));
}
Status adapterActive(int adapter, int* status) {
    return server ? server->adapterActive(adapter, *status) : kError;
}
Status adapterId(int, int*) {
    return adl::kNotSupported;
}
Status createContext(Allocator allocator, int adapter, Context* context) {
    return server ? server->createContext(allocator, adapter, *context) : kError;
}
Status destroyContext(Context context) {
    return server ? server->destroyContext(context) : kOk;
}
Status pmLog(Context context, int adapter, PmLogData* data) {
    return server ? server->pmLog(context, adapter, *data) : kError;
}
Status overdriveCaps(int adapter, int* supported, int* enabled, int* version) {
    return server ? server->overdriveCaps(adapter, *supported, *enabled, *version) : kError;
}
Status od6Capabilities(Context context, int adapter, Od6Capabilities* record) {
    return server ? server->od6Capabilities(context, adapter, *record) : kError;
}
Status od5Parameters(int adapter, Od5Parameters* record) {
    return server ? server->od5Parameters(adapter, *record) : kError;
}
Status od5Temperature(int adapter, int controller, Od5Temperature* record) {
    return server ? server->od5Temperature(adapter, controller, *record) : kError;
}
Status odnTemperature(Context context, int adapter, int type, int* temperature) {
    return server ? server->odnTemperature(context, adapter, type, *temperature) : kError;
}
Status od5Activity(int adapter, Od5Activity* record) {
    return server ? server->od5Activity(adapter, *record) : kError;
}
Status memoryInfoX4(Context context, int adapter, MemoryInfoX4* record) {
    return server ? server->memorySize(context, adapter, record->memorySize) : kError;
}
Status memoryInfo(Context context, int adapter, MemoryInfo* record) {
    return server ? server->memorySize(context, adapter, record->memorySize) : kError;
}

struct Row {
    std::string_view name;
    LibraryFunction function;
};

template <class Signature>
LibraryFunction plain(Signature* function) {
    return reinterpret_cast<LibraryFunction>(function);
}

const Row kRows[] = {
    {"ADL_Main_Control_Create", plain(mainControlCreate)},
    {"ADL_Adapter_NumberOfAdapters_Get", plain(numberOfAdapters)},
    {"ADL_Adapter_AdapterInfo_Get", plain(adapterInfo)},
    {"ADL_Adapter_Active_Get", plain(adapterActive)},
    {"ADL_Adapter_ID_Get", plain(adapterId)},
    {"ADL2_Main_Control_Create", plain(createContext)},
    {"ADL2_Main_Control_Destroy", plain(destroyContext)},
    {"ADL2_New_QueryPMLogData_Get", plain(pmLog)},
    {"ADL_Overdrive_Caps", plain(overdriveCaps)},
    {"ADL2_Overdrive6_Capabilities_Get", plain(od6Capabilities)},
    {"ADL_Overdrive5_ODParameters_Get", plain(od5Parameters)},
    {"ADL_Overdrive5_Temperature_Get", plain(od5Temperature)},
    {"ADL2_OverdriveN_Temperature_Get", plain(odnTemperature)},
    {"ADL_Overdrive5_CurrentActivity_Get", plain(od5Activity)},
    {"ADL2_Adapter_MemoryInfoX4_Get", plain(memoryInfoX4)},
    {"ADL2_Adapter_MemoryInfo_Get", plain(memoryInfo)},
};

} // namespace

AdlServer::~AdlServer() {
    if (server == this) server = nullptr;
}

void AdlServer::serve() {
    server = this;
}

Status AdlServer::adapterActive(int, int& status) {
    status = 1;
    return kOk;
}

Status AdlServer::createContext(Allocator, int, Context& context) {
    context = this; // any address but null
    return kOk;
}

LibraryFunction servedAdlFunction(std::string_view name) {
    for (const Row& row : kRows)
        if (row.name == name) return row.function;
    return nullptr;
}

} // namespace orv::platform
