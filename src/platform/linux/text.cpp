#include "platform/text.h"

#include <cstdint>

namespace orv::platform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;

bool isSurrogate(char32_t point) {
    return point >= 0xD800 && point <= 0xDFFF;
}

void appendUtf8(std::string& text, char32_t point) {
    const auto put = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | point >> 6);
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

/// Decodes the sequence at `text`'s head and removes it. A broken sequence gives one replacement and loses
/// the bytes that could have belonged to it.
char32_t takeCodePoint(std::string_view& text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byteAt(0);
    std::size_t length = 0;
    char32_t point = 0;
    char32_t smallest = 0;
    if (lead < 0x80) {
        length = 1, point = lead;
    } else if (lead >= 0xC2 && lead < 0xE0) {
        length = 2, point = lead & 0x1F, smallest = 0x80;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        length = 3, point = lead & 0x0F, smallest = 0x800;
    } else if (lead >= 0xF0 && lead < 0xF5) {
        length = 4, point = lead & 0x07, smallest = 0x10000;
    } else {
        text.remove_prefix(1);
        return kReplacement;
    }
    std::size_t used = 1;
    while (used < length && used < text.size() && (byteAt(used) & 0xC0) == 0x80)
        point = point << 6 | (byteAt(used++) & 0x3F);
    text.remove_prefix(used);
    if (used < length || point < smallest || point > kLastCodePoint || isSurrogate(point))
        return kReplacement;
    return point;
}

} // namespace

std::string wideToUtf8(std::wstring_view text) {
    // Log lines are plain ASCII nearly always: those letters are copied one by one, the rest is encoded.
    std::string narrow(text.size(), '\0');
    std::size_t plain = 0;
    while (plain < text.size() && static_cast<char32_t>(text[plain]) < 0x80) {
        narrow[plain] = static_cast<char>(text[plain]);
        ++plain;
    }
    narrow.resize(plain);
    for (const wchar_t unit : text.substr(plain)) {
        const auto point = static_cast<char32_t>(unit);
        appendUtf8(narrow, isSurrogate(point) || point > kLastCodePoint ? kReplacement : point);
    }
    return narrow;
}

std::wstring utf8ToWide(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty())
        wide.push_back(static_cast<wchar_t>(takeCodePoint(text)));
    return wide;
}

std::string wideToAnsi(std::wstring_view text) {
    return wideToUtf8(text);
}

} // namespace orv::platform
