#pragma once

namespace orv {

/// Where the console lines of all loggers go. The library's own choice is standard output.
enum class Console { standardOutput, standardError, off };

/// For a tool whose standard output belongs to its answers.
void setConsole(Console target);

} // namespace orv
