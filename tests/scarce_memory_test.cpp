#include "frame/border/callFrame.h"
#include "platform/Clock.h"
#include "support/DescribedDrives.h"
#include "support/ScarceMemory.h"
#include "support/TestMachine.h"

#include <cstring>
#include <optional>

namespace orv::test {
namespace {

/// Whether a host sees a failure, asked without memory.
bool isFailure(double value) {
    return value == -1.0;
}
bool isFailure(const char* text) {
    return std::strncmp(text, "{\"error\"", 8) == 0 || std::strncmp(text, "{\"code\":0,\"", 11) == 0;
}

/// How the call after one whose request failed is; of some exports no call fails by a request.
enum class Next { good, any, notSwept };

struct Export {
    const char* name;
    std::string machine; ///< a sample's name, or the text of one
    bool (*fails)();     ///< calls it
    Next next = Next::good;
    std::uint64_t step = 1; ///< from one failing allocation to the next in a call that makes thousands
};

std::ostream& operator<<(std::ostream& out, const Export& entry) {
    return out << entry.name;
}

// A counter or a graphics driver that could not be started at first use stays away, and a drive that the
// search could not reach is not searched for again.
const Export kExports[] = {
    {"getCpuLoad", "intel-desktop", [] { return isFailure(getCpuLoad()); }},
    {"getCpuTemperature", "amd-ryzen-desktop", [] { return isFailure(getCpuTemperature()); }},
    {"getCpuTemperatureOfIntel", "intel-desktop", [] { return isFailure(getCpuTemperature()); }},
    {"getCpuFrequency", "intel-desktop", [] { return isFailure(getCpuFrequency()); }, Next::any},
    {"getCpuBaseFrequency", "intel-desktop", [] { return isFailure(getCpuBaseFrequency()); }},
    {"getGpuLoad", "amd-ryzen-desktop", [] { return isFailure(getGpuLoad()); }, Next::any},
    {"getGpuLoadOfNvidia", "intel-desktop", [] { return isFailure(getGpuLoad()); }, Next::any},
    {"getGpuTemperature", "intel-desktop", [] { return isFailure(getGpuTemperature()); }, Next::any},
    {"getGpuTemperatureOfAmd", "amd-ryzen-desktop", [] { return isFailure(getGpuTemperature()); }, Next::any},
    {"getMemoryLoad", "intel-desktop", [] { return isFailure(getMemoryLoad()); }},
    {"getMemoryManufacturerAndModel", "intel-desktop",
     [] { return isFailure(getMemoryManufacturerAndModel()); }, Next::good, 101},
    {"initBattery", "laptop", [] { return isFailure(initBattery()); }},
    {"getBatteryAllMessage", "laptop",
     [] { return initBattery() < 0 || isFailure(getBatteryAllMessage(0)); }},
    {"getNetCardMessage", "intel-desktop", [] { return isFailure(getNetCardMessage()); }},
    {"getNetCurrentSpeed", "intel-desktop", [] { return isFailure(getNetCurrentSpeed()); }},
    {"initDisk", machineWithADrive(), [] { return isFailure(initDisk()); }, Next::notSwept},
    {"getAllDiskType", machineWithADrive(), [] { return isFailure(getAllDiskType()); }, Next::notSwept},
    {"getDiskTemperature", machineWithADrive(),
     [] { return initDisk() < 0 || isFailure(getDiskTemperature(0)); }, Next::any},
    {"getDiskReadWriteSpeed", machineWithADrive(),
     [] {
         if (initDisk() < 0) return true;
         platform::current().clock().sleepNs(1'000'000);
         return isFailure(getDiskReadWriteSpeed(0));
     },
     Next::any},
    {"getDiskNameWhichOsInstalled", machineWithADrive(),
     [] { return isFailure(getDiskNameWhichOsInstalled()); }, Next::notSwept},
    {"releaseRing0", "intel-desktop", [] { return releaseRing0(), false; }, Next::notSwept},
};

class ScarceMemory : public ::testing::TestWithParam<Export> {};

TEST_P(ScarceMemory, AnyAllocationOfAFirstOrALaterCallMayFail) {
    const auto fails = GetParam().fails;
    TestMachine machine = TestMachine::of(GetParam().machine);
    machine->requests().keepRecord(false); // whose lines are allocations, too
    for (const bool first : {true, false}) {
        failAllocation(0);
        ASSERT_FALSE(fails()) << getLastError();
        const std::uint64_t count = endOfScarcity();
        for (std::uint64_t number = 1; number <= 2 * count; number += GetParam().step) {
            SCOPED_TRACE(number);
            std::optional<InUse> fresh;
            if (first) fresh.emplace(*machine);
            failAllocation((number - 1) % count + 1,
                           number > count); // one of them, then all from it on
            const bool failed = fails();
            endOfScarcity();
            ASSERT_FALSE(failed && *getLastError() == 0);
            ASSERT_FALSE(fails()) << getLastError(); // with all the memory in the world
        }
    }
}

TEST_P(ScarceMemory, AnyRequestMayFailAndTheNextCallIsGood) {
    const auto& [name, text, fails, next, step] = GetParam();
    if (next == Next::notSwept) return;
    std::uint64_t requests = 0; // of a call without a failure, which is the first one
    // After the first few hundred only some fail: an EEPROM is read by thousands
    // of like ones.
    for (std::uint64_t number = 0; number <= requests; number += number < 300 ? 1 : number / 7) {
        SCOPED_TRACE(number);
        TestMachine machine = TestMachine::of(text);
        machine->requests().failRequest(number, platform::kAccessDenied);
        // A failure that is tolerated gives a good answer; one that is not gives
        // value and text.
        const bool failed = fails();
        EXPECT_FALSE(failed && *getLastError() == 0);
        if (number == 0) {
            ASSERT_FALSE(failed) << getLastError();
            requests = machine->requests().count();
        }
        machine->requests().failRequest(0, platform::kSuccess);
        EXPECT_FALSE(next == Next::good && fails()) << getLastError();
    }
    TestMachine machine = TestMachine::of(text);
    machine->requests().failEveryRequest(platform::kAccessDenied);
    EXPECT_TRUE(fails());
    EXPECT_STRNE("", getLastError());
}

INSTANTIATE_TEST_SUITE_P(Exports, ScarceMemory, ::testing::ValuesIn(kExports),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ScarceMemoryTexts, AFailureIsToldWithoutMemory) {
    TestMachine machine(R"({"name": "bare"})");
    frame::TextResult result;
    const std::string lengthy = std::string(1023, 'x') + "\xC3\xBC and more";
    failAllocation(1, true);
    const char* text = frame::tellFailure(result, frame::kErrorObject, lengthy.c_str());
    endOfScarcity();
    EXPECT_STREQ(R"({"error":"std::bad_alloc"})", text);
    EXPECT_EQ(std::string(1023, 'x'), getLastError())
        << "cut to the room, before the letter that is cut in two";
}

TEST(ScarceMemoryTexts, AReadingIsAFiniteNumber) {
    TestMachine machine(R"({"name": "bare"})");
    EXPECT_EQ(-1.0, frame::guardedReading([] { return std::nan(""); }));
    EXPECT_STREQ("the reading is not a finite number", getLastError());
    EXPECT_EQ(1.5, frame::guardedReading([] { return 1.5; }));
}

} // namespace
} // namespace orv::test
