#pragma once

#include "platform/Result.h"

#include <string>
#include <string_view>

namespace orv::platform {

/// Address of a function of a library. The caller casts it to the function's own type.
using LibraryFunction = void (*)();

/// A loaded library; it stays loaded to the end of the process.
using Library = void*;

class Libraries {
  public:
    virtual ~Libraries() = default;

    /// Loads a library by name, searched for in the system's way. kModuleNotFound when there is none.
    virtual Result<Library> load(std::wstring_view name) = 0;

    /// kProcedureNotFound when the library has no function of that name.
    virtual Result<LibraryFunction> function(Library library, const char* name) = 0;

    /// Who signed the library at a path: the display name in the first signer's certificate. Fails where the
    /// system does not trust the signature, or knows none.
    virtual Result<std::wstring> publisher(std::wstring_view path) = 0;
};

} // namespace orv::platform
