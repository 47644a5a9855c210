#include "Suggestion.h"

#include "WLAN/WLAN.h"

#include <algorithm>

namespace tool {

std::string suggestion(std::string_view written, const std::vector<std::string>& names) {
    constexpr double near = 0.5; // half of the letters in place
    const auto similarity = [&](const std::string& name) {
        return orv::wlan::stringSimilarity(written, name);
    };
    const auto nearest = std::ranges::max_element(names, {}, similarity);
    if (nearest == names.end() || similarity(*nearest) < near) return {};
    return " (did you mean " + *nearest + "?)";
}

} // namespace tool
