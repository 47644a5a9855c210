#pragma once

#include "platform/NamedMutexes.h"
#include "platform/Ring0.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orv::platform {

class Node;

/// A device of a described machine behind I/O ports.
class PortDevice {
  public:
    virtual ~PortDevice() = default;
    /// Nothing for a port that is not its own.
    virtual std::optional<std::uint8_t> readByte(std::uint16_t port) = 0;
    virtual bool writeByte(std::uint16_t port, std::uint8_t value) = 0;
};

/// Section "ring0" of a machine file: the component's status, MSRs, PCI functions.
class MachineRing0 : public Ring0 {
  public:
    MachineRing0(const Node& root, Requests& requests);

    /// A port that no device claims reads 0xFF and takes any write. The caller keeps the device alive.
    void attach(PortDevice& device) { ports_.push_back(&device); }
    /// The configuration of a function that another section describes; what stands under "pci" goes first.
    void addFunction(pciAddress address, std::map<std::uint32_t, std::uint32_t> registers) {
        functions_.try_emplace(address, Function{std::move(registers), {}});
    }

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

  private:
    using Registers = std::map<std::uint32_t, std::uint32_t>;
    /// Registers behind a pair: a write to `index` selects what a read of `data` gives. Both may be the same.
    struct Pair {
        std::uint32_t index = 0;
        std::uint32_t data = 0;
        std::uint32_t selected = 0;
        Registers registers;
    };
    struct Function {
        Registers registers;
        std::vector<Pair> pairs;
    };
    struct Msr {
        std::uint32_t index = 0;
        std::optional<std::uint32_t> processor; // every one without it
        std::uint64_t value = 0;
    };

    void loadFunction(const Node& entry);
    static Registers loadRegisters(const Node& entry);
    std::uint32_t readRegister(pciAddress address, std::uint32_t reg) const;
    void writeRegister(pciAddress address, std::uint32_t reg, std::uint32_t value);
    void writePort(std::uint16_t port, std::uint8_t value);

    Requests& requests_;
    std::vector<std::uint32_t> statuses_{1}; // answers in turn, the last one for good
    std::size_t statusAt_ = 0;
    std::uint32_t present_ = 0xFFFFFFFF; // the logical processors that exist
    std::vector<Msr> msrs_;
    std::map<pciAddress, Function> functions_;
    std::vector<PortDevice*> ports_;
};

/// Section "mutexes" of a machine file: who else holds them. A name that is not described is free.
class MachineNamedMutexes : public NamedMutexes {
  public:
    MachineNamedMutexes(const Node& root, Requests& requests, MachineClock& clock);

    Result<MutexHandle> CreateMutexW(std::wstring_view name) override;
    Result<MutexHandle> CreateMutexForEveryone(std::wstring_view name) override;
    Result<MutexHandle> OpenMutexW(std::uint32_t access, std::wstring_view name) override;
    std::uint32_t WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) override;
    ErrorCode ReleaseMutex(MutexHandle mutex) override;
    void CloseHandle(MutexHandle mutex) override;

  private:
    struct Mutex {
        ErrorCode error = kSuccess;   // it can be neither created nor opened
        std::int64_t heldUntilNs = 0; // by another process
        bool abandoned = false;       // which ends without a release
        int depth = 0;
    };
    Result<MutexHandle> open(const std::string& name, ErrorCode planned);
    const std::string* nameOf(MutexHandle mutex) const;

    Requests& requests_;
    MachineClock& clock_;
    std::map<std::string, Mutex> mutexes_;
    std::map<MutexHandle, std::string> handles_;
    MutexHandle next_ = 1;
};

} // namespace orv::platform
