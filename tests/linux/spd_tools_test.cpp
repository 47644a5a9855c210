// Decoders and reader against tools of the system that read the same bytes. Skipped where a tool is missing.

#include "memory/SPDDecoders.h"
#include "platform/servers/Smbios.h"
#include "platform/text.h"
#include "support/MemoryImages.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <sstream>

namespace orv {
namespace {

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen((command + " 2>/dev/null").c_str(), "r"),
                                                     ::pclose);
    std::string text;
    char buffer[4096];
    while (pipe && std::fgets(buffer, sizeof buffer, pipe.get()))
        text += buffer;
    return text;
}

bool installed(const char* tool) {
    return std::filesystem::exists(std::string("/usr/bin/") + tool) ||
           std::filesystem::exists(std::string("/usr/sbin/") + tool);
}

/// An image that the tool takes for DDR4: `times` are tRCD, tRP and tRAS, `fine` the corrections of tRP,
/// tRCD.
memory::Spd ddr4(std::uint8_t clock, const test::Bytes& times, const test::Bytes& fine,
                 const test::Bytes& serial) {
    return test::spdOf(512, {{0, {0x23, 0x12, 0x0C, 0x02, 0x85, 0x21}},
                             {12, {0x01, 0x03}},
                             {18, {clock, 0x0D, 0xF8, 0x3F, 0x01, 0x00, 0x6E}},
                             {25, times},
                             {121, fine},
                             {325, serial}});
}

/// tRCD-tRP-tRAS and the serial number as decode-dimms prints them for an image.
std::pair<std::string, std::string> decodedByTool(const memory::Spd& spd) {
    // The tests run side by side.
    const std::string path =
        std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".hex";
    {
        std::ofstream file(path);
        for (std::size_t i = 0; i < spd.size(); ++i)
            file << (i % 16 ? "" : fmt::format("{}{:08x} ", i ? "\n" : "", i))
                 << fmt::format(" {:02x}", spd[i]);
        file << "\n";
    }
    const std::string text = outputOf("decode-dimms -c -x " + path);
    std::smatch timing;
    std::smatch serial;
    std::regex_search(text, timing, std::regex(R"(AA-RCD-RP-RAS \(cycles\) +-?\d+-(\S+))"));
    std::regex_search(text, serial, std::regex(R"(Assembly Serial Number +0x(\S+))"));
    return {timing.str(1), serial.str(1)};
}

std::string narrow(const std::wstring& text) {
    return platform::wideToUtf8(text);
}

// Clock periods of DDR4-1600, 2666 and 3200 that the tool takes as they are; others it moves to the
// standard's.
TEST(DecodeDimms, AgreesOnTimesAndSerialNumber) {
    if (!installed("decode-dimms")) GTEST_SKIP() << "decode-dimms is not installed";
    constexpr std::uint8_t clocks[] = {0x0A, 0x06, 0x05};
    std::mt19937 random(4);
    const auto byte = [&](unsigned smallest, unsigned count) {
        return static_cast<std::uint8_t>(smallest + random() % count);
    };
    int compared = 0;
    for (int i = 0; i < 24; ++i) {
        const std::uint8_t clock = clocks[i % std::size(clocks)];
        const test::Bytes times = {byte(100, 60), byte(100, 60), 0x11, byte(0, 256)};
        const test::Bytes fine = {byte(0, 256), byte(0, 256)};
        const memory::Spd spd =
            ddr4(clock, times, fine, {byte(0, 256), byte(0, 256), byte(0, 256), byte(0, 256)});
        const auto [timing, serialNumber] = decodedByTool(spd);
        EXPECT_EQ(serialNumber, narrow(memory::parseSerialNumberDDR4(spd)));
        // The tool forgives a quotient up to 0.025 above a whole number; ours rounds it up.
        const double quotients[] = {
            (times[0] * 0.125 + static_cast<std::int8_t>(fine[1]) * 0.001) / (clock * 0.125),
            (times[1] * 0.125 + static_cast<std::int8_t>(fine[0]) * 0.001) / (clock * 0.125),
            static_cast<double>(256 + times[3]) / clock};
        if (std::any_of(std::begin(quotients), std::end(quotients), [](double quotient) {
                const double over = quotient - std::floor(quotient);
                return over > 0 && over < 0.026;
            }))
            continue;
        ++compared;
        EXPECT_EQ(timing, narrow(memory::parseDDR4TimingBySPD(spd)).substr(3)) << int{clock};
    }
    EXPECT_GE(compared, 16);
}

// 13.51 ns over 0.75 ns are 18.013 periods: one period more than inside the tool's guard band.
TEST(DecodeDimms, ItsGuardBandShows) {
    if (!installed("decode-dimms")) GTEST_SKIP() << "decode-dimms is not installed";
    const memory::Spd spd = ddr4(0x06, {0x6C, 0x6C, 0x11, 0x08}, {0x00, 0x0A}, {1, 2, 3, 4});
    EXPECT_EQ("18-18-44", decodedByTool(spd).first);
    EXPECT_EQ("23-19-18-44", narrow(memory::parseDDR4TimingBySPD(spd)));
}

/// The fields of each "Memory Device" of dmidecode's output, by name.
std::vector<std::map<std::string, std::string>> devicesByTool(const std::string& dump) {
    std::vector<std::map<std::string, std::string>> devices;
    std::istringstream text(outputOf("PATH=$PATH:/usr/sbin dmidecode -t 17 --from-dump " + dump));
    for (std::string line; std::getline(text, line);) {
        if (line == "Memory Device") devices.emplace_back();
        const auto colon = line.find(": ");
        if (!devices.empty() && line.starts_with('\t') && colon != line.npos)
            devices.back()[line.substr(1, colon - 1)] = line.substr(colon + 2);
    }
    return devices;
}

TEST(Dmidecode, AgreesOnTheRows) {
    if (!installed("dmidecode")) GTEST_SKIP() << "dmidecode is not installed";
    // Type, form factor and size in both's words.
    const struct {
        std::uint8_t type, form;
        std::uint16_t size;
        std::uint32_t extended;
        const char *typeName, *formName, *sizeName;
        std::int32_t cim;
        const wchar_t* bytes;
    } cases[] = {
        {24, 13, 4096, 0, "DDR3", "SODIMM", "4 GB", 12, L"4294967296"},
        {26, 9, 16384, 0, "DDR4", "DIMM", "16 GB", 8, L"17179869184"},
        {30, 11, 2048, 0, "LPDDR4", "Row Of Chips", "2 GB", 0, L"2147483648"},
        {34, 9, 0x7FFF, 65536, "DDR5", "DIMM", "64 GB", 8, L"68719476736"},
        {35, 16, 0x8000 + 1024, 0, "LPDDR5", "Die", "1 MB", 1, L"1048576"},
    };
    std::vector<test::MemoryDevice> devices;
    for (const auto& row : cases) {
        test::MemoryDevice device;
        device.type = row.type;
        device.formFactor = row.form;
        device.size = row.size;
        device.extendedSize = row.extended;
        device.speed = static_cast<std::uint16_t>(1600 + 100 * row.type);
        device.partNumber = fmt::format("Part {}", row.type);
        devices.push_back(device);
    }
    const test::Bytes dump = test::dumpOf(test::tableOf(devices));
    std::ofstream("dmidecode.bin", std::ios::binary)
        .write(reinterpret_cast<const char*>(dump.data()), static_cast<std::streamsize>(dump.size()));
    auto theirs = devicesByTool("dmidecode.bin");
    auto ours = platform::physicalMemoryRows(platform::smbiosTableOfDump(dump));
    ASSERT_EQ(std::size(cases), theirs.size());
    ASSERT_EQ(std::size(cases), ours.size());
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const auto& row = cases[i];
        EXPECT_EQ(theirs[i]["Manufacturer"], narrow(ours[i][L"Manufacturer"].text));
        EXPECT_EQ(theirs[i]["Part Number"], narrow(ours[i][L"PartNumber"].text));
        EXPECT_EQ(theirs[i]["Serial Number"], narrow(ours[i][L"SerialNumber"].text));
        EXPECT_EQ(theirs[i]["Speed"], fmt::format("{} MT/s", ours[i][L"Speed"].number));
        EXPECT_EQ(theirs[i]["Configured Memory Speed"],
                  fmt::format("{} MT/s", ours[i][L"ConfiguredClockSpeed"].number));
        EXPECT_EQ(theirs[i]["Total Width"], fmt::format("{} bits", ours[i][L"TotalWidth"].number));
        EXPECT_EQ(row.typeName, theirs[i]["Type"]);
        EXPECT_EQ(row.type, ours[i][L"SMBIOSMemoryType"].number);
        EXPECT_EQ(row.formName, theirs[i]["Form Factor"]);
        EXPECT_EQ(row.cim, ours[i][L"FormFactor"].number);
        EXPECT_EQ(row.sizeName, theirs[i]["Size"]);
        EXPECT_EQ(row.bytes, ours[i][L"Capacity"].text);
    }
}

} // namespace
} // namespace orv
