#include "platform/machine/MachineSmbus.h"

#include "platform/machine/Node.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace orv::platform {

namespace {

// The ports of both makers' controllers, from the base on.
enum Port : std::uint16_t { status = 0, control = 2, command = 3, slaveAddress = 4, data = 5 };
constexpr std::uint16_t kPorts = 16;

constexpr std::uint8_t kBusy = 0x01;
constexpr std::uint8_t kDone = 0x02;
constexpr std::uint8_t kDeviceError = 0x04;

constexpr std::uint8_t kStart = 0x40;
constexpr unsigned kByteData = 2;    // protocol, bits 2 to 4 of the control: bit 0 of the address decides
constexpr unsigned kProcessCall = 4; // carries a byte to the device whatever bit 0 of the address says

constexpr pciAddress kPciFunction = 0xFC; // 00:1f.4, where Intel's chipsets have it

constexpr std::uint16_t kPmIndex = 0xCD6;
constexpr std::uint16_t kPmData = 0xCD7;

constexpr std::uint8_t kFirstEeprom = 0xA0; // the 8-bit form, bit 0 is the direction
constexpr std::uint8_t kLastEeprom = 0xAE;
constexpr std::uint8_t kPageSelectDDR4[] = {0x6C, 0x6E};
constexpr std::size_t kPageSizeDDR4 = 256;
constexpr std::size_t kPageSizeDDR5 = 128;

// Registers of a DDR5 SPD hub (JEDEC JESD300-5).
constexpr std::uint8_t kHubDeviceType[] = {0x51, 0x18}; // MR0 and MR1
constexpr std::uint8_t kHubPage = 11;                   // MR11, bits 0 to 2
constexpr std::uint8_t kHubMemory = 0x80;

} // namespace

MachineSmbus::MachineSmbus(const Node& root, Requests& requests, MachineRing0& ring0) : requests_(requests) {
    ring0.attach(*this);
    const auto smbus = root.find("smbus");
    if (!smbus) return;
    const std::string controller = smbus->text("controller");
    isAmd_ = controller == "amd";
    if (!isAmd_ && controller != "intel") smbus->fail("controller must be intel or amd");
    const std::string behaviour = smbus->text("behaviour", "ready");
    if (behaviour == "ready")
        behaviour_ = Behaviour::ready;
    else if (behaviour == "busy")
        behaviour_ = Behaviour::busy;
    else if (behaviour == "failing")
        behaviour_ = Behaviour::failing;
    else if (behaviour != "silent")
        smbus->fail("behaviour must be ready, busy, failing or silent");
    base_ = static_cast<std::uint16_t>(smbus->number("base", 0xFFF0));
    busyReads_ = smbus->number("busyReads", 1'000'000, 1);
    if (!isAmd_) {
        const auto function = static_cast<pciAddress>(smbus->number("pci", 0xFFFF, kPciFunction));
        const std::uint32_t enabled = smbus->flag("enabled", true) ? 1 : 0;
        ring0.addFunction(function, {{0x00, 0xA1238086},
                                     {0x04, enabled},
                                     {0x08, 0x0C050000}, // class: SMBus controller
                                     {0x20, base_ | 1u},
                                     {0x40, enabled}});
    }
    for (const Node& entry : smbus->list("eeproms")) {
        Eeprom eeprom = loadEeprom(entry);
        if (at(eeprom.address)) entry.fail("another EEPROM has this address");
        eeproms_.push_back(std::move(eeprom));
    }
    smbus->done();
}

MachineSmbus::Eeprom MachineSmbus::loadEeprom(const Node& entry) {
    Eeprom eeprom;
    eeprom.address = static_cast<std::uint8_t>(entry.number("address", kLastEeprom));
    if (eeprom.address < kFirstEeprom || eeprom.address % 2 != 0)
        entry.fail("address must be an even one from 0xA0 to 0xAE");
    const std::string kind = entry.text("kind");
    eeprom.isDDR5 = kind == "DDR5";
    if (!eeprom.isDDR5 && kind != "DDR4") entry.fail("kind must be DDR4 or DDR5");
    eeprom.bytes.assign(eeprom.isDDR5 ? 1024 : 512, static_cast<std::uint8_t>(entry.number("fill", 0xFF, 0)));
    if (const auto parts = entry.find("bytes")) {
        for (const std::string& key : parts->keys()) {
            std::size_t offset = 0;
            const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), offset);
            const std::vector<std::uint8_t> part = parts->bytes(key);
            if (error != std::errc() || end != key.data() + key.size() ||
                offset + part.size() > eeprom.bytes.size())
                parts->fail("\"" + key + "\" must be a decimal offset whose bytes lie inside the EEPROM");
            std::copy(part.begin(), part.end(), eeprom.bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        }
    }
    entry.done();
    return eeprom;
}

bool MachineSmbus::claims(std::uint16_t port) const {
    if (behaviour_ == Behaviour::none) return false;
    if (isAmd_ && (port == kPmIndex || port == kPmData)) return true;
    return port >= base_ && port < base_ + kPorts;
}

std::uint8_t MachineSmbus::readStatus() {
    if (behaviour_ == Behaviour::busy) return status_ | kBusy;
    if (stillBusy_ > 0) {
        --stillBusy_;
        return status_ | kBusy;
    }
    status_ |= outcome_;
    outcome_ = 0;
    return status_;
}

std::optional<std::uint8_t> MachineSmbus::readByte(std::uint16_t port) {
    if (!claims(port)) return std::nullopt;
    if (isAmd_ && port == kPmIndex) return pmIndex_;
    if (isAmd_ && port == kPmData) {
        const unsigned value = pmIndex_ == 0 ? base_ & 0xFFu : pmIndex_ == 1 ? base_ >> 8u : 0;
        return static_cast<std::uint8_t>(value);
    }
    switch (port - base_) {
    case status:
        return readStatus();
    case control:
        return control_;
    case command:
        return command_;
    case slaveAddress:
        return slave_;
    case data:
        return data_;
    default:
        return std::uint8_t{0};
    }
}

bool MachineSmbus::writeByte(std::uint16_t port, std::uint8_t value) {
    if (!claims(port)) return false;
    if (isAmd_ && (port == kPmIndex || port == kPmData)) {
        if (port == kPmIndex) pmIndex_ = value;
        return true;
    }
    switch (port - base_) {
    case status: // a one clears its bit; busy is not cleared that way
        status_ &= static_cast<std::uint8_t>(~value | kBusy);
        break;
    case control:
        control_ = value & static_cast<std::uint8_t>(~kStart);
        if ((value & kStart) != 0) start(value);
        break;
    case command:
        command_ = value;
        break;
    case slaveAddress:
        slave_ = value;
        break;
    case data:
        data_ = value;
        break;
    default:
        break;
    }
    return true;
}

void MachineSmbus::start(std::uint8_t value) {
    const unsigned protocol = value >> 2 & 7;
    const auto address = static_cast<std::uint8_t>(slave_ & 0xFE);
    if (protocol == kByteData && (slave_ & 1) != 0)
        complete(runRead(address));
    else if (protocol == kByteData || protocol == kProcessCall)
        complete(runWrite(address));
    else
        complete(false);
}

void MachineSmbus::complete(bool answered) {
    outcome_ = answered && behaviour_ != Behaviour::failing ? kDone : kDeviceError;
    stillBusy_ = busyReads_;
}

MachineSmbus::Eeprom* MachineSmbus::at(std::uint8_t address) {
    const auto found = std::find_if(eeproms_.begin(), eeproms_.end(),
                                    [&](const Eeprom& eeprom) { return eeprom.address == address; });
    return found == eeproms_.end() ? nullptr : &*found;
}

bool MachineSmbus::runRead(std::uint8_t address) {
    if (requests_.enter("smbusRead", [&] { return fmt::format("{:02X} {:02X}", address, command_); }))
        return false;
    const Eeprom* eeprom = at(address);
    if (!eeprom) return false;
    if (!eeprom->isDDR5)
        data_ = eeprom->bytes[ddr4Page_ * kPageSizeDDR4 + command_];
    else if (command_ >= kHubMemory)
        data_ = eeprom->bytes[eeprom->page * kPageSizeDDR5 + command_ - kHubMemory];
    else if (command_ == kHubPage)
        data_ = eeprom->page;
    else
        data_ = command_ < std::size(kHubDeviceType) ? kHubDeviceType[command_] : 0;
    return true;
}

bool MachineSmbus::runWrite(std::uint8_t address) {
    if (requests_.enter("smbusWrite",
                        [&] { return fmt::format("{:02X} {:02X} {:02X}", address, command_, data_); }))
        return false;
    const bool anyDDR4 =
        std::any_of(eeproms_.begin(), eeproms_.end(), [](const Eeprom& eeprom) { return !eeprom.isDDR5; });
    for (std::uint8_t page = 0; page < std::size(kPageSelectDDR4); ++page)
        if (anyDDR4 && address == kPageSelectDDR4[page]) {
            ddr4Page_ = page;
            return true;
        }
    Eeprom* eeprom = at(address);
    if (!eeprom) return false;
    if (eeprom->isDDR5 && command_ == kHubPage) eeprom->page = data_ & 7;
    return true; // the content itself is write-protected
}

} // namespace orv::platform
