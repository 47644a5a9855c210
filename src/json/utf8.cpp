#include "json/utf8.h"

#include "json/streams.h"
#include "json/value.h"

#include <iomanip>

namespace orv::json {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

bool isTrailing(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

std::size_t trailingBytes(unsigned char lead) {
    if (lead < 0xC0) return 0;
    if (lead < 0xE0) return 1;
    if (lead < 0xF0) return 2;
    if (lead < 0xF8) return 3;
    if (lead < 0xFC) return 4;
    return 5;
}

// What the marks of lead and trailing bytes add up to, by the number of trailing bytes.
constexpr std::array<std::uint32_t, 6> kOffsets = {0, 0x3080, 0xE2080, 0x3C82080, 0xFA082080, 0x82082080};

/// Length of the sequence at `at`; 0 when its first byte has to go.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(at);
    if (isTrailing(lead)) return 0;
    const std::size_t trailing = trailingBytes(lead);
    if (at + trailing >= text.size()) return 0;
    std::uint32_t codePoint = lead; // wraps for the longest forms, as the offsets expect
    for (std::size_t i = 1; i <= trailing; ++i) {
        if (!isTrailing(byteAt(at + i))) return 0;
        codePoint = (codePoint << 6) + byteAt(at + i);
    }
    return codePoint - kOffsets[trailing] > kLastCodePoint ? 0 : trailing + 1;
}

/// Where the first byte stands that has to go; the text's size when there is none.
std::size_t firstInvalid(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const bool ascii = static_cast<unsigned char>(text[at]) < 0x80; // most bytes of most texts
        const std::size_t length = ascii ? 1 : sequenceLength(text, at);
        if (length == 0) break;
        at += length;
    }
    return at;
}

} // namespace

void stripInvalidUtf8(std::string& text) {
    // One byte goes at a time and the rest is judged anew, so what is kept can be moved down as it is found.
    std::size_t kept = firstInvalid(text);
    for (std::size_t at = kept; at < text.size();) {
        const std::size_t length = sequenceLength(text, at);
        for (std::size_t i = 0; i < length; ++i)
            text[kept++] = text[at + i];
        at += length == 0 ? 1 : length;
    }
    text.resize(kept);
}

bool isCleanUtf8(std::string_view text) {
    return firstInvalid(text) == text.size();
}

std::uint32_t readCodePoint(std::streambuf& input) {
    using traits = std::streambuf::traits_type;
    const auto lead = static_cast<unsigned char>(traits::to_char_type(input.sbumpc()));
    const std::size_t trailing = trailingBytes(lead);
    // A lead byte gives one bit less for each trailing byte: five bits with one of them, four with two …
    std::uint32_t codePoint = trailing == 0 ? lead : lead & (0x3Fu >> trailing);
    for (std::size_t i = 0; i < trailing; ++i) {
        const auto next = input.sbumpc();
        if (traits::eq_int_type(next, traits::eof()))
            throw json_serialization_error("unexpected character " + quotedCodePoint(codePoint));
        codePoint = (codePoint << 6) | (static_cast<std::uint32_t>(next) & 0x3F);
    }
    return codePoint;
}

std::string_view utf8Of(std::uint32_t codePoint, std::array<char, 4>& bytes) {
    const std::size_t trailing = codePoint < 0x80 ? 0 : codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    for (std::size_t i = trailing; i > 0; --i, codePoint >>= 6)
        bytes[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
    constexpr std::array<std::uint32_t, 4> leads = {0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(leads[trailing] | codePoint);
    return {bytes.data(), trailing + 1};
}

std::string quotedCodePoint(std::uint32_t codePoint) {
    fast_basic_ostringstream text;
    text << "'\\u" << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << codePoint << "'";
    return text.str();
}

} // namespace orv::json
