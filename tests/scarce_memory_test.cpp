#include "frame/border/callFrame.h"
#include "orvane/hwprobe.h"
#include "platform/Clock.h"
#include "support/DescribedDrives.h"
#include "support/ScarceMemory.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

#include <cstring>

namespace orv::test {
namespace {

/// What a host sees of a call, in a form that takes no memory.
struct Answer {
    bool failed;
    const char* text; ///< of a text export
};

Answer ofNumber(double value) {
    return {value == -1.0, ""};
}
Answer ofText(const char* text) {
    return {std::strncmp(text, "{\"error\"", 8) == 0 || std::strncmp(text, "{\"code\":0,\"", 11) == 0, text};
}

struct Export {
    const char* name;
    std::string machine; ///< a sample's name, or the text of one
    Answer (*call)();
    std::uint64_t step =
        1; ///< how far from one failing allocation to the next in a call that makes thousands
};

std::ostream& operator<<(std::ostream& out, const Export& entry) {
    return out << entry.name;
}

const Export kExports[] = {
    {"getCpuLoad", "intel-desktop", [] { return ofNumber(getCpuLoad()); }},
    {"getCpuTemperature", "amd-ryzen-desktop", [] { return ofNumber(getCpuTemperature()); }},
    {"getCpuFrequency", "intel-desktop", [] { return ofNumber(getCpuFrequency()); }},
    {"getCpuBaseFrequency", "intel-desktop", [] { return ofNumber(getCpuBaseFrequency()); }},
    {"getGpuLoad", "amd-ryzen-desktop", [] { return ofNumber(getGpuLoad()); }},
    {"getGpuTemperature", "intel-desktop", [] { return ofNumber(getGpuTemperature()); }},
    {"getMemoryLoad", "intel-desktop", [] { return ofNumber(getMemoryLoad()); }},
    {"getMemoryManufacturerAndModel", "intel-desktop", [] { return ofText(getMemoryManufacturerAndModel()); },
     101},
    {"initBattery", "laptop", [] { return ofNumber(initBattery()); }},
    {"getBatteryAllMessage", "laptop",
     [] {
         return initBattery() < 0 ? Answer{true, ""} : ofText(getBatteryAllMessage(0));
     }},
    {"getNetCardMessage", "laptop", [] { return ofText(getNetCardMessage()); }},
    {"getNetCurrentSpeed", "intel-desktop", [] { return ofText(getNetCurrentSpeed()); }},
    {"initDisk", machineWithADrive(), [] { return ofNumber(initDisk()); }},
    {"getAllDiskType", machineWithADrive(), [] { return ofText(getAllDiskType()); }},
    {"getDiskTemperature", machineWithADrive(),
     [] {
         return initDisk() < 0 ? Answer{true, ""} : ofNumber(getDiskTemperature(0));
     }},
    {"getDiskReadWriteSpeed", machineWithADrive(),
     [] {
         if (initDisk() < 0) return Answer{true, ""};
         platform::current().clock().sleepNs(1'000'000);
         return ofText(getDiskReadWriteSpeed(0));
     }},
    {"getDiskNameWhichOsInstalled", machineWithADrive(),
     [] { return ofText(getDiskNameWhichOsInstalled()); }},
    {"releaseRing0", "intel-desktop",
     [] {
         releaseRing0();
         return Answer{false, ""};
     }},
};

class ScarceMemory : public ::testing::TestWithParam<Export> {
  protected:
    /// The call with the `number`th allocation failing, and then a call with all the memory in the world.
    void failAt(std::uint64_t number, bool lasting) {
        failAllocation(number, lasting);
        const Answer answer = GetParam().call();
        endOfScarcity();
        if (answer.failed) {
            ASSERT_STRNE("", getLastError()) << number;
        }
        ASSERT_FALSE(GetParam().call().failed) << number << ": " << getLastError();
    }
    std::uint64_t allocationsOfACall() {
        failAllocation(0);
        const Answer answer = GetParam().call();
        const std::uint64_t count = endOfScarcity();
        EXPECT_FALSE(answer.failed) << getLastError();
        return count;
    }
};

TEST_P(ScarceMemory, AnyAllocationOfAFirstCallMayFail) {
    TestMachine machine = TestMachine::of(GetParam().machine);
    const std::uint64_t count = allocationsOfACall();
    for (const bool lasting : {false, true})
        for (std::uint64_t number = 1; number <= count; number += GetParam().step) {
            InUse fresh(*machine);
            ASSERT_NO_FATAL_FAILURE(failAt(number, lasting));
        }
}

TEST_P(ScarceMemory, AnyAllocationOfALaterCallMayFail) {
    TestMachine machine = TestMachine::of(GetParam().machine);
    GetParam().call();
    const std::uint64_t count = allocationsOfACall();
    for (const bool lasting : {false, true})
        for (std::uint64_t number = 1; number <= count; number += GetParam().step)
            ASSERT_NO_FATAL_FAILURE(failAt(number, lasting));
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
