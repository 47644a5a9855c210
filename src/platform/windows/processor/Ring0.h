#pragma once

#include "platform/Ring0.h"

namespace orv::platform {

/// WinRing0.dll, bound by ordinal when the library is loaded.
class WindowsRing0 : public Ring0 {
  public:
    Ring0Status GetDllStatus() override;
    ErrorCode InitializeOls() override;
    void releaseOls() override;
    Ring0Answer RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) override;
    std::uint8_t ReadIoPortByte(std::uint16_t port) override;
    void WriteIoPortByte(std::uint16_t port, std::uint8_t value) override;
    void WriteIoPortWord(std::uint16_t port, std::uint16_t value) override;
    std::uint8_t ReadPciConfigByte(pciAddress address, std::uint32_t reg) override;
    std::uint16_t ReadPciConfigWord(pciAddress address, std::uint32_t reg) override;
    std::uint32_t ReadPciConfigDword(pciAddress address, std::uint32_t reg) override;
    void WritePciConfigDword(pciAddress address, std::uint32_t reg, std::uint32_t value) override;
    Ring0Answer ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) override;
    Ring0Answer WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) override;
};

} // namespace orv::platform
