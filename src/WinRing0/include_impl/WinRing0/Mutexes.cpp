#include "WinRing0/include_impl/WinRing0/Mutexes.h"

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

#include <exception>

namespace orv {

namespace {

constexpr std::uint32_t kAllAccess = 0x1F0001; // MUTEX_ALL_ACCESS
constexpr std::uint32_t kWaitMilliseconds = 10;

struct BusMutexes {
    bool opened = false;
    platform::MutexHandle isaBusMutex = 0;
    platform::MutexHandle pciBusMutex = 0;
    platform::MutexHandle ecMutex = 0;
    platform::MutexHandle readWriteGuardMutex = 0;
};

struct BusMutexRow {
    platform::MutexHandle BusMutexes::*handle;
    const wchar_t* name;
};

constexpr BusMutexRow kBusMutexes[] = {
    {&BusMutexes::isaBusMutex, L"Global\\Access_ISABUS.HTP.Method"},
    {&BusMutexes::pciBusMutex, L"Global\\Access_PCI"},
    {&BusMutexes::ecMutex, L"Global\\Access_EC"},
    {&BusMutexes::readWriteGuardMutex, L"Global\\RazerReadWriteGuardMutex"},
};

platform::NamedMutexes& system() {
    return platform::current().namedMutexes();
}

} // namespace

platform::MutexHandle Mutexes::CreateOrOpenExistingMutex(std::wstring_view name) {
    log::entry(mutexesLogger, L"Mutexes::CreateOrOpenExistingMutex");
    const auto created = system().CreateMutexW(name);
    if (created.value != 0) return created.value;
    return system().OpenMutexW(kAllAccess, name).value;
}

void Mutexes::Open() {
    log::entry(mutexesLogger, L"Mutexes::Open");
    auto& mutexes = processWide<BusMutexes>();
    if (mutexes.opened) {
        log::warn(mutexesLogger, L"Mutexes already opened");
        return;
    }
    for (const BusMutexRow& row : kBusMutexes)
        mutexes.*row.handle = CreateOrOpenExistingMutex(row.name);
    log::info(mutexesLogger, L"Mutexes opened");
    mutexes.opened = true;
    ProcessState::current().atExit(Close);
}

void Mutexes::Close() {
    log::entry(mutexesLogger, L"Mutexes::Close");
    auto& mutexes = processWide<BusMutexes>();
    if (!mutexes.opened) {
        log::warn(mutexesLogger, L"Mutexes not opened");
        return;
    }
    for (const BusMutexRow& row : kBusMutexes)
        if (mutexes.*row.handle != 0) system().CloseHandle(mutexes.*row.handle);
    mutexes = BusMutexes{};
    log::info(mutexesLogger, L"Mutexes closed");
}

std::uint32_t Mutexes::WaitPciBus() {
    log::entry(mutexesLogger, L"Mutexes::WaitPciBus");
    auto& mutexes = processWide<BusMutexes>();
    if (!mutexes.opened) Open();
    const std::uint32_t result = system().WaitForSingleObject(mutexes.pciBusMutex, kWaitMilliseconds);
    // The system gives an abandoned mutex to who waits for it. The registers behind it are in an unknown
    // state, so this reading does without them; handed back, the next one finds it free, here and elsewhere.
    if (result == platform::kWaitAbandoned) system().ReleaseMutex(mutexes.pciBusMutex);
    return result;
}

void Mutexes::ReleasePciBus() {
    log::entry(mutexesLogger, L"Mutexes::ReleasePciBus");
    const auto mutex = processWide<BusMutexes>().pciBusMutex;
    if (mutex == 0) return;
    if (const auto error = system().ReleaseMutex(mutex))
        throwHW(L"ReleaseMutex failed: {}", getSystemErrorText(error));
}

PciBusLock::PciBusLock() : exceptionsBefore_(std::uncaught_exceptions()) {}

PciBusLock::~PciBusLock() noexcept(false) {
    try {
        Mutexes::ReleasePciBus();
    } catch (...) {
        // The failure that is already on its way out is the one to report.
        if (std::uncaught_exceptions() == exceptionsBefore_) throw;
    }
}

} // namespace orv
