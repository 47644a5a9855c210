#pragma once

#include <string>
#include <string_view>

namespace orv::platform {

/// Text conversions of the system the library is built for. They never fail: what has no counterpart becomes
/// U+FFFD, as the Windows conversions do it without flags.
std::string wideToUtf8(std::wstring_view text);
std::wstring utf8ToWide(std::string_view text);

/// Narrow text in the system's ANSI code page; plain UTF-8 on a system without one.
std::string wideToAnsi(std::wstring_view text);

} // namespace orv::platform
