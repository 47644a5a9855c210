#include "WLAN/WLAN.h"
#include "regedit/regedit.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

namespace orv::test {
namespace {

using platform::InterfaceRow;
using wlan::rowOf;

TEST(RowMatch, ThreeStages) {
    const std::tuple<std::vector<std::string>, std::uint32_t, const char*> cases[] = {
        {{"ACME NIC and more", "ACME NIC"}, 1, "an exact row beats an earlier containing one"},
        {{"x", std::string("ACME NIC\0junk", 13)}, 1, "a row's description ends at its NUL"},
        {{"Other", "ACME"}, 1, "containment holds the other way round too"},
        {{"Other", "", "ACME NIC-Filter"}, 1, "an empty row counts as contained"},
        {{"Loop", "AMCE NIK", "ACNE NIC"}, 2, "the most similar row"},
        {{"Loop", "ACMX NIC", "ACMY NIC"}, 1, "a tie goes to the earlier row"},
        {{"zzz", "qqq"}, 0, "nothing similar: row 0"},
        {{}, 0, "no rows at all"},
    };
    for (const auto& [descriptions, row, why] : cases) {
        std::vector<InterfaceRow> rows;
        for (const std::string& text : descriptions)
            rows.push_back({text, 0, 0});
        EXPECT_EQ(row, rowOf("ACME NIC", rows)) << why;
    }
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
    EXPECT_THAT(getNetCurrentSpeed(), HasSubstr("GetIfTable failed: error code: 122"));
    machine->requests().plan({"adapters", 2, 5, 0});
    EXPECT_THAT(getNetCurrentSpeed(), HasSubstr("GetAdaptersInfo failed: error code: 5"));
    EXPECT_THAT(getNetCurrentSpeed(), HasSubstr(R"("down":0.0)"));
}

constexpr wchar_t kCards[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\";

std::string machineWith(const std::string& addresses, const std::string& cards) {
    return R"({"name": "m", "network": {"addresses": [)" + addresses + R"(], "cards": [)" + cards + "]}}";
}

TEST(NetworkCards, SampleMachines) {
    const std::pair<const char*, const char*> cases[] = {
        {"intel-desktop",
         R"([{"macAddress":"00-1a-2b-3c-4d-5e","manufacture":"ACME","model":"ACME Ethernet Controller I225","type":"Ethernet"},)"
         R"({"macAddress":"00-1a-2b-3c-4d-5f","manufacture":"ACME","model":"ACME Wi-Fi 6 AX200","type":"WLAN"}])"},
        {"amd-ryzen-desktop", // the wired card's description differs by case
         R"([{"macAddress":"50-e0-85-0a-0b-0c","manufacture":"ACME","model":"ACME Wireless 5000","type":"WLAN"}])"},
    };
    for (const auto& [name, report] : cases) {
        const TestMachine machine = TestMachine::sample(name);
        EXPECT_STREQ(report, getNetCardMessage());
    }
}

TEST(NetworkCards, AddressesDescriptionsAndBrokenCards) {
    const std::string card = R"({"description": "Card"})";
    const std::string adapter = R"({"description": "Card", "address": "0a"})";
    const std::string long32 = R"({"description": "Card", "address": ")" + std::string(64, '0') + R"("})";
    std::string zeros = "00";
    for (int byte = 1; byte < 32; ++byte)
        zeros += "-00";
    const auto reported = [](const std::string& mac) {
        return R"([{"macAddress":")" + mac + R"(","manufacture":"Card","model":"Card","type":"Ethernet"}])";
    };
    const std::tuple<std::string, std::string, std::string, const char*> cases[] = {
        {long32, card, reported(zeros), "Allocated 376 memory for GetAdapterAddress"},
        {adapter, R"({"data": "43006100720064000000ff00ff"})", reported("0a"), "type: 1, mac: 0a"},
        {adapter, R"({"data": ""})", "null", "adapter size: 0"},
        {adapter, R"({"type": 3, "data": "43"}, )" + card, reported("0a"),
         "Description type error, expect REG_SZ, current: 3"},
        {R"({"description": "Card", "type": 131})", card, "null", "type: 0, mac: "},
        {"", card, "null", "GetAdaptersAddresses failed, error code: 232"},
    };
    for (const auto& [addresses, cards, report, line] : cases) {
        TestMachine machine(machineWith(addresses, cards));
        CapturedLog log{&networkAdapterLogger};
        EXPECT_EQ(report, getNetCardMessage()) << cards;
        EXPECT_THAT(log.lines(), Contains(HasSubstr(line)));
    }
    TestMachine bare(R"({"name": "no such key"})");
    EXPECT_STREQ("null", getNetCardMessage());
}

TEST(NetworkCards, FailuresAreCachedEmptyAndPrivilegesAreNot) {
    // A privilege's failure is the report's, another one leaves no card at all or one less.
    const std::tuple<const char*, std::uint64_t, const char*, const char*> cases[] = {
        {"openProcessToken", 0, "{\"error\":\"", "OpenProcessToken failed, error code: 1300"},
        {"enablePrivileges", 0, "{\"error\":\"", "AdjustTokenPrivileges failed, error code: 1300"},
        {"openRegistryKey", 2, "[{\"mac", "open 2 failed"},
        {"registryValue", 1, "[{\"mac", "RegQueryValueEx failed: error code: 1300"},
        {"adapterAddresses", 0, "null", "GetAdaptersAddresses failed, error code: 1300"},
    };
    for (const auto& [request, nth, start, text] : cases) {
        SCOPED_TRACE(std::string(request) + " " + text);
        TestMachine machine = TestMachine::sample("intel-desktop");
        machine->requests().plan({request, nth, 1300, 0});
        CapturedLog log{&networkAdapterLogger, &regeditLogger};
        const std::string report = getNetCardMessage();
        machine->requests().clearFaults();
        EXPECT_THAT(report, AllOf(StartsWith(start), Not(HasSubstr("I225"))));
        if (*start == '{') {
            EXPECT_THAT(report, HasSubstr(text));
            EXPECT_THAT(getLastError(), HasSubstr(text));
            EXPECT_THAT(getNetCardMessage(), HasSubstr("I225")) << "tried again";
            continue;
        }
        EXPECT_THAT(log.lines(spdlog::level::err), Contains(HasSubstr(text)));
        EXPECT_EQ(report, getNetCardMessage()) << "kept for good";
    }
}

TEST(Regedit, OneKeyAtATime) {
    const std::string tooLong(512, 'x');
    TestMachine machine(machineWith("", R"({"key": "2", "description": "Card"}, {"key": ")" + tooLong +
                                            R"(", "description": "x"})"));
    regedit key;
    std::vector<std::wstring> names{L"before"};
    std::vector<std::byte> data(99);
    EXPECT_FALSE(key.enumKey(names));
    ASSERT_TRUE(key.open(kCards, 0x20019));
    EXPECT_FALSE(key.enumKey(names)) << "a name that does not fit";
    EXPECT_THAT(names, ElementsAre(L"before", L"2")) << "the names before it stay";
    ASSERT_TRUE(key.open(std::wstring(kCards) + L"2\\", 0x20019));
    ASSERT_TRUE(key.queryValue(L"Description", data, nullptr));
    EXPECT_EQ(10u, data.size());
    EXPECT_FALSE(key.open(L"SOFTWARE\\None\\", 0x20019));
    EXPECT_FALSE(key.queryValue(L"Description", data, nullptr)) << "the key before it is closed";
}

} // namespace
} // namespace orv::test
