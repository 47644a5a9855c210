#include "platform/servers/NvapiServer.h"

namespace orv::platform {

namespace {

using namespace nvapi;

NvapiServer* server = nullptr;

Status initialize() {
    return server ? server->initialize() : kLibraryNotFound;
}
Status enumPhysicalGpus(GpuHandle* handles, std::uint32_t* count) {
    return server ? server->enumPhysicalGpus(handles, *count) : kLibraryNotFound;
}
Status fullName(GpuHandle gpu, char* name) {
    return server ? server->fullName(gpu, *reinterpret_cast<ShortString*>(name)) : kLibraryNotFound;
}
Status thermalSettings(GpuHandle gpu, std::uint32_t sensor, ThermalSettings* record) {
    return server ? server->thermalSettings(gpu, sensor, *record) : kLibraryNotFound;
}
Status dynamicPstates(GpuHandle gpu, DynamicPstatesInfo* record) {
    return server ? server->dynamicPstates(gpu, *record) : kLibraryNotFound;
}
Status memoryInfo(GpuHandle gpu, MemoryInfo* record) {
    return server ? server->memoryInfo(gpu, *record) : kLibraryNotFound;
}
Status errorMessage(Status status, char* text) {
    return server ? server->errorMessage(status, *reinterpret_cast<ShortString*>(text)) : kLibraryNotFound;
}

struct Row {
    std::uint32_t interfaceId;
    LibraryFunction function;
};

template <class Signature>
LibraryFunction plain(Signature* function) {
    return reinterpret_cast<LibraryFunction>(function);
}

const Row kRows[] = {
    {kInitialize, plain(initialize)},
    {kEnumPhysicalGpus, plain(enumPhysicalGpus)},
    {kGetFullName, plain(fullName)},
    {kGetThermalSettings, plain(thermalSettings)},
    {kGetDynamicPstatesInfoEx, plain(dynamicPstates)},
    {kGetMemoryInfo, plain(memoryInfo)},
    {kGetErrorMessage, plain(errorMessage)},
};

} // namespace

NvapiServer::~NvapiServer() {
    if (server == this) server = nullptr;
}

void NvapiServer::serve() {
    server = this;
}

LibraryFunction servedNvapiFunction(std::uint32_t interfaceId) {
    for (const Row& row : kRows)
        if (row.interfaceId == interfaceId) return row.function;
    return nullptr;
}

} // namespace orv::platform
