#pragma once

#include "platform/machine/Requests.h"
#include "platform/machine/processor/MachineRing0.h"

#include <vector>

namespace orv::platform {

class Node;

/// Section "smbus" of a machine file (docs/machine/memory.md): a host controller on I/O ports and the EEPROMs
/// of the memory modules behind it. Each transaction enters the requests as "smbusRead ADDRESS REGISTER" or
/// "smbusWrite ADDRESS REGISTER DATA", in hexadecimal; a planned fault makes it a device error.
class MachineSmbus : public PortDevice {
  public:
    /// Takes its ports and, on an Intel machine, its PCI function there.
    MachineSmbus(const Node& root, Requests& requests, MachineRing0& ring0);

    std::optional<std::uint8_t> readByte(std::uint16_t port) override;
    bool writeByte(std::uint16_t port, std::uint8_t value) override;

  private:
    enum class Behaviour { none, ready, busy, failing };
    struct Eeprom {
        std::uint8_t address = 0; // 8-bit form
        bool isDDR5 = false;
        std::uint8_t page = 0; // of a DDR5 hub; DDR4 devices share one
        std::vector<std::uint8_t> bytes;
    };

    static Eeprom loadEeprom(const Node& entry);
    bool claims(std::uint16_t port) const;
    std::uint8_t readStatus();
    Eeprom* at(std::uint8_t address);
    void start(std::uint8_t control);
    bool runRead(std::uint8_t address);
    bool runWrite(std::uint8_t address);
    void complete(bool answered);

    Requests& requests_;
    Behaviour behaviour_ = Behaviour::none;
    bool isAmd_ = false;
    std::uint16_t base_ = 0;
    std::uint64_t busyReads_ = 0; // looks at the status during which a transaction runs
    std::vector<Eeprom> eeproms_;

    std::uint8_t pmIndex_ = 0;
    std::uint8_t ddr4Page_ = 0;
    std::uint64_t stillBusy_ = 0;
    std::uint8_t outcome_ = 0; // status bits once the transaction has run
    std::uint8_t status_ = 0;
    std::uint8_t control_ = 0;
    std::uint8_t command_ = 0;
    std::uint8_t slave_ = 0;
    std::uint8_t data_ = 0;
};

} // namespace orv::platform
