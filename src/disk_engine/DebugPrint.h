#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace orv {

/// Where the engine's own trace goes, apart from the library's log. Nothing in the library changes it: who
/// looks into the engine does, from a debugger or a program of his own.
enum class DebugMode : std::uint32_t {
    off = 0,
    file = 1, ///< appended to a file named like the process's main module, with the extension ".log"
    fileAndMessage = 2, ///< and shown in a message box titled "Message"
};
void setDebugMode(DebugMode mode);

/// For a tool and the tests: each text as the engine gave it, whatever the mode. An empty function ends it.
void setDebugListener(std::function<void(std::wstring_view)> listener);

/// A line of the engine's trace: the milliseconds since its first use as "%08d ", and the text. It has no
/// effect on any result and never throws.
void DebugPrint(std::wstring_view text) noexcept;

/// Whether anybody reads the trace: a text that has to be formed first is formed only then.
bool debugWanted() noexcept;

} // namespace orv
