#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string_view>

namespace orv::platform {

/// An open mutex; 0 is none.
using MutexHandle = std::uintptr_t;

// Results of a wait (WAIT_*).
inline constexpr std::uint32_t kWaitOwned = 0;
inline constexpr std::uint32_t kWaitAbandoned = 0x80; ///< Owned too: its holder ended without a release.
inline constexpr std::uint32_t kWaitTimeout = 0x102;
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;

inline constexpr std::uint32_t kWaitWithoutLimit = 0xFFFFFFFF; ///< milliseconds (INFINITE)

/// Mutexes by name, which hold against the threads of all processes. A mutex is owned by a thread; its owner
/// may wait again and then has to release it as often.
class NamedMutexes {
  public:
    virtual ~NamedMutexes() = default;

    /// Creates the mutex, not owned, or opens the one that has the name.
    virtual Result<MutexHandle> CreateMutexW(std::wstring_view name) = 0;
    /// As above, with a security that lets every user wait on it and release it.
    virtual Result<MutexHandle> CreateMutexForEveryone(std::wstring_view name) = 0;
    virtual Result<MutexHandle> OpenMutexW(std::uint32_t access, std::wstring_view name) = 0;
    /// Waits at most `milliseconds`, for ever with kWaitWithoutLimit.
    virtual std::uint32_t WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) = 0;
    virtual ErrorCode ReleaseMutex(MutexHandle mutex) = 0;
    virtual void CloseHandle(MutexHandle mutex) = 0;
};

} // namespace orv::platform
