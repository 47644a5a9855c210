#include "platform/text.h"

#include <windows.h>

namespace orv::platform {

namespace {

constexpr UINT kUtf8 = 65001;

std::string toNarrow(UINT codePage, std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    if (length == 0) return {};
    const int size = ::WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return {};
    std::string narrow(static_cast<std::size_t>(size), '\0');
    if (::WideCharToMultiByte(codePage, 0, text.data(), length, narrow.data(), size, nullptr, nullptr) == 0)
        return {};
    return narrow;
}

} // namespace

std::string wideToUtf8(std::wstring_view text) {
    return toNarrow(kUtf8, text);
}

std::wstring utf8ToWide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    if (length == 0) return {};
    const int size = ::MultiByteToWideChar(kUtf8, 0, text.data(), length, nullptr, 0);
    if (size <= 0) return {};
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    if (::MultiByteToWideChar(kUtf8, 0, text.data(), length, wide.data(), size) == 0) return {};
    return wide;
}

std::string wideToAnsi(std::wstring_view text) {
    return toNarrow(CP_ACP, text);
}

} // namespace orv::platform
