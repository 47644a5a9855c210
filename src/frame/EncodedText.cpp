#include "frame/EncodedText.h"

#include "platform/text.h"

namespace orv {

EncodedText::EncodedText(std::wstring text) : narrow(platform::wideToUtf8(text)), wide(std::move(text)) {
    if (narrow.empty()) wide.clear();
}

EncodedText::EncodedText(std::string text) : narrow(std::move(text)), wide(platform::utf8ToWide(narrow)) {
    if (wide.empty()) narrow.clear();
}

EncodedText::EncodedText(const char* text, std::size_t length) : EncodedText(std::string(text, length)) {}

} // namespace orv
