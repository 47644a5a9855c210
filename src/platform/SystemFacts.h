#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace orv::platform {

/// Memory of machine and process, as the system reports it. Sizes are bytes.
struct MemoryFacts {
    std::uint32_t loadPercent = 0; ///< Physical memory in use, 0 to 100.
    std::uint64_t totalPhys = 0;
    std::uint64_t availPhys = 0;
    std::uint64_t totalPageFile = 0; ///< Commit limit.
    std::uint64_t availPageFile = 0;
    std::uint64_t totalVirtual = 0; ///< User address space of the process.
    std::uint64_t availVirtual = 0;
    std::uint64_t availExtendedVirtual = 0;
};

/// IMAGE_FILE_MACHINE_* numbers of the PE format.
inline constexpr std::uint16_t kMachineUnknown = 0; ///< For the process: it runs natively.
inline constexpr std::uint16_t kMachineI386 = 0x14C;
inline constexpr std::uint16_t kMachineArm = 0x1C0;
inline constexpr std::uint16_t kMachineAmd64 = 0x8664;
inline constexpr std::uint16_t kMachineArm64 = 0xAA64;

/// Answer to "which machine does this process run on, and which does it believe in".
struct Architecture {
    enum class Outcome {
        answered,
        noSystemLibrary, ///< The system's base library could not be loaded by name.
        noFunction,      ///< An older system, which cannot tell.
        callFailed,
    };
    Outcome outcome = Outcome::answered;
    std::uint16_t processMachine = kMachineUnknown;
    std::uint16_t nativeMachine = kMachineAmd64;
};

/// Version of the Windows system, or what another system is taken for.
struct OsVersion {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
};

/// What a system is taken for that is no Windows: a current Windows 10.
inline constexpr OsVersion kTakenForWindows = {10, 0, 19045};

class SystemFacts {
  public:
    virtual ~SystemFacts() = default;

    virtual Result<MemoryFacts> memoryStatus() = 0;
    virtual Architecture architecture() = 0;

    /// Fails where the system cannot tell (RtlGetVersion is missing or fails). A system that is no Windows
    /// gives kTakenForWindows.
    virtual Result<OsVersion> osVersion() = 0;

    /// Path of the program that this process runs; empty when it cannot be told.
    virtual std::wstring mainModule() = 0;

    /// Folder of the operating system, "C:\\Windows"; empty when it cannot be told.
    virtual std::wstring windowsDirectory() = 0;

    /// A box with a message for the user, who closes it; a line on standard error where there are no boxes.
    virtual void showMessage(std::wstring_view title, std::wstring_view text) = 0;

    /// The system's sentence for a code, in the user's language, ending in a carriage return and a line
    /// feed; empty when the system has none. Cannot fail.
    virtual std::wstring errorText(ErrorCode code) = 0;
};

} // namespace orv::platform
