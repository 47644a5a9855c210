#include "platform/windows/processor/ProcessorServices.h"

#include <windows.h>

#include <cpuid.h>
#include <x86intrin.h>

namespace orv::platform {

namespace {

using GetInformation = BOOL(WINAPI*)(SYSTEM_LOGICAL_PROCESSOR_INFORMATION*, DWORD*);

static_assert(sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION) == sizeof(LogicalProcessorRecord) &&
              offsetof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION, Cache.Size) ==
                  offsetof(LogicalProcessorRecord, cacheSize));

GetInformation informationFunction() {
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32");
    if (!kernel) return nullptr;
    return reinterpret_cast<GetInformation>(
        reinterpret_cast<void*>(::GetProcAddress(kernel, "GetLogicalProcessorInformation")));
}

} // namespace

CpuidRegisters WindowsProcessor::cpuid(std::uint32_t leaf) {
    CpuidRegisters registers;
    __cpuid_count(leaf, 0, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

std::uint64_t WindowsProcessor::timeStampCounter() {
    return ::__rdtsc();
}

ErrorCode WindowsProcessor::findLogicalProcessorInformation() {
    return informationFunction() ? kSuccess : ::GetLastError();
}

ErrorCode WindowsProcessor::GetLogicalProcessorInformation(LogicalProcessorRecord* records,
                                                           std::uint32_t& length) {
    const GetInformation function = informationFunction();
    if (!function) return kProcedureNotFound;
    DWORD bytes = length;
    const BOOL done = function(reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION*>(records), &bytes);
    length = bytes;
    return done ? kSuccess : ::GetLastError();
}

Result<AffinityMask> WindowsProcessor::SetThreadAffinityMask(const AffinityMask& mask) {
    static const AffinityMask seen(MAXDWORD);
    const auto low = static_cast<DWORD_PTR>((mask & seen).to_ullong());
    const DWORD_PTR before = ::SetThreadAffinityMask(::GetCurrentThread(), low);
    if (before == 0) return Result<AffinityMask>::failed(::GetLastError());
    return {AffinityMask(before)};
}

} // namespace orv::platform
