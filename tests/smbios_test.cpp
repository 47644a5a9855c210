#include "platform/servers/Smbios.h"
#include "platform/text.h"

#include <gtest/gtest.h>

#include <span>

namespace orv::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

#pragma pack(push, 1)
/// A memory device structure (SMBIOS type 17).
struct MemoryDevice {
    std::uint8_t kind = 17, length = 0x5C; // of the formatted part, which is cut to this
    std::uint16_t handles[3] = {}, width = 64, dataWidth = 64, size = 16384;
    std::uint8_t form = 9, places[3] = {}, type = 26;
    std::uint16_t synchronous = 0x80, speed = 3200;
    std::uint8_t manufacturer = 1, serialNumber = 2, assetTag = 0, partNumber = 3, ranks = 1;
    std::uint32_t extendedSize = 0;
    std::uint16_t configured = 2933, lowest = 1100, voltage = 1200, present = 1150;
    std::uint8_t others[0x2C] = {};
    std::uint32_t extendedSpeed = 0, extendedConfigured = 0;
};
#pragma pack(pop)

Bytes structureOf(const MemoryDevice& device,
                  std::string_view texts = {"Acme\000001AFF0B\0AM4-16G-3200\0", 27}) {
    const auto* const start = reinterpret_cast<const std::uint8_t*>(&device);
    Bytes bytes(start, start + device.length);
    bytes.insert(bytes.end(), texts.begin(), texts.end());
    bytes.push_back(0);
    return bytes;
}

Bytes operator+(Bytes front, const Bytes& back) {
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

const Bytes kEnd = {127, 4, 0xFE, 0xFE, 0, 0};

/// The table behind a 64-bit entry point, as dump files hold it.
Bytes dumpOf(const Bytes& table) {
    Bytes dump = {'_', 'S', 'M', '3', '_', 0, 0x18, 3, 3, 0, 1, 0, static_cast<std::uint8_t>(table.size())};
    dump.resize(0x20);
    dump[0x0D] = static_cast<std::uint8_t>(table.size() >> 8);
    dump[0x10] = 0x20;
    return dump + table;
}

std::size_t countOf(std::span<const std::uint8_t> table) {
    return physicalMemoryRows(table).size();
}

std::string shown(const ManagementColumns& row) {
    std::string text;
    for (const wchar_t* column :
         {L"Manufacturer", L"PartNumber", L"SerialNumber", L"Capacity", L"Speed", L"ConfiguredClockSpeed",
          L"TotalWidth", L"MaxVoltage", L"SMBIOSMemoryType", L"FormFactor"}) {
        const ManagementValue& value = row.at(column);
        text += value.type == ManagementType::null ? "null "
                : value.type == ManagementType::i4 ? std::to_string(value.number) + " "
                                                   : "\"" + wideToUtf8(value.text) + "\" ";
    }
    return text;
}

TEST(Smbios, MemoryDeviceColumns) {
    constexpr std::uint32_t extended = 0x80000000; // each has 31 bits
    const std::tuple<const char*, Bytes, std::string> cases[] = {
        {"all known", structureOf({}),
         R"("Acme" "AM4-16G-3200" "001AFF0B" "17179869184" 3200 2933 64 1200 26 8 )"},
        {"a missing text ends the list; kibibytes, and a row of chips",
         structureOf({.size = 0x8000 + 1024, .form = 11}, {"Acme\0", 5}),
         R"("Acme" null null "1048576" 3200 2933 64 1200 26 0 )"},
        {"extended size and speeds",
         structureOf({.size = 0x7FFF,
                      .speed = 0xFFFF,
                      .extendedSize = extended | 131072,
                      .configured = 0xFFFF,
                      .extendedSpeed = extended | 70000,
                      .extendedConfigured = extended | 66000}),
         R"("Acme" "AM4-16G-3200" "001AFF0B" "137438953472" 70000 66000 64 1200 26 8 )"},
        {"nothing known but that there is one",
         structureOf({.width = 0xFFFF,
                      .size = 0xFFFF,
                      .form = 2,
                      .type = 2,
                      .speed = 0,
                      .configured = 0,
                      .voltage = 0}),
         R"("Acme" "AM4-16G-3200" "001AFF0B" null null null null null 2 null )"},
        {"an old structure ends behind the type", structureOf({.length = 0x15, .form = 13}),
         R"(null null null "17179869184" null null 64 null 26 12 )"},
    };
    for (const auto& [why, device, row] : cases) {
        const auto rows = physicalMemoryRows(device + kEnd);
        ASSERT_EQ(1u, rows.size()) << why;
        EXPECT_EQ(row, shown(rows[0])) << why;
    }
}

TEST(Smbios, BadTablesEndWhereTheyStopMakingSense) {
    const Bytes device = structureOf({});
    const Bytes good = device + structureOf({.size = 0}) + device + kEnd; // an empty slot between
    EXPECT_EQ(2u, countOf(good));
    for (std::size_t cut = 0; cut <= good.size(); ++cut) {
        const std::size_t rows = (cut >= device.size()) + (cut >= good.size() - kEnd.size());
        EXPECT_EQ(rows, countOf(Bytes(good.begin(), good.begin() + static_cast<long>(cut)))) << cut;
    }
    EXPECT_EQ(0u, countOf(Bytes{1, 3, 0, 0, 0} + device + kEnd)) << "shorter than its head";
    Bytes odd = good;
    odd[0x17] = 200; // a text number past the end
    EXPECT_EQ(ManagementType::null, physicalMemoryRows(odd).at(0).at(L"Manufacturer").type);
    EXPECT_EQ(0u, countOf(kEnd + device)) << "behind the end mark";
}

TEST(Smbios, DumpsWithBadEntryPoints) {
    const Bytes table = structureOf({}) + structureOf({}) + kEnd;
    Bytes dump = dumpOf(table);
    EXPECT_EQ(2u, countOf(smbiosTableOfDump(dump)));
    EXPECT_EQ(1u, countOf(smbiosTableOfDump(dumpOf(structureOf({})) + table))) << "behind the table";
    dump[0x0D] = 0xFF; // a length past the end
    EXPECT_EQ(2u, countOf(smbiosTableOfDump(dump)));
    dump[0x13] = 0x80; // an address past the end
    EXPECT_TRUE(smbiosTableOfDump(dump).empty());
    // The 32-bit form, with the table's length and address at other places.
    Bytes old = {'_', 'S', 'M', '_'};
    old.resize(0x20);
    old[0x16] = static_cast<std::uint8_t>(table.size());
    old[0x17] = static_cast<std::uint8_t>(table.size() >> 8);
    old[0x18] = 0x20;
    EXPECT_EQ(2u, countOf(smbiosTableOfDump(old + table)));
    EXPECT_EQ(3u, smbiosTableOfDump(Bytes{'_', 'S', 'M'}).size());
}

} // namespace
} // namespace orv::platform
