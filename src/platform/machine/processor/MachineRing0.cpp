#include "platform/machine/processor/MachineRing0.h"

#include "platform/machine/Node.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kAny64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint32_t kDword = 4;

/// "BUS:DEVICE.FUNCTION", hexadecimal as the PCI tools write it.
pciAddress addressOf(const Node& node, const std::string& text) {
    unsigned parts[3] = {};
    constexpr unsigned limits[3] = {0xFF, 0x1F, 7};
    constexpr char separators[3] = {':', '.', '\0'};
    const char* at = text.c_str();
    for (int i = 0; i < 3; ++i) {
        const auto [end, error] = std::from_chars(at, text.c_str() + text.size(), parts[i], 16);
        if (error != std::errc() || *end != separators[i] || parts[i] > limits[i])
            node.fail("address must be BUS:DEVICE.FUNCTION in hexadecimal, like \"00:18.3\"");
        at = end + 1;
    }
    return parts[0] << 8 | parts[1] << 3 | parts[2];
}

std::string shown(pciAddress address, std::uint32_t reg) {
    return fmt::format("{:02x}:{:02x}.{:x} {:#x}", address >> 8 & 0xFF, address >> 3 & 0x1F, address & 7,
                       reg);
}

std::uint32_t shiftOf(std::uint32_t reg) {
    return reg % kDword * 8;
}

} // namespace

MachineRing0::MachineRing0(const Node& root, Requests& requests) : requests_(requests) {
    if (const auto processor = root.find("processor"))
        present_ = static_cast<std::uint32_t>(processor->number("present", kAny32, kAny32));
    const auto ring0 = root.find("ring0");
    if (!ring0) return;
    statuses_ = {0};
    if (ring0->has("statuses")) statuses_.clear();
    for (const Node& entry : ring0->list("statuses"))
        statuses_.push_back(static_cast<std::uint32_t>(entry.asNumber(kAny32)));
    if (statuses_.empty()) ring0->fail("statuses must name one status at least");
    for (const Node& entry : ring0->list("msrs")) {
        Msr msr;
        msr.index = static_cast<std::uint32_t>(entry.number("index", kAny32));
        if (entry.has("processor")) msr.processor = static_cast<std::uint32_t>(entry.number("processor", 31));
        msr.value = entry.number("value", kAny64);
        entry.done();
        msrs_.push_back(msr);
    }
    for (const Node& entry : ring0->list("pci"))
        loadFunction(entry);
    ring0->done();
}

MachineRing0::Registers MachineRing0::loadRegisters(const Node& entry) {
    Registers registers;
    for (const Node& place : entry.list("registers")) {
        registers[static_cast<std::uint32_t>(place.number("at", kAny32))] =
            static_cast<std::uint32_t>(place.number("value", kAny32));
        place.done();
    }
    return registers;
}

void MachineRing0::loadFunction(const Node& entry) {
    Function& function = functions_[addressOf(entry, entry.text("address"))];
    function.registers = loadRegisters(entry);
    for (const auto& [reg, value] : function.registers)
        if (reg % kDword != 0) entry.fail("registers stand at multiples of 4");
    for (const Node& node : entry.list("pairs")) {
        Pair pair;
        pair.index = static_cast<std::uint32_t>(node.number("index", kAny32));
        pair.data = static_cast<std::uint32_t>(node.number("data", kAny32));
        pair.registers = loadRegisters(node);
        node.done();
        function.pairs.push_back(std::move(pair));
    }
    entry.done();
}

Ring0Status MachineRing0::GetDllStatus() {
    constexpr std::uint32_t unknown = 9;
    if (const ErrorCode error = requests_.enter("GetDllStatus")) return {unknown, error};
    const std::uint32_t status = statuses_[statusAt_];
    if (statusAt_ + 1 < statuses_.size()) ++statusAt_;
    return {status, kSuccess};
}

ErrorCode MachineRing0::InitializeOls() {
    return requests_.enter("InitializeOls");
}

void MachineRing0::releaseOls() {
    requests_.enter("releaseOls");
}

Ring0Answer MachineRing0::RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) {
    const ErrorCode error =
        requests_.enter("RdmsrTx", [&] { return fmt::format("{:#x} {:#x}", index, affinityMask); });
    if (error != kSuccess) return Ring0Answer::failed(error);
    const std::uint32_t processors = affinityMask & present_;
    if (processors == 0) return Ring0Answer::failed(kInvalidParameter);
    for (const Msr& msr : msrs_)
        if (msr.index == index && (!msr.processor || (processors >> *msr.processor & 1) != 0))
            return Ring0Answer::read(msr.value);
    return Ring0Answer::failed(kGeneralFailure);
}

std::uint8_t MachineRing0::ReadIoPortByte(std::uint16_t port) {
    if (requests_.enter("ReadIoPortByte", [&] { return fmt::format("{:#x}", port); })) return 0xFF;
    for (PortDevice* device : ports_)
        if (const auto value = device->readByte(port)) return *value;
    return 0xFF;
}

void MachineRing0::writePort(std::uint16_t port, std::uint8_t value) {
    for (PortDevice* device : ports_)
        if (device->writeByte(port, value)) return;
}

void MachineRing0::WriteIoPortByte(std::uint16_t port, std::uint8_t value) {
    if (requests_.enter("WriteIoPortByte", [&] { return fmt::format("{:#x} {:#x}", port, value); })) return;
    writePort(port, value);
}

void MachineRing0::WriteIoPortWord(std::uint16_t port, std::uint16_t value) {
    if (requests_.enter("WriteIoPortWord", [&] { return fmt::format("{:#x} {:#x}", port, value); })) return;
    writePort(port, static_cast<std::uint8_t>(value));
    writePort(static_cast<std::uint16_t>(port + 1), static_cast<std::uint8_t>(value >> 8));
}

/// A function that is not described gives ones in every bit, a register that is not described 0.
std::uint32_t MachineRing0::readRegister(pciAddress address, std::uint32_t reg) const {
    const auto function = functions_.find(address);
    if (function == functions_.end()) return 0xFFFFFFFF;
    reg -= reg % kDword;
    const Registers* registers = &function->second.registers;
    for (const Pair& pair : function->second.pairs)
        if (pair.data == reg) {
            registers = &pair.registers;
            reg = pair.selected;
            break;
        }
    const auto found = registers->find(reg);
    return found == registers->end() ? 0 : found->second;
}

void MachineRing0::writeRegister(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    const auto function = functions_.find(address);
    if (function == functions_.end()) return;
    for (Pair& pair : function->second.pairs)
        if (pair.index == reg) {
            pair.selected = value;
            return;
        }
    function->second.registers[reg] = value;
}

std::uint8_t MachineRing0::ReadPciConfigByte(pciAddress address, std::uint32_t reg) {
    if (requests_.enter("ReadPciConfigByte", [&] { return shown(address, reg); })) return 0xFF;
    return static_cast<std::uint8_t>(readRegister(address, reg) >> shiftOf(reg));
}

std::uint16_t MachineRing0::ReadPciConfigWord(pciAddress address, std::uint32_t reg) {
    if (requests_.enter("ReadPciConfigWord", [&] { return shown(address, reg); })) return 0xFFFF;
    return static_cast<std::uint16_t>(readRegister(address, reg) >> shiftOf(reg));
}

std::uint32_t MachineRing0::ReadPciConfigDword(pciAddress address, std::uint32_t reg) {
    if (requests_.enter("ReadPciConfigDword", [&] { return shown(address, reg); })) return 0xFFFFFFFF;
    return readRegister(address, reg);
}

void MachineRing0::WritePciConfigDword(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    const ErrorCode error = requests_.enter(
        "WritePciConfigDword", [&] { return fmt::format("{} {:#x}", shown(address, reg), value); });
    if (error == kSuccess) writeRegister(address, reg, value);
}

Ring0Answer MachineRing0::ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) {
    if (const ErrorCode error = requests_.enter("ReadPciConfigDwordEx", [&] { return shown(address, reg); }))
        return Ring0Answer::failed(error);
    if (!functions_.contains(address)) return Ring0Answer::failed(kFileNotFound);
    return Ring0Answer::read(readRegister(address, reg));
}

Ring0Answer MachineRing0::WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    if (const ErrorCode error = requests_.enter(
            "WritePciConfigDwordEx", [&] { return fmt::format("{} {:#x}", shown(address, reg), value); }))
        return Ring0Answer::failed(error);
    if (!functions_.contains(address)) return Ring0Answer::failed(kFileNotFound);
    writeRegister(address, reg, value);
    return Ring0Answer::read(0);
}

} // namespace orv::platform
