#pragma once

#include <string>
#include <string_view>

namespace tool {

// What a machine says of itself goes to a terminal through here: names of modules, cards and drives, reasons
// of failures.

/// Letters that control a terminal, break a line or turn the direction of writing are shown as dots.
std::string printable(const std::wstring& text);
std::string printable(std::string_view utf8);

} // namespace tool
