#pragma once

#include "platform/Ring0.h"
#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/processor/ProcessorSet.h"
#include "platform/linux/processor/ThermalDrivers.h"

#include <cstddef>
#include <optional>

namespace orv::platform {

/// Machine registers by /dev/cpu/N/msr, PCI configuration space by the files of sysfs, ports by /dev/port.
/// The registers that hold the processor's temperature are made from what the kernel's own drivers read,
/// where they are loaded. docs/ring0.md tells which cause gives which status, and which way is taken when.
class LinuxRing0 : public Ring0 {
  public:
    LinuxRing0(const RootedFiles& files, ProcessorSet& processors)
        : files_(files), processors_(processors), drivers_(files, processors) {}

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
    /// A register behind an index and a data register: what the data register gives after `index` was
    /// written.
    struct Selected {
        std::uint32_t dataRegister = 0;
        std::uint32_t value = 0;
    };

    ErrorCode openRegisters() const;
    template <class Driver, class Register>
    Ring0Answer byDriver(Driver driver, Register itself);
    std::optional<std::uint32_t> thermalStatus(std::size_t bit);
    std::optional<std::uint32_t> controlTemperature(bool range);
    ErrorCode readAt(const std::string& path, std::uint64_t offset, void* into, std::size_t size) const;
    ErrorCode writeAt(const std::string& path, std::uint64_t offset, const void* from,
                      std::size_t size) const;

    const RootedFiles& files_;
    ProcessorSet& processors_;
    ThermalDrivers drivers_;
    std::optional<Selected> selected_; // by the last index write that a driver answered
    bool released_ = false;
};

} // namespace orv::platform
