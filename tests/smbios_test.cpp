#include "platform/servers/Smbios.h"
#include "platform/text.h"
#include "support/MemoryImages.h"

#include <gtest/gtest.h>

namespace orv::platform {
namespace {

using test::Bytes;
using test::MemoryDevice;
using test::structureOf;
using test::tableOf;

/// The value of a column, a text in quotes; "-" for a missing one.
std::string shown(const ManagementColumns& row, const std::wstring& column) {
    const auto found = row.find(column);
    if (found == row.end()) return "-";
    const ManagementValue& value = found->second;
    if (value.type == ManagementType::null) return "null";
    if (value.type == ManagementType::i4) return std::to_string(value.number);
    return "\"" + wideToUtf8(value.text) + "\"";
}

std::string shown(const ManagementColumns& row) {
    std::string text;
    for (const wchar_t* column :
         {L"Manufacturer", L"PartNumber", L"SerialNumber", L"Capacity", L"Speed", L"ConfiguredClockSpeed",
          L"TotalWidth", L"MaxVoltage", L"SMBIOSMemoryType", L"FormFactor"})
        text += (text.empty() ? "" : " ") + shown(row, column);
    return text;
}

MemoryDevice changed(void (*change)(MemoryDevice&)) {
    MemoryDevice device;
    change(device);
    return device;
}

TEST(Smbios, MemoryDeviceColumns) {
    const std::tuple<const char*, void (*)(MemoryDevice&), const char*> cases[] = {
        {"all known", [](MemoryDevice&) {},
         R"("Acme" "AM4-16G-3200" "001AFF0B" "17179869184" 3200 2933 64 1200 26 8)"},
        {"a missing text ends the list", [](MemoryDevice& d) { d.serialNumber.clear(); },
         R"("Acme" null null "17179869184" 3200 2933 64 1200 26 8)"},
        {"extended size and speeds, each of 31 bits",
         [](MemoryDevice& d) {
             d.size = 0x7FFF;
             d.extendedSize = 0x80000000 | 131072;
             d.speed = d.configuredSpeed = 0xFFFF;
             d.extendedSpeed = 0x80000000 | 70000;
             d.extendedConfiguredSpeed = 0x80000000 | 66000;
         },
         R"("Acme" "AM4-16G-3200" "001AFF0B" "137438953472" 70000 66000 64 1200 26 8)"},
        {"nothing known but that there is one",
         [](MemoryDevice& d) {
             d.size = d.totalWidth = 0xFFFF;
             d.formFactor = d.type = 2;
             d.speed = d.configuredSpeed = d.maxVoltage = 0;
         },
         R"("Acme" "AM4-16G-3200" "001AFF0B" null null null null null 2 null)"},
        {"an old structure ends behind the type",
         [](MemoryDevice& d) {
             d.length = 0x15;
             d.formFactor = 13;
         },
         R"(null null null "17179869184" null null 64 null 26 12)"},
    };
    for (const auto& [why, change, row] : cases) {
        const auto rows = physicalMemoryRows(tableOf({changed(change)}));
        ASSERT_EQ(1u, rows.size()) << why;
        EXPECT_EQ(row, shown(rows[0])) << why;
    }
}

TEST(Smbios, BadTablesEndWhereTheyStopMakingSense) {
    const MemoryDevice emptySlot = changed([](MemoryDevice& d) { d.size = 0; });
    const Bytes good = tableOf({MemoryDevice{}, emptySlot, MemoryDevice{}});
    EXPECT_EQ(2u, physicalMemoryRows(good).size());
    EXPECT_EQ(2u, physicalMemoryRows(smbiosTableOfDump(test::dumpOf(good))).size());
    const std::size_t one = structureOf(MemoryDevice{}).size();
    for (std::size_t cut = 0; cut <= good.size(); ++cut) {
        const auto rows = physicalMemoryRows(Bytes(good.begin(), good.begin() + static_cast<long>(cut)));
        EXPECT_EQ(cut < one ? 0u : cut < good.size() - 6 ? 1u : 2u, rows.size()) << cut;
    }
    Bytes odd = good;
    odd[one + 1] = 3; // the length of the second structure
    EXPECT_EQ(1u, physicalMemoryRows(odd).size());
    Bytes table = good;
    table[0x17] = 200; // a text number past the end
    EXPECT_EQ("null", shown(physicalMemoryRows(table).at(0), L"Manufacturer"));
    table = tableOf({});
    const Bytes behind = structureOf(MemoryDevice{});
    table.insert(table.end(), behind.begin(), behind.end());
    EXPECT_EQ(0u, physicalMemoryRows(table).size()) << "behind the end mark";
}

TEST(Smbios, DumpsWithBadEntryPoints) {
    const Bytes table = tableOf({MemoryDevice{}});
    Bytes dump = test::dumpOf(table);
    dump[0x0C] = 0xFF; // a length past the end
    dump[0x0D] = 0xFF;
    EXPECT_EQ(1u, physicalMemoryRows(smbiosTableOfDump(dump)).size());
    dump[0x13] = 0x80; // an address past the end
    EXPECT_TRUE(smbiosTableOfDump(dump).empty());
    // The 32-bit form, with the table's length and address at other places.
    Bytes old = {'_', 'S', 'M', '_'};
    old.resize(0x16);
    test::append(old, table.size(), 2);
    test::append(old, 0x20, 4);
    old.resize(0x20);
    old.insert(old.end(), table.begin(), table.end());
    EXPECT_EQ(1u, physicalMemoryRows(smbiosTableOfDump(old)).size());
    EXPECT_EQ(3u, smbiosTableOfDump(Bytes{'_', 'S', 'M'}).size());
}

} // namespace
} // namespace orv::platform
