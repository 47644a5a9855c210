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
    const std::string_view name = sourceName(where.file_name());
    text.append(name.data(), name.data() + name.size());
    fmt::format_to(std::back_inserter(text), L"@{}: ", where.line());
    fmt::vformat_to(std::back_inserter(text), format, args);
    return {text.data(), text.size()};
}

} // namespace orv
