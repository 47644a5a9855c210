#include "gpu/Gpu.h"
#include "platform/servers/AdlServer.h"
#include "support/TestMachine.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>

namespace orv::test {
namespace {

/// A machine with AMD's library; `adapters` and `rest` are the inside of the array and what follows it.
std::string withAmd(const std::string& adapters, const std::string& rest = "") {
    return R"({"name": "m", "graphics": {"amd": {"adapters": [)" + adapters + "]" + rest + "}}}";
}

std::string card(const std::string& readings, const std::string& name = "RX", int device = 0) {
    return fmt::format(R"({{"bus": 3, "device": {}, "name": "{}"{}{}}})", device, name,
                       readings.empty() ? "" : ", ", readings);
}

constexpr char kLevel5[] = R"("overdrive": {"version": 5}, "od5Temperature": 30000, "activity": 1)";

TEST(GpuAmd, OfEntriesInOneSlotTheOneThatAnswersMostStays) {
    auto machine = TestMachine::sample("amd-ryzen-desktop");
    EXPECT_EQ(getGpuTemperature(), 58.0);
    EXPECT_EQ(getGpuLoad(), 0.34); // the PM log's, over the 31 percent of the activity call
    ASSERT_EQ(GetGpuList().size(), 1u);
    EXPECT_EQ(GetGpuList()[0]->gpuType, 2u);
    EXPECT_EQ(GetGpuList()[0]->GetTotalMemory(), 12868124672 / 1024);
    const auto& record = machine->requests().record();
    EXPECT_EQ(std::count(record.begin(), record.end(), "ADL2_Main_Control_Destroy"), 2); // the two losers
}

TEST(GpuAmd, ReadingsFollowTheOverdriveGeneration) {
    // The temperature, -1 when the entry is dropped, and the load.
    const std::tuple<const char*, double, double> rows[] = {
        {R"("overdrive6": 0, "pmLog": {"sensors": {"8": 42, "19": 3}})", 42, 0.03},
        {R"("overdrive6": 1, "od5Temperature": 42000, "activity": 3)", 42, 0.03},
        {R"("overdrive": {"version": 5}, "od5Temperature": 30000)", 30, -1},
        {R"("overdrive": {"version": 7}, "odnTemperature": -256, "activity": 0)", -256, 0},
        // The log's load comes before the activity from level 8 on, where it has one.
        {R"("overdrive": {"version": 7}, "odnTemperature": 50, "activity": 21, "pmLog": {"sensors": {"19": 44}})",
         50, 0.21},
        {R"("overdrive": {"version": 8}, "odnTemperature": 50, "pmLog": {"sensors": {"19": 250}})", 50, 1},
        // Only support told as 1 counts; the log is read without.
        {R"("overdrive": {"version": 8, "supported": 0}, "activity": 1, "pmLog": {"sensors": {"8": 66, "19": 44}})",
         66, 0.44},
        {R"("pmLog": {"size": 8, "sensors": {"8": 66, "19": 44}})", 0, 0},
        {R"("pmLog": {"size": 2147483647, "sensors": {"8": 66, "19": 44}})", 66, 0.44},
        {"", -1, -1},
    };
    for (const auto& [readings, temperature, load] : rows) {
        SCOPED_TRACE(readings);
        TestMachine machine(withAmd(card(readings)));
        EXPECT_EQ(getGpuTemperature(), temperature);
        EXPECT_EQ(getGpuLoad(), load);
        EXPECT_EQ(GetGpuList().size(), temperature == -1 ? 0u : 1u);
        if (load == -1 && temperature != -1) {
            EXPECT_THAT(getLastError(),
                        EndsWith(": GetGpuLoad: no implementation for currentOverdriveApiLevel: 5"));
        }
    }
}

TEST(GpuAmd, WhatTheLibraryLacksOrFails) {
    // A request whose first call fails, the load of the second reading, when one that threw is tried again,
    // and the first reading's error.
    const std::tuple<const char*, const char*, double, std::string> rows[] = {
        {R"(, "missing": ["ADL_Adapter_Active_Get"])", "", -1, ": no load function: ADL_Adapter_Active_Get"},
        {R"(, "count": 2147483647)", "", -1,
         ": ADL_Adapter_NumberOfAdapters_Get gave 2147483647 adapters, more than the 250 that there can be"},
        {"", "ADL2_Main_Control_Create", 0.01, ": ADL2_Main_Control_Create failed, error code: 7"},
        {R"(, "count": -2147483648)", "", -1, "No gpu found"},
        {R"(, "missing": ["ADL_Overdrive5_Temperature_Get"])", "", -1, "No gpu found"},
    };
    for (const auto& [rest, fault, load, error] : rows) {
        SCOPED_TRACE(rest + std::string(fault));
        TestMachine machine(withAmd(card(kLevel5), rest));
        if (*fault) machine->requests().plan({fault, 1, 7, 0});
        EXPECT_EQ(getGpuLoad(), error.empty() ? load : -1.0);
        EXPECT_THAT(getLastError(), EndsWith(error));
        EXPECT_EQ(error.empty(), *getLastError() == 0);
        EXPECT_EQ(getGpuLoad(), load);
    }
}

TEST(GpuAmd, AnOlderLibraryTellsItsMemoryByAnOlderFunction) {
    const TestMachine machine(withAmd(card(kLevel5 + std::string(R"(, "memory": 4194304)")),
                                      R"(, "missing": ["ADL2_Adapter_MemoryInfoX4_Get"])"));
    EXPECT_EQ(GetGpuList().at(0)->GetTotalMemory(), 4096u);
}

/// The functions ask the server that serves, and none when it is gone.
TEST(GpuAmd, AServerThatIsGoneIsNotAsked) {
    const std::string machine = withAmd(card(kLevel5));
    const auto asked = [] {
        int count = 0;
        return reinterpret_cast<int (*)(int*)>(
            platform::servedAdlFunction("ADL_Adapter_NumberOfAdapters_Get"))(&count);
    };
    auto first = std::make_unique<TestMachine>(machine);
    getGpuLoad();
    EXPECT_EQ(platform::adl::kOk, asked());
    first.reset();
    EXPECT_NE(platform::adl::kOk, asked());
}

TEST(GpuAmd, NamesDecideWhichEntriesAreAsked) {
    const std::string full(256, 'x'); // no end in the record
    const std::pair<std::string, bool> rows[] = {{"An AMD Radeon(TM) Vega 8 Graphics", false},
                                                 {"AMD Radeon(TM) Vega", true},
                                                 {"amd radeon(tm) graphics", true},
                                                 {"MICROSOFT Basic Render Driver", false},
                                                 {full, true}};
    for (const auto& [name, listed] : rows) {
        TestMachine machine(withAmd(card(kLevel5, name)));
        ASSERT_EQ(GetGpuList().size(), listed ? 1u : 0u) << name;
        if (listed) {
            EXPECT_EQ(GetGpuList()[0]->gpuName, name);
        }
    }
}

TEST(GpuAmd, TheFirstOfTwoCardsAnswersByItsOwnIndexAndArguments) {
    const auto entry = [](const char* name, int index, int degrees, int version) {
        return card(fmt::format(R"("index": {}, "overdrive": {{"version": {}}}, "od5Temperature": {}000,
                                   "odnTemperature": {}, "activity": 1)",
                                index, version, degrees, degrees),
                    name, index);
    };
    for (const int version : {5, 7}) {
        TestMachine machine(withAmd(entry("B", 9, 40, version) + "," + entry("A", 4, 30, version)));
        EXPECT_EQ(getGpuTemperature(), 40.0);
        ASSERT_EQ(GetGpuList().size(), 2u);
        EXPECT_EQ(GetGpuList()[1]->gpuName, "A");
        EXPECT_EQ(GetGpuList()[1]->GetTemperature(), 30.0);
        const char* const asked = version == 5 ? "ADL_Overdrive5_Temperature_Get adapter 9 controller 0"
                                               : "ADL2_OverdriveN_Temperature_Get adapter 9 type 1";
        EXPECT_THAT(machine->requests().record(),
                    testing::IsSupersetOf({"ADL_Main_Control_Create 1", "ADL_Adapter_Active_Get adapter 9",
                                           "ADL2_Main_Control_Create adapter 4", asked}));
    }
}

/// A machine whose section "graphics.nvidia" is `nvidia`.
std::string withNvidia(const std::string& nvidia) {
    return R"({"name": "m", "graphics": {"nvidia": )" + nvidia + "}}";
}

constexpr char kPlain[] = R"({"adapters": [{"name": "A", "temperature": 50, "load": 37, "memory": 4096},
                                           {"name": "B", "temperature": 60, "load": 80}]})";

std::string oneAdapter(const std::string& readings, const std::string& before = "") {
    return "{" + before + R"("adapters": [{"name": "A", )" + readings + "}]}";
}

TEST(GpuNvidia, TheFirstAdapterAnswersWithItsLines) {
    TestMachine machine(withNvidia(kPlain));
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuTemperature(), 50.0);
    EXPECT_EQ(GetGpuList().front()->GetTotalMemory(), 4096u);
    EXPECT_EQ(GetGpuList().front()->gpuType, 1u);
    EXPECT_EQ(GetGpuList().back()->gpuName, "B");
    // A working adapter pays for two thermal calls a reading.
    EXPECT_THAT(machine.asked("NvAPI_GPU_GetThermalSettings"),
                ElementsAre("NvAPI_GPU_GetThermalSettings gpu 0 sensor 15 count 3",
                            "NvAPI_GPU_GetThermalSettings gpu 0 sensor 15 count 1"));
}

TEST(GpuNvidia, ASleepingAdapterIsWokenUpByTheHelperOfTheCurrentDirectory) {
    auto machine = TestMachine::sample("intel-desktop");
    EXPECT_EQ(getGpuTemperature(), 47.0);
    EXPECT_EQ(getGpuTemperature(), 47.0); // awake by now
    EXPECT_THAT(machine.asked("runAndWait"),
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
    machine->requests().plan({"NvAPI_GPU_GetFullName", 2, 5, 0}); // the second adapter's name, once
    EXPECT_EQ(getGpuLoad(), -1.0);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(machine.asked("NvAPI_EnumPhysicalGPUs").size(), 2u);
    EXPECT_EQ(machine.asked("NvAPI_Initialize").size(), 1u); // initialised stays initialised
}

TEST(Gpu, AnEmptyListIsAMadeList) {
    auto machine = TestMachine::sample("laptop");
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
} // namespace orv::test
