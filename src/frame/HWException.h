#pragma once

#include "log/LocatedFormat.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace orv {

/// The one exception type of the system's own code. Its text is UTF-8 and starts with the place of the throw.
/// Constructing it writes one warning, whether or not anybody looks at it.
class HWException : public std::exception {
  public:
    explicit HWException(std::wstring_view text);

    const char* what() const noexcept override { return text_->c_str(); }

  private:
    std::shared_ptr<const std::string> text_; // shared, so that copying an exception cannot fail
};

/// Throws HWException with "FILE@LINE: message".
template <class... Args>
[[noreturn]] void throwHW(LocatedFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    throw HWException(formatLocated(format.where, format.text, fmt::make_wformat_args(args...)));
}

/// "error code: CODE message: TEXT" with the code as an unsigned decimal and the system's sentence, whose
/// trailing line break stays.
std::wstring getSystemErrorText(std::uint32_t code);

} // namespace orv
