#pragma once

#include <string>
#include <string_view>

namespace tool {

/// Puts `text` in the place of a file, so that a reader sees the old or the new one whole. Gives the tool's
/// exit status; a failure is told on standard error.
int replaceFile(const std::string& path, std::string_view text);

} // namespace tool
