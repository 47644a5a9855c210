// Memory modules from the firmware's table and the EEPROMs to the report.

#include "frame/HWException.h"
#include "memory/MemInfo.h"
#include "memory/SPD.h"
#include "memory/SPDDecoders.h"
#include "platform/servers/ManagementRows.h"
#include "platform/servers/Smbios.h"
#include "platform/text.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <map>
#include <random>
#include <span>

namespace orv::test {
namespace {

using namespace memory;
using namespace platform;
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
    // clang-format off
    const std::tuple<const char*, Bytes, std::string> cases[] = {
        {"all known", structureOf({}), R"("Acme" "AM4-16G-3200" "001AFF0B" "17179869184" 3200 2933 64 1200 26 8 )"},
        {"a missing text ends the list; kibibytes, and a row of chips", structureOf({.size = 0x8000 + 1024, .form = 11}, {"Acme\0", 5}), R"("Acme" null null "1048576" 3200 2933 64 1200 26 0 )"},
        {"extended size and speeds", structureOf({.size = 0x7FFF, .speed = 0xFFFF, .extendedSize = extended | 131072, .configured = 0xFFFF, .extendedSpeed = extended | 70000, .extendedConfigured = extended | 66000}),
         R"("Acme" "AM4-16G-3200" "001AFF0B" "137438953472" 70000 66000 64 1200 26 8 )"},
        {"nothing known but that there is one", structureOf({.width = 0xFFFF, .size = 0xFFFF, .form = 2, .type = 2, .speed = 0, .configured = 0, .voltage = 0}),
         R"("Acme" "AM4-16G-3200" "001AFF0B" null null null null null 2 null )"},
        {"an old structure ends behind the type", structureOf({.length = 0x15, .form = 13}), R"(null null null "17179869184" null null 64 null 26 12 )"},
    };
    // clang-format on
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

// ---- Rows, EEPROMs and the report

using Columns = std::map<std::wstring, std::vector<ManagementValue>, std::less<>>;

/// Two modules with every column of its right type.
Columns twoModules() {
    return {{L"Manufacturer", {bstr(L"A"), bstr(L"B")}},
            {L"PartNumber", {bstr(L"a"), bstr(L"b ")}},
            {L"Capacity", {bstr(L"1024"), bstr(L"2048")}},
            {L"SerialNumber", {bstr(L"S1"), bstr(L"S2")}},
            {L"Speed", {i4(3200), i4(3200)}},
            {L"ConfiguredClockSpeed", {i4(2933), i4(2933)}},
            {L"TotalWidth", {i4(64), i4(72)}},
            {L"MaxVoltage", {i4(1200), i4(1350)}},
            {L"SMBIOSMemoryType", {i4(26), i4(34)}},
            {L"FormFactor", {i4(8), i4(12)}}};
}

std::vector<MemoryInfo> read(const Columns& columns) {
    return readModules([&](std::wstring_view column) { return columns.find(column)->second; });
}

// Either leaves the fields of one column fresh and tells it in one line.
TEST(MemoryRows, AnEntryOfTheWrongTypeOrAColumnWithAWrongCount) {
    // The noun is that of a wrong count; the count of makers is that of the modules.
    const std::tuple<const wchar_t*, const char*, const char*> cases[] = {
        {L"Manufacturer", nullptr, "error wmi result is no BSTR, current: 19"},
        {L"Capacity", "capacity", "info wmi result is no BSTR, current: 19"},
        {L"SerialNumber", "serial number", "error serial number type wrong, index: 0, type: 19"},
        {L"TotalWidth", "TotalWidth", "info wmi result is no VT_UI4, current: 19"},
        {L"FormFactor", "FormFactor", "info wmi result is no VT_I4, current: 19"},
    };
    for (const auto& [column, noun, type] : cases) {
        SCOPED_TRACE(type);
        const auto expectOneFresh = [&](const Columns& columns, const std::string& line, int formFactor) {
            const CapturedLog log({&memoryLogger});
            const auto modules = read(columns);
            EXPECT_THAT(log.lines(), ElementsAre("info memory count: 2", line));
            const MemoryInfo& first = modules.at(0);
            EXPECT_EQ(1, first.manufacturer.empty() + first.model.empty() + (first.capacity == 0) +
                             first.serialNumber.empty() + (first.speed == 0) + (first.currentSpeed == 0) +
                             (first.totalWidth == 0) + (first.voltage == 0) + (first.type == 0) +
                             (first.formFactor == formFactor));
            return modules.at(1);
        };
        Columns columns = twoModules();
        columns[column][0] = {static_cast<ManagementType>(19), L"9", 9};
        EXPECT_EQ(34, expectOneFresh(columns, type, 0).type);
        if (!noun) continue;
        columns = twoModules();
        columns[column].resize(1);
        expectOneFresh(columns, fmt::format("error get {0} count wrong, {0} count: 1, memory count: 2", noun),
                       -1);
    }
}

TEST(MemoryRows, CapacitiesThatAreNoNumber) {
    Columns columns = twoModules();
    columns[L"Capacity"][0] = bstr(L" 16 GB");
    EXPECT_EQ(16u, read(columns)[0].capacity);
    for (const wchar_t* capacity : {L"18446744073709551616", L"many"}) {
        columns[L"Capacity"][0] = bstr(capacity);
        EXPECT_THROW(read(columns), std::exception);
    }
}

using Runs = std::vector<std::pair<std::size_t, Bytes>>;

/// An EEPROM of `size` bytes 0x00 with runs of bytes at offsets.
Spd spdOf(std::size_t size, const Runs& runs) {
    Spd spd(size);
    for (const auto& [offset, bytes] : runs)
        std::ranges::copy(bytes, spd.begin() + static_cast<long>(offset));
    return spd;
}

// Bytes 20 to 23, and 24 to 28.
TEST(SpdDecoders, HighestLatencyOfEachRange) {
    const std::pair<Bytes, std::uint32_t> ddr4[] = {{{0x80, 0x00, 0x00, 0x00}, 14},
                                                    {{0xFF, 0xFF, 0x04, 0x00}, 25},
                                                    {{0x01, 0x00, 0x00, 0x80}, 23},
                                                    {{0x00, 0x00, 0x00, 0xBF}, 52}};
    for (const auto& [bytes, latency] : ddr4)
        EXPECT_EQ(latency, parseLargeCLDDR4(spdOf(512, {{20, bytes}}))) << latency;
    EXPECT_EQ(36u, parseLargeCLDDR5(spdOf(1024, {{24, {0xFF, 0x01, 0, 0, 0}}})));
    EXPECT_EQ(98u, parseLargeCLDDR5(spdOf(1024, {{24, {0, 0, 0, 0, 0x80}}})));
}

// Little-endian picoseconds: CK at 20, tRCD, tRP and tRAS from 32 on.
TEST(SpdDDR5, TimingRoundsUp) {
    const std::tuple<Bytes, Bytes, Bytes, const wchar_t*> cases[] = {
        // 416 ps; 16000 / 416 is 38.46, 32000 / 416 is 76.9. Bit 2 of byte 26 is 20 + 2 * 18 = 56.
        {{0xA0, 0x01}, {0, 0, 0x04}, {0x80, 0x3E, 0x80, 0x3E, 0x00, 0x7D}, L"56-39-39-77"},
        // 357 ps (0x0165); 14280 / 357 is 40 and 14281 a little more; 65535 is not negative.
        {{0x65, 0x01}, {0x01}, {0xC8, 0x37, 0xC9, 0x37, 0xFF, 0xFF}, L"20-40-41-184"},
        {{0x00, 0x00}, {0x01}, {0x80, 0x3E, 0x80, 0x3E, 0x00, 0x7D}, L"00-00-00-00"},
    };
    for (const auto& [clock, latencies, times, timing] : cases)
        EXPECT_EQ(timing, parseDDR5TimingBySPD(spdOf(1024, {{20, clock}, {24, latencies}, {32, times}})));
}

// Exact arithmetic in whole picoseconds says how many cycles cover a time; in doubles some whole quotients
// come out a last bit above. Times are in units of 125 ps with a correction of -128 to 127 ps, and the upper
// half of byte 27 is of another one.
TEST(SpdDDR4, CyclesAreThoseOfWholePicoseconds) {
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        const auto byte = [&](unsigned most) { return static_cast<std::uint8_t>(random() % (most + 1)); };
        // A clock that a module can have, and any times.
        const Bytes clock = {static_cast<std::uint8_t>(4 + byte(8))};
        const Bytes times = {byte(255), byte(255), byte(255), byte(255)};
        const Bytes fine = {byte(255), byte(255), 0, 0, byte(255)}; // of tRP, tRCD and, last, the clock
        const auto ps = [](unsigned medium, std::uint8_t correction) {
            return static_cast<int>(medium) * 125 + static_cast<std::int8_t>(correction);
        };
        const int period = ps(clock[0], fine[4]);
        const auto cycles = [&](int time) {
            return time <= 0 ? time / period : (time + period - 1) / period;
        };
        EXPECT_EQ(fmt::format(L"14-{:02}-{:02}-{:02}", cycles(ps(times[0], fine[1])),
                              cycles(ps(times[1], fine[0])),
                              cycles(ps((times[2] & 15) * 256u + times[3], 0))),
                  parseDDR4TimingBySPD(spdOf(512, {{18, clock}, {20, {0x80}}, {25, times}, {121, fine}})));
    }
    for (const Bytes& noClock :
         {Bytes{0, 0}, Bytes{1, 0x83}, Bytes{1, 0x82}}) // and one that a correction takes
        EXPECT_EQ(L"00-00-00-00",
                  parseDDR4TimingBySPD(
                      spdOf(512, {{18, {noClock[0]}}, {20, {1}}, {25, {0x6E}}, {125, {noClock[1]}}})));
}

TEST(SpdDecoders, UnusableContent) {
    const std::pair<const char*, void (*)()> cases[] = {
        {": SPD data size is less than 512, size: 511", [] { parseLargeCLDDR4(Spd(511)); }},
        {": SPD data size is less than 1024, size: 1023", [] { parseLargeCLDDR5(Spd(1023)); }},
        {": parseDDR4TimingBySPD failed, timebase is not standard",
         [] { parseDDR4TimingBySPD(Spd(512, 0xFF)); }},
        {": parseLargeCLDDR4 failed", [] { parseDDR4TimingBySPD(Spd(512)); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_THAT(call, testing::ThrowsMessage<HWException>(EndsWith(text)));
    EXPECT_EQ(L"98-01-01-01", parseDDR5TimingBySPD(Spd(1024, 0xFF)));
}

MemoryInfo module(const wchar_t* model, std::int32_t type, std::uint64_t capacity,
                  const wchar_t* serial = L"") {
    MemoryInfo info;
    info.model = model;
    info.type = type;
    info.capacity = capacity;
    info.serialNumber = serial;
    return info;
}

TEST(MemoryMerge, SolderedModulesBecomeOneAtTheEnd) {
    const auto merged = [](std::vector<MemoryInfo> modules) {
        mergeSoldered(modules);
        std::wstring text;
        for (const MemoryInfo& entry : modules)
            text += fmt::format(L"{}:{} ", entry.model, entry.capacity);
        return text;
    };
    EXPECT_EQ(L"d:3 b:16 ", merged({module(L"a", 30, 8), module(L"d", 26, 3), module(L"b", 30, 8)}));
    EXPECT_EQ(L"a:1 c:2 ", merged({module(L"a", 28, 1), module(L"c", 24, 2)})) << "LPDDR2 and DDR stay";
    EXPECT_EQ(L"d:3 ", merged({module(L"a", 29, 0), module(L"d", 26, 3), module(L"b", 29, 0)}));
    EXPECT_THAT(
        [&] {
            merged({module(L"a", 30, 8), module(L"b", 35, 8)});
        },
        testing::ThrowsMessage<HWException>(
            HasSubstr("Memory types are inconsistent before and after, before: LPDDR4, after: LPDDR5")));
}

TEST(MemoryJoin, BySerialNumberAsItStands) {
    const Spd ddr4 =
        spdOf(512, {{18, {0x05}}, {20, {0, 0x80}}, {25, {0x6E, 0x6E, 1}}, {325, {0, 0x1A, 0xFF, 0x0B}}});
    std::vector<MemoryInfo> modules = {
        module(L"case", 26, 1, L"001aff0b"), module(L"blank", 26, 1, L"001AFF0B "),
        module(L"first", 26, 1, L"001AFF0B"), module(L"second", 26, 1, L"001AFF0B"), module(L"none", 26, 1)};
    CapturedLog log({&memoryLogger});
    joinSpds(modules, {ddr4, Spd(512)});
    for (const MemoryInfo& entry : modules)
        EXPECT_EQ(entry.model == L"first" ? L"22-22-22-52" : L"00-00-00-00", entry.timing);
    EXPECT_EQ(ddr4, modules[2].spd);
    EXPECT_THAT(log.lines(),
                ElementsAre("info spd serial number: 001AFF0B", "info spd serial number: 00000000",
                            "error can not find memory by serial number: 00000000"));
    modules = {module(L"soldered", 30, 1, L"001AFF0B")};
    joinSpds(modules, {ddr4});
    EXPECT_EQ(L"22-22-22-52", modules[0].timing) << "LPDDR4 is read as DDR4";
    // The first module's type chooses the serial number's place, each module's own its timing.
    modules = {module(L"a", 35, 1, L"00000000"), module(L"b", 24, 1, L"01000000")};
    const Spd ddr5 = spdOf(1024, {{517, {1}}});
    joinSpds(modules, {ddr5});
    EXPECT_EQ(L"00-00-00-00", modules[1].timing);
    EXPECT_EQ(ddr5, modules[1].spd);
    modules[0].type = 24;
    EXPECT_THROW(joinSpds(modules, {ddr5}), HWException);
}

TEST(MemoryReport, AQueryThatFailsListsNoneAndSaysWhyAndOneWithoutDescriptorsIsNoAnswer) {
    TestMachine machine(R"({"name": "m", "management": {"Win32_PhysicalMemory": []}})");
    machine->requests().plan({"execQuery", 1, 0x80070005, 0});
    machine->requests().plan({"execQuery", 2, 0x80070004, 0});
    EXPECT_STREQ(R"({"code":1,"data":null})", getMemoryManufacturerAndModel());
    EXPECT_EQ("Access is denied.", whyNoModules());
    EXPECT_THAT(getMemoryManufacturerAndModel(),
                AllOf(HasSubstr(R"({"code":0,)"), HasSubstr("error code: 2147942404")));
    EXPECT_STREQ(R"({"code":1,"data":null})", getMemoryManufacturerAndModel());
    EXPECT_EQ("", whyNoModules());
    EXPECT_THAT(machine->requests().record(), Not(Contains(HasSubstr("Dll")))) << "no module, no controller";
}

TEST(MemoryReport, SampleMachines) {
    const std::tuple<const char*, std::string, std::vector<std::wstring>> cases[] = {
        {"intel-desktop",
         R"({"manufacturer":"Acme","model":"AM4-16G-3200"},{"manufacturer":"Borealis","model":"BX416G2666-8  "})",
         {L"22-22-22-52", L"18-19-19-43"}},
        {"amd-ryzen-desktop",
         R"({"manufacturer":"Acme","model":"AM5-32G-4800"},{"manufacturer":"Acme","model":"AM5-32G-4800"})",
         {L"40-39-39-77", L"40-39-39-77"}},
        {"amd-apu", // 0.937 ns; the second EEPROM belongs to no module
         R"({"manufacturer":"Nordwind","model":"NW-4G-2133"},{"manufacturer":"Nordwind","model":"NW-4G-2133"})",
         {L"16-15-15-35", L"00-00-00-00"}},
    };
    const CapturedLog log({&memoryLogger});
    for (const auto& [name, data, timings] : cases) {
        const auto machine = TestMachine::sample(name);
        EXPECT_EQ(R"({"code":1,"data":[)" + data + "]}", getMemoryManufacturerAndModel());
        std::vector<std::wstring> found;
        for (const MemoryInfo& entry : MemoryInfo::getMemoryInfo())
            found.push_back(entry.timing);
        EXPECT_EQ(timings, found) << name;
    }
    EXPECT_THAT(log.lines(), Contains("error can not find memory by serial number: DEADBEEF"));
}

TEST(MemoryReport, TypesThatHaveNoReport) {
    const TestMachine machine(
        R"({"name": "m", "management": {"Win32_PhysicalMemory": [{"SMBIOSMemoryType": 29}]}})");
    const std::string failure = getMemoryManufacturerAndModel();
    EXPECT_THAT(failure, HasSubstr("Memory type is not DDR4, DDR5, LPDDR4, LPDDR5, type: 29"));
    EXPECT_EQ(failure, R"({"code":0,"data":")" + std::string(getLastError()) + "\"}");
    EXPECT_EQ(29, getMemoryType());
}

// Of two soldered modules the first has an EEPROM: each is shown with its own, then the last stands for both.
TEST(MemoryReport, SolderedModulesAreJoinedAndShownBeforeTheyAreMerged) {
    const TestMachine machine(R"({"name": "m",
        "processor": {"vendor": "AuthenticAMD", "highestLeaf": 1}, "ring0": {},
        "smbus": {"controller": "amd", "base": "0x0B00", "eeproms": [{"address": "0xA0", "kind": "DDR5",
            "bytes": {"20": "A001", "24": "000004", "32": "803E803E007D", "517": "001AFF0B"}}]},
        "management": {"Win32_PhysicalMemory": [
            {"Manufacturer": "Müller", "PartNumber": "A ", "Capacity": "8", "SerialNumber": "001AFF0B",
             "Speed": 6400, "ConfiguredClockSpeed": 5500, "TotalWidth": 16, "MaxVoltage": 1100,
             "SMBIOSMemoryType": 35, "FormFactor": 0},
            {"Manufacturer": "Müller", "PartNumber": "B", "Capacity": "4", "SerialNumber": "",
             "Speed": 6400, "ConfiguredClockSpeed": 5500, "TotalWidth": 32, "MaxVoltage": 1050,
             "SMBIOSMemoryType": 35, "FormFactor": 12}]}})");
    const CapturedLog log({&memoryLogger});
    EXPECT_STREQ(R"({"code":1,"data":[{"manufacturer":"Müller","model":"B"}]})",
                 getMemoryManufacturerAndModel());
    EXPECT_THAT(
        log.lines(spdlog::level::info),
        testing::IsSupersetOf({"SerialNumber: 001AFF0B,", "CurrentSpeed: 5500,", "timing: 56-39-39-77",
                               "TotalWidth: 32,", "Voltage: 1050,", "timing: 00-00-00-00"}));
}

} // namespace
} // namespace orv::test
