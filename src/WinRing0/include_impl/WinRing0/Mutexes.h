#pragma once

#include "platform/NamedMutexes.h"

#include <cstdint>
#include <string_view>

namespace orv {

/// The system-wide mutexes of the buses, opened on first need and open until the process ends. Only the one
/// of the PCI bus is ever waited on.
class Mutexes {
  public:
    static platform::MutexHandle CreateOrOpenExistingMutex(std::wstring_view name);
    static void Open();
    static void Close();

    /// 0 when the bus is owned; any other wait result counts as not owned. Waits 10 ms at most.
    static std::uint32_t WaitPciBus();
    /// Throws HWException when the system does not release it.
    static void ReleasePciBus();
};

/// Holds the ownership that Mutexes::WaitPciBus has won, to the end of its scope.
class PciBusLock {
  public:
    PciBusLock();
    ~PciBusLock() noexcept(false);
    PciBusLock(const PciBusLock&) = delete;
    PciBusLock& operator=(const PciBusLock&) = delete;

  private:
    int exceptionsBefore_;
};

} // namespace orv
