#include "platform/linux/GraphicsSdk.h"

#include <dlfcn.h>

namespace orv::platform {

namespace {

using QueryInterface = LibraryFunction (*)(std::uint32_t interfaceId);

QueryInterface driverQuery() {
    void* library = ::dlopen("libnvidia-api.so.1", RTLD_NOW);
    if (!library) return nullptr;
    const auto query = reinterpret_cast<QueryInterface>(::dlsym(library, "nvapi_QueryInterface"));
    const auto initialize =
        query ? reinterpret_cast<nvapi::InitializeFunction>(query(nvapi::kInitialize)) : nullptr;
    if (initialize && initialize() == nvapi::kOk) return query;
    ::dlclose(library);
    return nullptr;
}

} // namespace

LinuxGraphicsSdk::QueryInterface LinuxGraphicsSdk::findQuery() {
    if (!files_.isRunningSystem()) return nullptr; // a captured tree has no driver
    if (const QueryInterface query = driverQuery()) return query;
    if (!nvml_.load()) return nullptr;
    nvml_.serve();
    return servedNvapiFunction;
}

Result<LibraryFunction> LinuxGraphicsSdk::function(std::uint32_t interfaceId) {
    if (!query_) query_ = findQuery();
    if (!query_) return Result<LibraryFunction>::failed(kModuleNotFound);
    const LibraryFunction found = query_(interfaceId);
    if (!found) return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {found};
}

} // namespace orv::platform
