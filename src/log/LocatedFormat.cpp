#include "log/LocatedFormat.h"

#include <iterator>
#include <string_view>

namespace orv {

namespace {

std::string_view sourceName(std::string_view path) {
    if (const auto slash = path.find_last_of("/\\"); slash != path.npos) path.remove_prefix(slash + 1);
    return path.substr(0, path.rfind('.'));
}

} // namespace

std::wstring formatLocated(const std::source_location& where, fmt::wstring_view format,
                           fmt::wformat_args args) {
    fmt::wmemory_buffer text;
    formatLocated(text, where, format, args);
    return {text.data(), text.size()};
}

void formatLocated(fmt::wmemory_buffer& text, const std::source_location& where, fmt::wstring_view format,
                   fmt::wformat_args args) {
    const std::string_view name = sourceName(where.file_name());
    text.append(name.data(), name.data() + name.size());
    text.push_back(L'@');
    const fmt::format_int line(where.line());
    text.append(line.data(), line.data() + line.size());
    text.push_back(L':');
    text.push_back(L' ');
    // Straight into the buffer: an iterator would take it letter by letter.
    fmt::detail::vformat_to(text, format, args);
}

} // namespace orv
