#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// UTF-16 in a system's record, up to its first NUL or the end of the bytes; an odd last byte is left out.
std::wstring wideFromUtf16(std::span<const std::byte> bytes);

/// The UTF-16 bytes of a text with its NUL.
std::vector<std::byte> utf16WithNul(std::wstring_view text);

} // namespace orv::platform
