#include "Printable.h"

#include "platform/text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tool {

namespace {

// First and last of each range.
constexpr std::array<std::pair<wchar_t, wchar_t>, 8> kControls = {{
    {0x00, 0x1F},     // C0
    {0x7F, 0x9F},     // DEL and C1
    {0x061C, 0x061C}, // marks of direction, as the two below
    {0x200E, 0x200F},
    {0x2028, 0x2029}, // separators of lines and paragraphs
    {0x202A, 0x202E}, // embeddings and overrides of direction
    {0x2066, 0x2069}, // isolates
    {0xFEFF, 0xFEFF}, // byte order mark
}};

bool controls(wchar_t letter) {
    return std::ranges::any_of(
        kControls, [&](const auto& range) { return letter >= range.first && letter <= range.second; });
}

} // namespace

std::string printable(const std::wstring& text) {
    std::wstring shown = text;
    std::ranges::replace_if(shown, controls, L'.');
    return orv::platform::wideToUtf8(shown);
}

std::string printable(std::string_view utf8) {
    return printable(orv::platform::utf8ToWide(utf8));
}

} // namespace tool
