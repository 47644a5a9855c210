#pragma once

#include "platform/GraphicsSdk.h"
#include "platform/Libraries.h"
#include "platform/Processes.h"

namespace orv::platform {

class WindowsLibraries : public Libraries {
  public:
    Result<Library> load(std::wstring_view name) override;
    Result<LibraryFunction> function(Library library, const char* name) override;
    Result<std::wstring> publisher(std::wstring_view path) override;
};

/// nvapi.dll of the driver, loaded from the system directory at the first request.
class WindowsGraphicsSdk : public GraphicsSdk {
  public:
    Result<LibraryFunction> function(std::uint32_t interfaceId) override;

  private:
    using QueryInterface = LibraryFunction (*)(std::uint32_t interfaceId);
    QueryInterface query_ = nullptr;
};

class WindowsProcesses : public Processes {
  public:
    ErrorCode runAndWait(const std::wstring& program) override;
};

} // namespace orv::platform
