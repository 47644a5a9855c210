#pragma once

#include <array>
#include <string_view>

namespace orv::json {

using NumberBuffer = std::array<char, 64>;

/// The text of a finite number that is not whole, as a default-formatted stream of the classic locale writes
/// it. It stands in `buffer`. A precision beyond 40 digits is taken as 40.
std::string_view fractionText(double number, int precision, NumberBuffer& buffer);

} // namespace orv::json
