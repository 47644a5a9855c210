#pragma once

#include "memory/SPDDecoders.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace orv::test {

using Bytes = std::vector<std::uint8_t>;

/// An EEPROM of `size` bytes 0x00 with runs of bytes at offsets.
inline memory::Spd spdOf(std::size_t size, const std::vector<std::pair<std::size_t, Bytes>>& runs) {
    memory::Spd spd(size);
    for (const auto& [offset, bytes] : runs)
        for (std::size_t i = 0; i < bytes.size(); ++i)
            spd[offset + i] = bytes[i];
    return spd;
}

/// The fields of a memory device structure (SMBIOS type 17) that the rows are made from.
struct MemoryDevice {
    std::string manufacturer = "Acme";
    std::string serialNumber = "001AFF0B";
    std::string partNumber = "AM4-16G-3200";
    std::uint16_t totalWidth = 64;
    std::uint16_t size = 16384;
    std::uint32_t extendedSize = 0;
    std::uint8_t formFactor = 9;
    std::uint8_t type = 26;
    std::uint16_t speed = 3200;
    std::uint16_t configuredSpeed = 2933;
    std::uint16_t maxVoltage = 1200;
    std::uint32_t extendedSpeed = 0;
    std::uint32_t extendedConfiguredSpeed = 0;
    std::uint8_t length = 0x5C; // of the formatted part, cut or filled to this
};

inline void append(Bytes& bytes, std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

/// The structure with its texts: manufacturer 1, serial number 2, part number 3.
inline Bytes structureOf(const MemoryDevice& device) {
    Bytes bytes = {17, device.length, 0x00, 0x11, 0x00, 0x10, 0xFE, 0xFF};
    append(bytes, device.totalWidth, 2);
    append(bytes, 64, 2); // data width
    append(bytes, device.size, 2);
    append(bytes, device.formFactor, 1);
    append(bytes, 0, 3); // set and locators
    append(bytes, device.type, 1);
    append(bytes, 0x80, 2); // synchronous
    append(bytes, device.speed, 2);
    append(bytes, 0x000201, 3); // manufacturer, serial number, asset tag
    append(bytes, 3, 1);        // part number
    append(bytes, 1, 1);        // one rank
    append(bytes, device.extendedSize, 4);
    append(bytes, device.configuredSpeed, 2);
    append(bytes, 1100, 2); // lowest
    append(bytes, device.maxVoltage, 2);
    append(bytes, 1150, 2); // configured
    bytes.resize(0x54);
    append(bytes, device.extendedSpeed, 4);
    append(bytes, device.extendedConfiguredSpeed, 4);
    bytes.resize(device.length);
    for (const std::string* text : {&device.manufacturer, &device.serialNumber, &device.partNumber}) {
        bytes.insert(bytes.end(), text->begin(), text->end());
        bytes.push_back(0);
    }
    bytes.push_back(0);
    return bytes;
}

inline Bytes tableOf(const std::vector<MemoryDevice>& devices) {
    Bytes table;
    for (const MemoryDevice& device : devices) {
        const Bytes structure = structureOf(device);
        table.insert(table.end(), structure.begin(), structure.end());
    }
    const Bytes end = {127, 4, 0xFE, 0xFE, 0, 0};
    table.insert(table.end(), end.begin(), end.end());
    return table;
}

/// The table behind a 64-bit entry point, as dump files hold it.
inline Bytes dumpOf(const Bytes& table) {
    Bytes dump = {'_', 'S', 'M', '3', '_', 0, 0x18, 3, 3, 0, 1, 0};
    append(dump, table.size(), 4);
    append(dump, 0x20, 8);
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : dump)
        sum += byte;
    dump[5] = static_cast<std::uint8_t>(-sum);
    dump.resize(0x20);
    dump.insert(dump.end(), table.begin(), table.end());
    return dump;
}

} // namespace orv::test
