#include "WLAN/WLAN.h"
#include "orvane/hwprobe.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

namespace orv::test {
namespace {

using platform::InterfaceRow;
using wlan::rowOf;

std::vector<InterfaceRow> table(std::initializer_list<std::string> descriptions) {
    std::vector<InterfaceRow> rows;
    for (const std::string& text : descriptions)
        rows.push_back({text, 0, 0});
    return rows;
}

TEST(RowMatch, ThreeStages) {
    const std::tuple<std::vector<InterfaceRow>, std::uint32_t, const char*> cases[] = {
        {table({"ACME NIC and more", "ACME NIC"}), 1, "an exact row beats an earlier containing one"},
        {table({"x", std::string("ACME NIC\0junk", 13)}), 1, "a row's description ends at its NUL"},
        {table({"Other", "ACME"}), 1, "containment holds the other way round too"},
        {table({"Other", "", "ACME NIC-Filter"}), 1, "an empty row counts as contained"},
        {table({"Loop", "AMCE NIK", "ACNE NIC"}), 2, "the most similar row"},
        {table({"Loop", "ACMX NIC", "ACMY NIC"}), 1, "a tie goes to the earlier row"},
        {table({"zzz", "qqq"}), 0, "nothing similar: row 0"},
        {table({}), 0, "no rows at all"},
    };
    for (const auto& [rows, row, why] : cases)
        EXPECT_EQ(row, rowOf("ACME NIC", rows)) << why;
}

std::string machineText(const std::string& adapters, const std::string& interfaces) {
    return R"({"name": "net", "clock": {"stepNs": 1}, "network": {"adapters": [)" + adapters +
           R"(], "interfaces": [)" + interfaces + "]}}";
}

TEST(ConnectionSpeed, RatesAreBytesPerMillisecondSinceTheCallBefore) {
    TestMachine machine(machineText(R"({"description": "a"})",
                                    R"({"description": "a", "inPerSecond": 2000000, "outPerSecond": 500})"));
    EXPECT_STREQ(R"([{"down":0.0,"model":"a","up":0.0}])", getNetCurrentSpeed());
    machine->machineClock().sleepNs(1'000'000'000);
    EXPECT_STREQ(R"([{"down":2000.0,"model":"a","up":0.5}])", getNetCurrentSpeed());
    // Within the same millisecond the rates and the earlier sample stay, so that no byte is lost.
    EXPECT_STREQ(R"([{"down":2000.0,"model":"a","up":0.5}])", getNetCurrentSpeed());
    machine->machineClock().sleepNs(500'000'000);
    EXPECT_STREQ(R"([{"down":2000.0,"model":"a","up":0.5}])", getNetCurrentSpeed());
}

TEST(ConnectionSpeed, ACounterThatWrappedCountsRightAndARowThatIsGoneKeepsItsRates) {
    TestMachine machine(machineText(R"({"description": "a"})",
                                    R"({"description": "a", "inOctets": "0xFFFFFFF0", "inPerSecond": 32})"));
    auto connections = wlan::GetAllNetWorkConnection();
    machine->machineClock().sleepNs(1'000'000'000);
    wlan::GetInternetSpeed(connections);
    EXPECT_EQ(0xFFFFFFF0, connections[0].lastInOctets);
    EXPECT_EQ(0x10u, connections[0].inOctets);
    EXPECT_DOUBLE_EQ(0.032, connections[0].download);
    connections[0].row = 7;
    machine->machineClock().sleepNs(1'000'000'000);
    wlan::GetInternetSpeed(connections);
    EXPECT_DOUBLE_EQ(0.032, connections[0].download);
    EXPECT_EQ(0x10u, connections[0].inOctets);
}

TEST(ConnectionSpeed, RecordsOfAdaptersWithoutADescriptionOrARowStayAtZero) {
    TestMachine machine(machineText(R"({"description": ""}, {"description": "b"})", ""));
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(R"([{"down":0.0,"model":"","up":0.0},{"down":0.0,"model":"b","up":0.0}])",
                     getNetCurrentSpeed());
        machine->machineClock().sleepNs(1'000'000'000);
    }
}

TEST(ConnectionSpeed, AFailedFirstReadIsTriedAgainAndALaterOneKeepsTheSamples) {
    TestMachine machine = TestMachine::sample("intel-desktop");
    machine->requests().plan({"interfaceRows", 1, 122, 0});
    EXPECT_THAT(getNetCurrentSpeed(), ::testing::HasSubstr("GetIfTable failed: error code: 122"));
    machine->requests().plan({"adapters", 2, 5, 0});
    EXPECT_THAT(getNetCurrentSpeed(), ::testing::HasSubstr("GetAdaptersInfo failed: error code: 5"));
    EXPECT_THAT(getNetCurrentSpeed(), ::testing::HasSubstr(R"("down":0.0)"));
}

} // namespace
} // namespace orv::test
