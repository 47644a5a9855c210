#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>
#include <string_view>

namespace orv::json {

/// Removes from `text` what cannot be UTF-8, one byte at a time. Overlong forms and surrogates stay.
void stripInvalidUtf8(std::string& text);

/// Whether stripInvalidUtf8 would leave the text as it is.
bool isCleanUtf8(std::string_view text);

/// The length of the sequence of two to four bytes at the start of `text` when it is clean and in its
/// shortest form; else 0.
inline std::size_t shortestSequence(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto trails = [&](std::size_t i) { return (byteAt(i) & 0xC0) == 0x80; };
    const unsigned lead = text.empty() ? 0 : byteAt(0);
    if (lead < 0xC2) return 0;
    if (lead < 0xE0) return text.size() > 1 && trails(1) ? 2 : 0;
    if (lead < 0xF0) {
        if (text.size() <= 2 || !trails(1) || !trails(2)) return 0;
        return lead == 0xE0 && byteAt(1) < 0xA0 ? 0 : 3;
    }
    if (lead > 0xF4 || text.size() <= 3 || !trails(1) || !trails(2) || !trails(3)) return 0;
    if (lead == 0xF0 && byteAt(1) < 0x90) return 0;
    return lead == 0xF4 && byteAt(1) >= 0x90 ? 0 : 4;
}

/// The next code point of an input that has one. Throws json_serialization_error when the input ends inside
/// it.
std::uint32_t readCodePoint(std::streambuf& input);

/// The shortest UTF-8 form of a code point, in `bytes`.
std::string_view utf8Of(std::uint32_t codePoint, std::array<char, 4>& bytes);

/// A code point as error texts name it: '\u0041'.
std::string quotedCodePoint(std::uint32_t codePoint);

} // namespace orv::json
