#include "battery/BatteryReport.h"
#include "platform/text.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <fmt/xchar.h>
#include <nlohmann/json.hpp>

namespace orv::test {
namespace {

/// A machine with one battery that answers every level, changed by `overrides`, and more entries behind it.
std::string machineWith(const std::string& overrides, const std::string& more = "") {
    const std::string text =
        R"({"name": "m", "batteries": [{"deviceName": "N", "manufacturer": "ACME", "serialNumber": "S",)"
        R"("uniqueId": "U", "designCapacity": 50, "fullChargedCapacity": 40, "capacity": 30,)"
        R"("voltage": 10, "rate": 20)" +
        overrides + "}" + more + "]}";
    return nlohmann::ordered_json::parse(text).dump(); // of a key that stands twice the last one counts here
}

/// What a battery need not answer.
const std::string kTold = R"(, "temperature": 2981, "estimatedTime": 60,
    "manufactureDate": {"year": 2023, "month": 5, "day": 14})";

TEST(BatteryReport, TheLaptopOverTime) {
    TestMachine machine = TestMachine::sample("laptop");
    EXPECT_STREQ(R"({"error": "invalid vector subscript"})", getBatteryAllMessage(0));
    EXPECT_STREQ("invalid vector subscript", getLastError());
    ASSERT_EQ(1, initBattery());
    ASSERT_EQ(1, initBattery()) << "each call enumerates anew";
    const char* first = getBatteryAllMessage(0);
    EXPECT_STREQ(R"({"bias":0,"capacity":38210,"cycleCount":112,"designCapacity":50000,)"
                 R"("electricCurrent":-1.04767,"estimatedTime":11460,"fullChargedCapacity":47500,)"
                 R"("manufacturer":"ACME","power":-12000,"status":["discharging"],"temperature":31,)"
                 R"("voltage":11454})",
                 first);
    const std::string kept = first;
    EXPECT_STREQ(R"({"error": "invalid vector subscript"})", getBatteryAllMessage(1));
    EXPECT_EQ(kept, first) << "a failure leaves the success text";
    machine->machineClock().sleepNs(3'600'000'000'000);
    const std::string charging = getBatteryAllMessage(0);
    EXPECT_THAT(charging, HasSubstr(R"("electricCurrent":2.0,"estimatedTime":0,)"));
    EXPECT_THAT(charging, HasSubstr(R"("power":24640,"status":["AC power","charging"])"));
}

TEST(BatteryReport, ValuesAtTheEdges) {
    const std::pair<const char*, const char*> cases[] = {
        {R"(, "voltage": 0)", R"("electricCurrent":0.0,)"},
        {R"(, "capacity": "0xFFFFFFFF")", R"("capacity":-1,)"},
        {R"(, "rate": -2147483648)", R"("electricCurrent":-2.14748e+08,)"},
        {R"(, "temperature": 2681)", R"("temperature":4294967291,)"},
        // Texts without an end, and of no length, stop with the answer.
        {R"(, "answers": {"6": "41 00 42 00"})", R"("manufacturer":"AB")"},
        {R"(, "answers": {"6": "", "8": "", "7": ""})", R"("manufacturer":"")"},
    };
    for (const auto& [overrides, part] : cases) {
        TestMachine machine(machineWith(overrides));
        ASSERT_EQ(1, initBattery()) << overrides;
        EXPECT_THAT(getBatteryAllMessage(0), HasSubstr(part)) << overrides;
    }
}

TEST(BatteryReader, WhatABatteryMustAnswerToBeListed) {
    const std::string query = "IOCTL_BATTERY_QUERY_INFORMATION failed: error code: ";
    const std::string full(1000, '4'); // 500 bytes that are no end
    // The count of batteries and a line of the log, warnings and up.
    const std::tuple<std::string, int, std::string> cases[] = {
        {R"("estimatedTime": "0xFFFFFFFF")", 1, "BatteryEstimatedTime is BATTERY_UNKNOWN_TIME"},
        {R"("answers": {"2": 1})", 1, "BatteryTemperature is not supported"},
        {R"("answers": {"2": 31})", 0, query + "31"},
        {R"("answers": {"0": 1})", 0, query + "1"},
        {R"("answers": {"0": "00 00 00 80"})", 0, "error code: 13"},
        {R"("answers": {"2": "01 02"})", 0, "error code: 13"},
        {R"("answers": {"7": ")" + full + R"("})", 1, "not supported"},
        {R"("answers": {"7": ")" + full + R"(44"})", 0, "error code: 122"},
        {R"("capabilities": 0)", 0, ""}, // no battery
        {R"("tag": 0)", 0, "IOCTL_BATTERY_QUERY_TAG failed: error code: 2"},
    };
    for (const auto& [overrides, count, line] : cases) {
        SCOPED_TRACE(overrides);
        TestMachine machine(machineWith("," + overrides));
        const CapturedLog log{&batteryLogger};
        EXPECT_EQ(count, initBattery());
        const auto lines = log.lines(spdlog::level::warn);
        EXPECT_THAT(fmt::format("{}", fmt::join(lines, "|")), HasSubstr(line));
        EXPECT_EQ(line.empty(), lines.empty());
    }
}

TEST(BatteryReader, RequestsOfAnEnumeration) {
    TestMachine machine(machineWith(kTold));
    ASSERT_EQ(1, initBattery());
    const auto query = [](int room, int level) {
        return fmt::format("deviceControl battery0 0x294044 out {} in 01 00 00 00 0{} 00 00 00 00 00 00 00",
                           room, level);
    };
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("deviceInterfaces", "deviceInterface 0", "deviceInterfaceDetailSize",
                            "deviceInterfaceDetail 22", "openDevice battery0",
                            "deviceControl battery0 0x294040 out 4 in 00 00 00 00", query(36, 0),
                            query(1000, 4), query(1000, 6), query(4, 3), query(4, 5), query(500, 8),
                            query(4, 2), query(500, 7), "deviceInterface 1"));
}

TEST(BatteryReader, AnIndexIsThePositionInTheInterfaceList) {
    const std::string ups = R"(, {"capabilities": 0})";
    const std::string second =
        R"(, {"deviceName": "N", "manufacturer": "B", "serialNumber": "S", "uniqueId": "U"})";
    TestMachine machine(machineWith(R"(, "changes": [{"atSeconds": 5, "present": false}])", ups + second));
    ASSERT_EQ(2, initBattery());
    EXPECT_EQ(2u, battery::batteryList()[1].index);
    EXPECT_THAT(getBatteryAllMessage(1), HasSubstr(R"("manufacturer":"B")"));
    machine->machineClock().sleepNs(5'000'000'000);
    EXPECT_THAT(getBatteryAllMessage(1), EndsWith("SetupDiEnumDeviceInterfaces(2) failed: \"}"));
    EXPECT_THAT(getBatteryAllMessage(0), HasSubstr("IOCTL_BATTERY_QUERY_INFORMATION failed"))
        << "the UPS has its index now, and no name";
}

TEST(BatteryReader, AnUpdateReadsAllButTheNamesAnew) {
    TestMachine machine(machineWith(kTold + R"(, "changes": [
        {"atSeconds": 10, "temperature": 3081, "estimatedTime": 30, "deviceName": "N2", "manufacturer": "M2",
         "serialNumber": "S2", "uniqueId": "U2", "cycleCount": 7, "powerState": 1,
         "manufactureDate": {"year": 2024, "month": 6, "day": 15}},
        {"atSeconds": 20, "answers": {"5": 1, "2": 1}}])"));
    ASSERT_EQ(1, initBattery());
    const auto& battery = battery::batteryList()[0];
    const auto told = [&] {
        const auto& date = battery.manufactureDate;
        return fmt::format(L"{} {} {} {} {} {} {} {}.{}.{}", battery.deviceName, battery.manufactureName,
                           platform::utf8ToWide(battery.serialNumber), platform::utf8ToWide(battery.uniqueId),
                           battery.temperature, battery.estimatedTime, battery.information.CycleCount,
                           date.Day, date.Month, date.Year);
    };
    EXPECT_EQ(L"N ACME S U 25 60 0 14.5.2023", told());
    machine->machineClock().sleepNs(10'000'000'000);
    EXPECT_THAT(getBatteryAllMessage(0), HasSubstr(R"("status":["AC power"],"temperature":35,)"));
    EXPECT_EQ(L"N ACME S2 U2 35 30 7 15.6.2024", told());
    machine->machineClock().sleepNs(10'000'000'000);
    getBatteryAllMessage(0);
    EXPECT_EQ(L"N ACME S2 U2 0 30 7 15.6.2024", told()) << "a date that is not told stays";
}

TEST(BatteryReader, AFailedUpdate) {
    TestMachine machine(machineWith(R"(, "estimatedTime": 60, "temperature": 2981, "changes": [
        {"atSeconds": 10, "statusError": 21, "fullChargedCapacity": 39, "estimatedTime": 30, "rate": 1},
        {"atSeconds": 20, "statusError": 0, "answers": {"8": 31}}])"));
    ASSERT_EQ(1, initBattery());
    ASSERT_THAT(getBatteryAllMessage(0), HasSubstr(R"("power":20,)"));
    CapturedLog log{&batteryLogger};
    machine->machineClock().sleepNs(10'000'000'000);
    // A status that cannot be read is tolerated: what comes behind it keeps its last values.
    EXPECT_THAT(
        getBatteryAllMessage(0),
        HasSubstr(R"("estimatedTime":60,"fullChargedCapacity":39,"manufacturer":"ACME","power":20,)"));
    EXPECT_THAT(log.lines(spdlog::level::warn),
                Contains(HasSubstr("IOCTL_BATTERY_QUERY_STATUS failed: error code: 21")));
    machine->machineClock().sleepNs(10'000'000'000);
    EXPECT_THAT(getBatteryAllMessage(0), HasSubstr("IOCTL_BATTERY_QUERY_INFORMATION failed: error code: 31"));
}

TEST(BatteryReader, FailuresOfTheDeviceWalk) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {"deviceInterfaces", -1, "SetupDiGetClassDevs failed: error code: 5"},
        {"deviceInterface", 0, "SetupDiEnumDeviceInterfaces failed: error code: 5"},
        {"openDevice", 0, "CreateFile failed: error code: 5"},
    };
    for (const auto& [request, count, text] : cases) {
        SCOPED_TRACE(request);
        TestMachine machine(machineWith(""));
        ASSERT_EQ(1, initBattery());
        machine->requests().plan({request, 0, platform::kAccessDenied, 0});
        const std::string report = getBatteryAllMessage(0);
        EXPECT_THAT(report, HasSubstr(text));
        EXPECT_EQ(report, "{\"error\": \"" + std::string(getLastError()) + "\"}") << "unescaped";
        EXPECT_EQ(count, initBattery()) << "the walk ends";
        machine->requests().clearFaults();
        EXPECT_THAT(getBatteryAllMessage(0), HasSubstr("invalid vector subscript")) << "emptied first";
    }
}

} // namespace
} // namespace orv::test
