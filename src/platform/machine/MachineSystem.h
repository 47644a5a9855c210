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
    std::wstring errorText(ErrorCode code) override;

  private:
    Requests& requests_;
    MemoryFacts memory_;
    Architecture architecture_;
    std::map<ErrorCode, std::wstring> errorTexts_;
};

} // namespace orv::platform
