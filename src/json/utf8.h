#pragma once

#include <array>
#include <cstdint>
#include <streambuf>
#include <string>
#include <string_view>

namespace orv::json {

/// Removes from `text` what cannot be UTF-8, one byte at a time. Overlong forms and surrogates stay.
void stripInvalidUtf8(std::string& text);

/// Whether stripInvalidUtf8 would leave the text as it is.
bool isCleanUtf8(std::string_view text);

/// The next code point of an input that has one. Throws json_serialization_error when the input ends inside
/// it.
std::uint32_t readCodePoint(std::streambuf& input);

/// The shortest UTF-8 form of a code point, in `bytes`.
std::string_view utf8Of(std::uint32_t codePoint, std::array<char, 4>& bytes);

/// A code point as error texts name it: '\u0041'.
std::string quotedCodePoint(std::uint32_t codePoint);

} // namespace orv::json
