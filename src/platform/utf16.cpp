#include "platform/utf16.h"

#include <cstdint>

namespace orv::platform {

namespace {

constexpr std::uint32_t kHighSurrogate = 0xD800;
constexpr std::uint32_t kLowSurrogate = 0xDC00;
constexpr std::uint32_t kSurrogateMask = 0xFC00;
constexpr std::uint32_t kFirstSupplementary = 0x10000;
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

} // namespace

std::wstring wideFromUtf16(std::span<const std::byte> bytes) {
    std::wstring text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const std::uint32_t unit =
            std::to_integer<std::uint32_t>(bytes[at]) | std::to_integer<std::uint32_t>(bytes[at + 1]) << 8;
        if (unit == 0) break;
        const bool completes = !kWideIsUtf16 && (unit & kSurrogateMask) == kLowSurrogate && !text.empty() &&
                               (static_cast<std::uint32_t>(text.back()) & ~0x3FFu) == kHighSurrogate;
        if (completes) {
            const std::uint32_t high = static_cast<std::uint32_t>(text.back()) - kHighSurrogate;
            text.back() = static_cast<wchar_t>(kFirstSupplementary + (high << 10) + (unit - kLowSurrogate));
        } else {
            text.push_back(static_cast<wchar_t>(unit));
        }
    }
    return text;
}

std::vector<std::byte> utf16WithNul(std::wstring_view text) {
    std::vector<std::byte> bytes;
    const auto put = [&](std::uint32_t unit) {
        bytes.push_back(static_cast<std::byte>(unit));
        bytes.push_back(static_cast<std::byte>(unit >> 8));
    };
    for (const wchar_t letter : text) {
        const auto point = static_cast<std::uint32_t>(letter);
        if (point >= kFirstSupplementary) {
            put(kHighSurrogate + ((point - kFirstSupplementary) >> 10));
            put(kLowSurrogate + ((point - kFirstSupplementary) & 0x3FF));
        } else {
            put(point);
        }
    }
    put(0);
    return bytes;
}

} // namespace orv::platform
