#include "disk_engine/WideText.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <limits>

namespace orv {

int Find(std::wstring_view text, std::wstring_view part) {
    const auto at = text.find(part);
    return at == text.npos ? -1 : static_cast<int>(at);
}

bool Begins(std::wstring_view text, std::wstring_view head) {
    return text.starts_with(head);
}

bool Contains(std::wstring_view text, std::wstring_view part) {
    return Find(text, part) >= 0;
}

bool ContainsAfterStart(std::wstring_view text, std::wstring_view part) {
    return Find(text, part) > 0;
}

int Replace(std::wstring& text, std::wstring_view old, std::wstring_view fresh) {
    int count = 0;
    if (old.empty()) return count;
    for (auto at = text.find(old); at != text.npos; at = text.find(old, at + fresh.size())) {
        text.replace(at, old.size(), fresh);
        ++count;
    }
    return count;
}

std::wstring Left(std::wstring_view text, std::size_t count) {
    return std::wstring(text.substr(0, count));
}

std::wstring Right(std::wstring_view text, std::size_t count) {
    return std::wstring(text.substr(text.size() - std::min(count, text.size())));
}

void MakeUpper(std::wstring& text) {
    for (wchar_t& letter : text)
        letter = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(letter)));
}

void MakeLower(std::wstring& text) {
    for (wchar_t& letter : text)
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
}

std::wstring Upper(std::wstring text) {
    MakeUpper(text);
    return text;
}

namespace {
bool isSpace(wchar_t letter) {
    return std::iswspace(static_cast<std::wint_t>(letter)) != 0;
}
} // namespace

void TrimLeft(std::wstring& text) {
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isSpace));
}

void TrimRight(std::wstring& text) {
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isSpace).base(), text.end());
}

std::wstring Tokenize(std::wstring_view text, std::wstring_view delimiters, int& position) {
    const auto first =
        position < 0 ? text.npos : text.find_first_not_of(delimiters, static_cast<std::size_t>(position));
    if (first == text.npos) {
        position = -1;
        return {};
    }
    const auto end = std::min(text.find_first_of(delimiters, first), text.size());
    position = static_cast<int>(std::min(end + 1, text.size()));
    return std::wstring(text.substr(first, end - first));
}

bool ExtractField(std::wstring& out, std::wstring_view text, int index, wchar_t separator) {
    std::size_t first = 0;
    for (int field = 0;; ++field) {
        const auto end = text.find(separator, first);
        if (end == text.npos || index < 0) return false;
        if (field == index) {
            out = text.substr(first, end - first);
            return true;
        }
        first = end + 1;
    }
}

int ToInteger(const std::wstring& text) {
    constexpr long lowest = std::numeric_limits<int>::min();
    constexpr long highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::wcstol(text.c_str(), nullptr, 10), lowest, highest));
}

double ToDecimal(const std::wstring& text) {
    return std::wcstod(text.c_str(), nullptr);
}

} // namespace orv
