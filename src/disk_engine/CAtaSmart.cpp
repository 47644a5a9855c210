#include "disk_engine/CAtaSmart.h"

#include "disk_engine/DebugPrint.h"
#include "disk_engine/dialects/Interpretation.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"

#include <array>

namespace orv {

namespace {

constexpr wchar_t kJMicronMutex[] = L"Access_JMicron_SMART";
constexpr wchar_t kGlobalJMicronMutex[] = L"Global\\Access_JMicron_SMART";
constexpr std::uint32_t kSynchronizeAndModify = 0x120001; // READ_CONTROL | SYNCHRONIZE | MUTEX_MODIFY_STATE

platform::MutexHandle openJMicronMutex(platform::NamedMutexes& mutexes) {
    if (const auto made = mutexes.CreateMutexForEveryone(kGlobalJMicronMutex); made.value != 0)
        return made.value;
    if (const auto found = mutexes.OpenMutexW(kSynchronizeAndModify, kGlobalJMicronMutex); found.value != 0)
        return found.value;
    return mutexes.CreateMutexForEveryone(kJMicronMutex).value;
}

} // namespace

bool PlatformVersionTest(std::uint32_t major, std::uint32_t minor, std::uint32_t build) {
    const auto version = platform::current().systemFacts().osVersion();
    if (!version.ok()) return false;
    return version.value.major > major || version.value.minor > minor || version.value.build >= build;
}

CAtaSmart::CAtaSmart() : mutexes_(platform::current().namedMutexes()) {
    if (PlatformVersionTest(10, 0, 0)) {
        FlagStorageQuery = FlagAtaPassThrough = FlagAtaPassThroughSmart = 1;
    } else if (PlatformVersionTest(6, 0, 0) || PlatformVersionTest(5, 2, 0) ||
               (PlatformVersionTest(5, 1, 0) && PlatformVersionTest(5, 1, 2))) {
        FlagAtaPassThrough = FlagAtaPassThroughSmart = 1;
    }
    hMutexJMicron = openJMicronMutex(mutexes_);
}

CAtaSmart::~CAtaSmart() {
    if (hMutexJMicron != 0) mutexes_.CloseHandle(hMutexJMicron);
}

void CAtaSmart::UseStandardPaths() {
    allowStandard();
    FlagUsbMemory = 0;
    CsmiMode = 1;
}

std::unique_ptr<platform::DeviceFile> CAtaSmart::OpenPhysicalDrive(std::int32_t physicalDriveId) {
    return devices.open(physicalDrivePath(physicalDriveId), {.attributes = 0});
}

void CAtaSmart::WakeUp(std::int32_t physicalDriveId) {
    if (physicalDriveId < 0 || FlagNoWakeUp) return;
    constexpr platform::DeviceOpening forWakeUp = {.write = false, .shareWrite = false, .attributes = 0};
    std::array<std::byte, 512> sector{};
    if (const auto file = devices.open(physicalDrivePath(physicalDriveId), forWakeUp)) file->read(0, sector);
}

DiskHealth CAtaSmart::CheckDiskStatus(std::size_t index) {
    return index < vars.size() ? orv::CheckDiskStatus(vars[index]) : DISK_STATUS_UNKNOWN;
}

void CAtaSmart::AcquireMutexJMicron() {
    const std::uint32_t result = mutexes_.WaitForSingleObject(hMutexJMicron, platform::kWaitWithoutLimit);
    if (result != platform::kWaitOwned && result != platform::kWaitAbandoned)
        DebugPrint(L"AcquireMutexJMicron() failed");
}

void CAtaSmart::ReleaseMutexJMicron() {
    if (mutexes_.ReleaseMutex(hMutexJMicron) != platform::kSuccess)
        DebugPrint(L"ReleaseMutexJMicron() failed");
}

} // namespace orv
