#include "frame/lastError.h"

#include "state/ProcessState.h"

#include <algorithm>

namespace orv::frame {

namespace {

/// The longest head of a UTF-8 text that fits and ends with a whole character.
std::string_view headOf(std::string_view text, std::size_t room) {
    std::size_t end = std::min(text.size(), room);
    while (end > 0 && end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

} // namespace

void setLastError(std::string_view text) noexcept {
    std::string& kept = processWide<LastError>().text;
    try {
        kept.assign(text);
    } catch (const std::exception&) {
        kept.assign(headOf(text, kept.capacity()));
    }
}

} // namespace orv::frame
