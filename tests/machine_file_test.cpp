// Machine files that cannot be used, and plans of failures.

#include "platform/machine/Machine.h"
#include "platform/machine/Node.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orv::platform {
namespace {

template <class Make>
std::string reasonOf(Make make) {
    try {
        make();
    } catch (const MachineFileError& problem) {
        return problem.what();
    }
    return "accepted";
}

std::string nested(std::size_t depth) {
    return R"({"name": "m", "x": )" + std::string(depth, '[') + "1" + std::string(depth, ']') + "}";
}
std::string smbus(const std::string& eeproms) {
    return R"({"name": "m", "smbus": {"controller": "amd", "base": "0x0B00", "eeproms": [)" + eeproms + "]}}";
}

TEST(MachineFile, WhatIsWrongIsNamedWithItsPlace) {
    const std::string module = R"({"address": "0xA2", "kind": "DDR4"})";
    const std::pair<std::string, const char*> cases[] = {
        {R"({"name": "m"})", "accepted"},
        {"{}", R"(machine: the key "name" is missing)"},
        {R"({"name": "m", "memory": {"totalPhys": -1, "availPhys": 0}})",
         "machine: memory.totalPhys: must be a whole number"},
        {nested(63), R"(machine: unknown key "x")"},
        {nested(64), "machine: nested deeper than 64"},
        {nested(50'000), "machine: nested deeper than 64"},
        {R"({"name": "m", "clock": {"stepNs": 1, "stepNs": 1}})",
         R"(machine: the key "stepNs" stands twice in one object)"},
        {R"({"name": "m", "faults": [{"request": "adapter", "error": 5}]})",
         R"(machine: faults[0]: no request is named "adapter")"},
        {smbus(module + "," + module), "machine: smbus.eeproms[1]: another EEPROM has this address"},
        {smbus(R"({"address": "0xB0", "kind": "DDR4"})"), "machine: smbus.eeproms[0].address: is above 174"},
    };
    for (const auto& [text, reason] : cases) {
        const std::string found = reasonOf([&] { Machine::fromText(text); });
        EXPECT_EQ(reason, found.substr(0, std::string_view(reason).size())) << text.substr(0, 200);
    }
}

TEST(MachineFile, FilesThatCannotBeReadWhole) {
    std::filesystem::create_directory("a-folder");
    std::ofstream("huge.bin").close();
    std::filesystem::resize_file("huge.bin", (16u << 20) + 1);
    const std::pair<const char*, const char*> cases[] = {
        {"nowhere", R"("nowhere" cannot be opened)"},
        {"a-folder", R"("a-folder" is not a regular file)"},
        {"huge.bin", R"("huge.bin" is larger than 16 MiB)"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(std::string(reason) + "; give the path of a machine file",
                  reasonOf([&] { Machine::fromFile(path); }));
        std::ofstream("names-a-file.json")
            << fmt::format(R"({{"name": "m", "management": {{"smbios": "{}"}}}})", path);
        EXPECT_EQ(std::string("names-a-file.json: management.smbios: ") + reason,
                  reasonOf([&] { Machine::fromFile("names-a-file.json"); }));
    }
}

} // namespace
} // namespace orv::platform
