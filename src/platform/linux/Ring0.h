#pragma once

#include "platform/Ring0.h"
#include "platform/linux/RootedFiles.h"

#include <cstddef>

namespace orv::platform {

/// Machine registers by /dev/cpu/N/msr, PCI configuration space by the files of sysfs, ports by /dev/port.
/// docs/ring0.md tells which cause gives which status.
class LinuxRing0 : public Ring0 {
  public:
    explicit LinuxRing0(const RootedFiles& files) : files_(files) {}

    Ring0Status GetDllStatus() override;
    ErrorCode InitializeOls() override;
    void releaseOls() override { released_ = true; }
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

  private:
    ErrorCode readAt(const std::string& path, std::uint64_t offset, void* into, std::size_t size) const;
    ErrorCode writeAt(const std::string& path, std::uint64_t offset, const void* from,
                      std::size_t size) const;

    const RootedFiles& files_;
    bool released_ = false;
};

} // namespace orv::platform
