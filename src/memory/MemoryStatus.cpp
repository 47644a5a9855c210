#include "memory/MemoryStatus.h"

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"

namespace orv::memory {

MemoryStatus getMemoryStatus() {
    log::entry(memoryLogger, L"orv::memory::getMemoryStatus");
    const auto answer = platform::current().systemFacts().memoryStatus();
    if (!answer.ok()) throwHW(L"GlobalMemoryStatusEx failed, {}", getSystemErrorText(answer.error));

    const platform::MemoryFacts& facts = answer.value;
    MemoryStatus status;
    status.memLoad = facts.loadPercent;
    status.totalPhys = facts.totalPhys;
    status.availPhys = facts.availPhys;
    status.totalPageFile = facts.totalPageFile;
    status.availPageFile = facts.availPageFile;
    status.totalVirtual = facts.totalVirtual;
    status.availVirtual = facts.availVirtual;
    status.availExtendedVirtual = facts.availExtendedVirtual;
    log::info(
        memoryLogger,
        L"MemoryStatus: memLoad: {}, totalPhys: {}, availPhys: {}, totalPageFile: {}, availPageFile: {}, "
        L"totalVirtual: {}, availVirtual: {}, availExtendedVirtual: {}",
        status.memLoad, status.totalPhys, status.availPhys, status.totalPageFile, status.availPageFile,
        status.totalVirtual, status.availVirtual, status.availExtendedVirtual);
    return status;
}

} // namespace orv::memory
