#pragma once

#include <fmt/xchar.h>

#include <source_location>
#include <string>
#include <type_traits>

namespace orv {

/// A wide format string, checked at compile time, together with the place where it stands: a message cannot
/// be written without its place. The place is put in front as "FILE@LINE: ".
template <class... Args>
struct LocatedFormat {
    template <class Text>
    consteval LocatedFormat(const Text& format, std::source_location place = std::source_location::current())
        : text(format), where(place) {}

    fmt::wformat_string<Args...> text;
    std::source_location where;
};

/// "FILE@LINE: " and the formatted message, FILE being the source file's name without folder and extension.
std::wstring formatLocated(const std::source_location& where, fmt::wstring_view format,
                           fmt::wformat_args args);
/// The same, behind what `text` holds.
void formatLocated(fmt::wmemory_buffer& text, const std::source_location& where, fmt::wstring_view format,
                   fmt::wformat_args args);

} // namespace orv
