#include "gpu/Gpu.h"
#include "orvane/hwprobe.h"
#include "support/TestMachine.h"

#include <fmt/core.h>
#include <gmock/gmock.h>

#include <filesystem>

namespace orv {
namespace {

using test::TestMachine;
using testing::ElementsAre;
using testing::EndsWith;
using Lines = std::vector<std::string>;

/// A machine whose section "graphics.nvidia" is `nvidia`.
std::string withNvidia(const std::string& nvidia) {
    return R"({"name": "m", "graphics": {"nvidia": )" + nvidia + "}}";
}

constexpr char kPlain[] = R"({"adapters": [{"name": "A", "temperature": 50, "load": 37, "memory": 4096},
                                           {"name": "B", "temperature": 60, "load": 80}]})";

std::string oneAdapter(const std::string& readings, const std::string& before = "") {
    return "{" + before + R"("adapters": [{"name": "A", )" + readings + "}]}";
}

Lines requestsOf(TestMachine& machine, const std::string& prefix) {
    Lines lines;
    for (const std::string& line : machine->requests().record())
        if (line.starts_with(prefix)) lines.push_back(line);
    return lines;
}

TEST(GpuNvidia, TheFirstAdapterAnswersWithItsLines) {
    TestMachine machine(withNvidia(kPlain));
    machine->requests().keepRecord(true);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuTemperature(), 50.0);
    EXPECT_EQ(GetGpuList().front()->GetTotalMemory(), 4096u);
    EXPECT_EQ(GetGpuList().front()->gpuType, 1u);
    EXPECT_EQ(GetGpuList().back()->gpuName, "B");
    // A working adapter pays for two thermal calls a reading.
    EXPECT_THAT(requestsOf(machine, "NvAPI_GPU_GetThermalSettings"),
                ElementsAre("NvAPI_GPU_GetThermalSettings gpu 0 sensor 15 count 3",
                            "NvAPI_GPU_GetThermalSettings gpu 0 sensor 15 count 1"));
}

TEST(GpuNvidia, ASleepingAdapterIsWokenUpByTheHelperOfTheCurrentDirectory) {
    auto machine = TestMachine::sample("intel-desktop");
    machine->requests().keepRecord(true);
    EXPECT_EQ(getGpuTemperature(), 47.0);
    EXPECT_EQ(getGpuTemperature(), 47.0); // awake by now
    EXPECT_THAT(requestsOf(machine, "runAndWait"),
                ElementsAre("runAndWait " + std::filesystem::current_path().string() +
                            R"(\resources\lib\active_nvidia.exe)"));
}

TEST(GpuNvidia, ReadingsAndTheirFailures) {
    // A request whose every call fails with status -1; load, temperature and the end of the last error.
    const std::tuple<const char*, std::string, double, double, const char*> rows[] = {
        {"NvAPI_Initialize", kPlain, -1, -1, "No gpu found"},
        {"NvAPI_GPU_GetFullName", kPlain, -1, -1,
         ": NvAPI_GPU_GetFullName failed, error code: -1, message: NVAPI_ERROR"},
        {"NvAPI_GPU_GetDynamicPstatesInfoEx", kPlain, -1, 50,
         ": NvAPI_GPU_GetDynamicPstatesInfoEx failed: NVAPI_ERROR"},
        {"", oneAdapter(R"("temperature": 1)", R"("missing": ["NvAPI_GetErrorMessage"], )"), -1, 1,
         ": NvAPI_GPU_GetDynamicPstatesInfoEx failed: "},
        {"", oneAdapter(R"("load": 5)"), 0.05, -1, // and no helper to wake it
         ": CreateProcess failed: error code: 2 message: The system cannot find the file specified.\r\n"},
        {"", oneAdapter(R"("load": 5)", R"("helper": true, )"), 0.05, -1, // which did not wake it
         ": NvAPI_GPU_GetThermalSettings failed: NVAPI_NOT_SUPPORTED"},
        {"", oneAdapter(R"("load": 5, "sensor": false)"), 0.05, 0, ""},
        {"", oneAdapter(R"("load": 5, "temperature": -4)"), 0.05, -4, ""},
    };
    for (const auto& [fault, nvidia, load, temperature, error] : rows) {
        SCOPED_TRACE(fault + nvidia);
        TestMachine machine(withNvidia(nvidia));
        if (*fault) machine->requests().plan({fault, 0, static_cast<std::uint32_t>(-1), 0});
        EXPECT_EQ(getGpuLoad(), load);
        EXPECT_EQ(getGpuTemperature(), temperature);
        EXPECT_THAT(getLastError(), EndsWith(error));
    }
}

TEST(GpuNvidia, ACountBeyondTheFilledHandlesAndANameWithoutAnEnd) {
    const std::string longName(64, 'x');
    for (const char* count : {"5", "4294967295"}) {
        TestMachine machine(
            withNvidia(fmt::format(R"({{"count": {}, "adapters": [{{"name": "{}"}}]}})", count, longName)));
        ASSERT_EQ(GetGpuList().size(), 1u);
        EXPECT_EQ(GetGpuList().front()->gpuName, longName);
    }
}

TEST(GpuNvidia, AFailedListIsMadeAnewAndAMadeOneIsKept) {
    TestMachine machine(withNvidia(kPlain));
    machine->requests().keepRecord(true);
    machine->requests().plan({"NvAPI_GPU_GetFullName", 2, 5, 0}); // the second adapter's name, once
    EXPECT_EQ(getGpuLoad(), -1.0);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(requestsOf(machine, "NvAPI_EnumPhysicalGPUs").size(), 2u);
    EXPECT_EQ(requestsOf(machine, "NvAPI_Initialize").size(), 1u); // initialised stays initialised
}

TEST(Gpu, AnEmptyListIsAMadeList) {
    auto machine = TestMachine::sample("laptop");
    machine->requests().keepRecord(true);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(getGpuLoad(), -1.0);
        EXPECT_EQ(getGpuTemperature(), -1.0);
        EXPECT_STREQ(getLastError(), "No gpu found");
    }
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("graphicsFunction NvAPI_Initialize", "loadLibrary atiadlxx.dll",
                            "loadLibrary atiadlxy.dll"));
}

} // namespace
} // namespace orv
