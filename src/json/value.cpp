#include "json/value.h"

#include <array>

namespace orv::json {

json_type_error::json_type_error(const std::string& message)
    : json_exception("value type error: " + message) {}

json_invalid_key::json_invalid_key(const std::string& message)
    : json_exception("invalid value key error: " + message) {}

json_serialization_error::json_serialization_error(const std::string& message)
    : json_exception("value serialization error: " + message) {}

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
std::size_t sequenceLength(const std::string& text, std::size_t at) {
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

} // namespace

void stripInvalidUtf8(std::string& text) {
    // One byte goes at a time and the rest is judged anew, so what is kept can be moved down as it is found.
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(text, at);
        for (std::size_t i = 0; i < length; ++i)
            text[kept++] = text[at + i];
        at += length == 0 ? 1 : length;
    }
    text.resize(kept);
}

} // namespace orv::json
