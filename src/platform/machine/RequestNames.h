#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace orv::platform {

/// Every request that a described machine can be asked, sorted: what a planned failure may name.
inline constexpr std::string_view kRequestNames[] = {
    "ADL2_Adapter_MemoryInfo",
    "ADL2_Main_Control_Create",
    "ADL2_Main_Control_Destroy",
    "ADL2_New_QueryPMLogData_Get",
    "ADL2_Overdrive6_Capabilities_Get",
    "ADL2_OverdriveN_Temperature_Get",
    "ADL_Adapter_Active_Get",
    "ADL_Adapter_AdapterInfo_Get",
    "ADL_Adapter_NumberOfAdapters_Get",
    "ADL_Main_Control_Create",
    "ADL_Overdrive5_CurrentActivity_Get",
    "ADL_Overdrive5_ODParameters_Get",
    "ADL_Overdrive5_Temperature_Get",
    "ADL_Overdrive_Caps",
    "AMD_RC2_GetDrives",
    "AMD_RC2_GetIdentify",
    "AMD_RC2_GetSmartData",
    "AMD_RC2_Init",
    "AMD_RC2_Reload",
    "CloseHandle",
    "CreateMutexForEveryone",
    "CreateMutexW",
    "GetDllStatus",
    "GetLogicalProcessorInformation",
    "InitializeOls",
    "NvAPI_EnumPhysicalGPUs",
    "NvAPI_GPU_GetDynamicPstatesInfoEx",
    "NvAPI_GPU_GetFullName",
    "NvAPI_GPU_GetMemoryInfo",
    "NvAPI_GPU_GetThermalSettings",
    "NvAPI_GetErrorMessage",
    "NvAPI_Initialize",
    "OpenMutexW",
    "RdmsrTx",
    "ReadIoPortByte",
    "ReadPciConfigByte",
    "ReadPciConfigDword",
    "ReadPciConfigDwordEx",
    "ReadPciConfigWord",
    "ReleaseMutex",
    "SetThreadAffinityMask",
    "WaitForSingleObject",
    "WriteIoPortByte",
    "WriteIoPortWord",
    "WritePciConfigDword",
    "WritePciConfigDwordEx",
    "adapterAddresses",
    "adapterAddressesSize",
    "adapters",
    "addCounter",
    "architecture",
    "calculateCounterFromRawValue",
    "closeQuery",
    "collectQueryData",
    "connectServer",
    "cpuid",
    "createLocator",
    "defineDosDevice",
    "device",
    "deviceControl",
    "deviceId",
    "deviceInterface",
    "deviceInterfaceDetail",
    "deviceInterfaceDetailSize",
    "deviceInterfaces",
    "deviceProperty",
    "deviceRead",
    "devices",
    "driveType",
    "enablePrivileges",
    "execQuery",
    "findLogicalProcessorInformation",
    "getColumn",
    "getFormattedCounterValue",
    "getRawCounterValue",
    "graphicsFunction",
    "initializeCom",
    "initializeSecurity",
    "interfaceRows",
    "libraryFunction",
    "loadLibrary",
    "lookupPrivilege",
    "mainModule",
    "memoryStatus",
    "nextRow",
    "openDevice",
    "openProcessToken",
    "openQuery",
    "openRegistryKey",
    "openService",
    "osVersion",
    "publisher",
    "queryPerformanceFrequency",
    "registrySubkey",
    "registryValue",
    "registryValueInfo",
    "releaseOls",
    "removeCounter",
    "runAndWait",
    "runInShell",
    "serviceState",
    "setPriorities",
    "setProxyBlanket",
    "showMessage",
    "smbusRead",
    "smbusWrite",
    "startService",
    "timeBeginPeriod",
    "timeEndPeriod",
    "timeGetDevCaps",
    "uninitializeCom",
    "windowsDirectory",
};
static_assert(std::is_sorted(std::begin(kRequestNames), std::end(kRequestNames)));

constexpr bool isRequestName(std::string_view name) {
    return std::binary_search(std::begin(kRequestNames), std::end(kRequestNames), name);
}

/// One of those names. A text that is not in the list does not compile, so the list cannot fall behind.
class RequestName {
  public:
    consteval RequestName(const char* name) : name_(name) {
        if (!isRequestName(name_)) throw "add the name to kRequestNames";
    }
    constexpr operator std::string_view() const { return name_; }

  private:
    std::string_view name_;
};

} // namespace orv::platform
