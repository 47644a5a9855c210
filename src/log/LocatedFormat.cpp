#include "log/LocatedFormat.h"

namespace orv {

std::wstring formatLocated(const SourcePlace& where, fmt::wstring_view format, fmt::wformat_args args) {
    fmt::wmemory_buffer text;
    appendPlace(text, where);
    // Straight into the buffer: an iterator would take it letter by letter.
    fmt::detail::vformat_to(text, format, args);
    return {text.data(), text.size()};
}

} // namespace orv
