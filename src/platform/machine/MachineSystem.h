#pragma once

#include "platform/SystemFacts.h"
#include "platform/machine/Requests.h"

#include <map>

namespace orv::platform {

class Node;

/// Sections "system" and "memory" of a machine file.
class MachineSystemFacts : public SystemFacts {
  public:
    MachineSystemFacts(const Node& root, Requests& requests);

    Result<MemoryFacts> memoryStatus() override;
    Architecture architecture() override;
    Result<OsVersion> osVersion() override;
    std::wstring mainModule() override;
    void showMessage(std::wstring_view title, std::wstring_view text) override;
    std::wstring errorText(ErrorCode code) override;

  private:
    Requests& requests_;
    MemoryFacts memory_;
    Architecture architecture_;
    OsVersion version_ = kTakenForWindows;
    std::map<ErrorCode, std::wstring> errorTexts_;
};

} // namespace orv::platform
