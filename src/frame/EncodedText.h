#pragma once

#include <cstddef>
#include <string>

namespace orv {

/// One text held twice: narrow UTF-8 for reports, wide for logs. A conversion that gives nothing empties
/// both.
struct EncodedText {
    explicit EncodedText(std::wstring text);
    explicit EncodedText(std::string text);
    EncodedText(const char* text, std::size_t length);

    std::string narrow;
    std::wstring wide;
};

} // namespace orv
