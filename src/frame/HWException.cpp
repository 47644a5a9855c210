#include "frame/HWException.h"

#include "frame/EncodedText.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"

namespace orv {

HWException::HWException(std::wstring_view text)
    : text_(std::make_shared<std::string>(EncodedText(std::wstring(text)).narrow)) {
    log::write(hwExceptionLogger, log::Level::warn, fmt::format(L"HWException: {}", text));
}

std::wstring getSystemErrorText(std::uint32_t code) {
    return fmt::format(L"error code: {} message: {}", code,
                       platform::current().systemFacts().errorText(code));
}

} // namespace orv
