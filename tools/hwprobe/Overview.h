#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// A fact that no export gives, under a heading of the table.
struct Fact {
    std::string label;
    std::string value; // "unknown" when the machine does not tell
};

/// Processor with its cores and threads, size of memory, graphics cards; none for another group.
std::vector<Fact> factsOf(std::string_view group);

} // namespace tool
