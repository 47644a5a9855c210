#pragma once

#include <fmt/xchar.h>

#include <source_location>
#include <string>
#include <string_view>
#include <type_traits>

namespace orv {

/// Where a text stands in the source: the file's name without folder and extension, and the line.
struct SourcePlace {
    consteval SourcePlace(const std::source_location& where) : name(where.file_name()), line(where.line()) {
        if (const auto slash = name.find_last_of("/\\"); slash != name.npos) name.remove_prefix(slash + 1);
        name = name.substr(0, name.rfind('.'));
    }

    std::string_view name;
    unsigned line;
};

/// A wide format string, checked at compile time, together with the place where it stands: a message cannot
/// be written without its place. The place is put in front as "FILE@LINE: ".
template <class... Args>
struct LocatedFormat {
    template <class Text>
    consteval LocatedFormat(const Text& format, std::source_location place = std::source_location::current())
        : text(format), where(place) {}

    fmt::wformat_string<Args...> text;
    SourcePlace where;
};

/// "FILE@LINE: "
template <class Letter>
void appendPlace(fmt::basic_memory_buffer<Letter>& text, const SourcePlace& where) {
    const fmt::format_int line(where.line);
    constexpr Letter kEnd[] = {':', ' '};
    text.append(where.name.data(), where.name.data() + where.name.size());
    text.push_back('@');
    text.append(line.data(), line.data() + line.size());
    text.append(kEnd, kEnd + 2);
}

/// "FILE@LINE: " and the formatted message.
std::wstring formatLocated(const SourcePlace& where, fmt::wstring_view format, fmt::wformat_args args);

} // namespace orv
