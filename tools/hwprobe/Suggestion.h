#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// " (did you mean NAME?)" with the name that is nearest to what was written; empty where none is near.
std::string suggestion(std::string_view written, const std::vector<std::string>& names);

} // namespace tool
