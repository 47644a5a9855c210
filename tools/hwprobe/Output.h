#pragma once

#include <stdexcept>
#include <string_view>

namespace tool {

/// Standard output took no more.
class OutputError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Writes to standard output and hands it on at once. Throws OutputError, also for what was lost before.
void put(std::string_view text);

/// From now on the disk engine's trace goes to standard error, "00000012 TEXT" a line.
void traceToStandardError();

} // namespace tool
