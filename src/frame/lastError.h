#pragma once

#include <string>
#include <string_view>

namespace orv::frame {

/// Bytes that are set aside for a failure's text, so that it can be told when memory has run out.
inline constexpr std::size_t kFailureRoom = 1024;

/// Text of the last failure of any export. A success never clears it.
struct LastError {
    LastError() { text.reserve(kFailureRoom); }
    std::string text;
};

/// Never fails: a text that finds no memory is cut to the room that is there.
void setLastError(std::string_view text) noexcept;

} // namespace orv::frame
