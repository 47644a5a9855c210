#include "platform/servers/Smbios.h"

#include "platform/text.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace orv::platform {

namespace {

constexpr std::size_t kHeaderSize = 4;
constexpr std::uint8_t kMemoryDevice = 17;
constexpr std::uint8_t kEndOfTable = 127;

// Offsets in a memory device structure.
constexpr std::size_t kTotalWidth = 0x08;
constexpr std::size_t kSize = 0x0C;
constexpr std::size_t kFormFactor = 0x0E;
constexpr std::size_t kMemoryType = 0x12;
constexpr std::size_t kSmallestDevice = 0x15; // SMBIOS 2.1; shorter structures say nothing of use
constexpr std::size_t kSpeed = 0x15;
constexpr std::size_t kManufacturer = 0x17;
constexpr std::size_t kSerialNumber = 0x18;
constexpr std::size_t kPartNumber = 0x1A;
constexpr std::size_t kExtendedSize = 0x1C;
constexpr std::size_t kConfiguredSpeed = 0x20;
constexpr std::size_t kMaxVoltage = 0x24;
constexpr std::size_t kExtendedSpeed = 0x54;
constexpr std::size_t kExtendedConfiguredSpeed = 0x58;

constexpr std::uint32_t kUnknownWord = 0xFFFF;

struct FormFactorRow {
    std::uint8_t smbios;
    std::int32_t cim;
};

// SMBIOS numbering to that of the management data. 2 is unknown and has no row; chips and dies have no number
// of their own there.
constexpr FormFactorRow kFormFactors[] = {
    {1, 1},   // other
    {3, 7},   // SIMM
    {4, 2},   // SIP
    {5, 1},   // chip
    {6, 3},   // DIP
    {7, 4},   // ZIP
    {8, 6},   // proprietary card
    {9, 8},   // DIMM
    {10, 9},  // TSOP
    {11, 0},  // row of chips
    {12, 11}, // RIMM
    {13, 12}, // SODIMM
    {14, 13}, // SRIMM
    {15, 8},  // FB-DIMM
    {16, 1},  // die
};

std::optional<std::int32_t> cimFormFactor(std::uint32_t smbios) {
    for (const FormFactorRow& row : kFormFactors)
        if (row.smbios == smbios) return row.cim;
    return std::nullopt;
}

/// Bytes; 0 for an empty slot, nothing when the firmware does not know.
std::optional<std::uint64_t> deviceSize(const SmbiosStructure& device) {
    constexpr std::uint32_t seeExtended = 0x7FFF;
    constexpr std::uint32_t inKibibytes = 0x8000;
    const std::uint32_t size = device.word(kSize);
    if (size == kUnknownWord) return std::nullopt;
    if (size == seeExtended && device.has(kExtendedSize, 4))
        return std::uint64_t{device.dword(kExtendedSize) & 0x7FFFFFFF} << 20;
    if ((size & inKibibytes) != 0) return std::uint64_t{size & ~inKibibytes} << 10;
    return std::uint64_t{size} << 20;
}

/// MT/s; 0xFFFF in the word refers to a wider field that later versions added.
std::uint32_t speed(const SmbiosStructure& device, std::size_t at, std::size_t extendedAt) {
    const std::uint32_t value = device.word(at);
    return value == kUnknownWord ? device.dword(extendedAt) & 0x7FFFFFFF : value;
}

ManagementValue textOrNull(std::string_view text) {
    return text.empty() ? null() : bstr(utf8ToWide(text));
}

ManagementValue numberOrNull(std::uint32_t value) {
    return value == 0 ? null() : i4(static_cast<std::int32_t>(value));
}

ManagementColumns rowOf(const SmbiosStructure& device) {
    const auto size = deviceSize(device);
    const std::uint32_t width = device.word(kTotalWidth);
    const auto form = cimFormFactor(device.byte(kFormFactor));
    return {
        {L"Manufacturer", textOrNull(device.text(kManufacturer))},
        {L"PartNumber", textOrNull(device.text(kPartNumber))},
        {L"SerialNumber", textOrNull(device.text(kSerialNumber))},
        {L"Capacity", size ? bstr(std::to_wstring(*size)) : null()},
        {L"Speed", numberOrNull(speed(device, kSpeed, kExtendedSpeed))},
        {L"ConfiguredClockSpeed", numberOrNull(speed(device, kConfiguredSpeed, kExtendedConfiguredSpeed))},
        {L"TotalWidth", numberOrNull(width == kUnknownWord ? 0 : width)},
        {L"MaxVoltage", numberOrNull(device.word(kMaxVoltage))},
        {L"SMBIOSMemoryType", numberOrNull(device.byte(kMemoryType))},
        {L"FormFactor", form ? i4(*form) : null()},
    };
}

} // namespace

std::uint32_t SmbiosStructure::number(std::size_t at, std::size_t size) const {
    if (!has(at, size)) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | formatted_[at + i];
    return value;
}

std::string_view SmbiosStructure::text(std::size_t at) const {
    std::string_view rest(reinterpret_cast<const char*>(texts_.data()), texts_.size());
    for (std::uint32_t number = byte(at); number != 0 && !rest.empty(); --number) {
        const std::string_view text = rest.substr(0, rest.find('\0'));
        if (text.empty()) break; // the end of the texts
        if (number == 1) return text;
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
    }
    return {};
}

std::vector<SmbiosStructure> smbiosStructures(std::span<const std::uint8_t> table) {
    std::vector<SmbiosStructure> structures;
    while (table.size() >= kHeaderSize) {
        const std::size_t length = table[1];
        if (table[0] == kEndOfTable || length < kHeaderSize || length > table.size()) break;
        const auto texts = table.subspan(length);
        // Two zeros end the texts, also where there is none.
        constexpr std::uint8_t end[2] = {};
        const auto found = std::search(texts.begin(), texts.end(), std::begin(end), std::end(end));
        if (found == texts.end()) break;
        const auto textSize = static_cast<std::size_t>(found - texts.begin());
        structures.emplace_back(table.first(length), texts.first(textSize));
        table = texts.subspan(textSize + 2);
    }
    return structures;
}

std::span<const std::uint8_t> smbiosTableOfDump(std::span<const std::uint8_t> dump) {
    constexpr std::size_t entryPointSize = 0x20;
    constexpr std::size_t lengthAt = 0x16;   // 32-bit entry point: a word
    constexpr std::size_t addressAt = 0x18;  // a dword
    constexpr std::size_t lengthAt3 = 0x0C;  // 64-bit entry point: a dword
    constexpr std::size_t addressAt3 = 0x10; // a qword, of which a dump needs the low part
    if (dump.size() < entryPointSize) return dump;
    const SmbiosStructure entry(dump.first(entryPointSize), {});
    const bool is3 = std::memcmp(dump.data(), "_SM3_", 5) == 0;
    if (!is3 && std::memcmp(dump.data(), "_SM_", 4) != 0) return dump;
    const std::size_t address = entry.dword(is3 ? addressAt3 : addressAt);
    const std::size_t length = is3 ? entry.dword(lengthAt3) : entry.word(lengthAt);
    if (address > dump.size()) return {};
    return dump.subspan(address, std::min(length, dump.size() - address));
}

std::vector<ManagementColumns> physicalMemoryRows(std::span<const std::uint8_t> table) {
    std::vector<ManagementColumns> rows;
    for (const SmbiosStructure& device : smbiosStructures(table)) {
        if (device.type() != kMemoryDevice || !device.has(0, kSmallestDevice)) continue;
        if (deviceSize(device) == 0u) continue; // an empty slot
        rows.push_back(rowOf(device));
    }
    return rows;
}

} // namespace orv::platform
