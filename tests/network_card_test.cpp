#include "log/log.h"
#include "networks/adapter.h"
#include "orvane/hwprobe.h"
#include "regedit/regedit.h"
#include "support/CapturedLog.h"
#include "support/Faults.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

namespace orv::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

constexpr wchar_t kCards[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\";

std::string machineWith(const std::string& addresses, const std::string& cards) {
    return R"({"name": "m", "network": {"addresses": [)" + addresses + R"(], "cards": [)" + cards + "]}}";
}

TEST(NetworkCards, SampleMachines) {
    {
        TestMachine machine = TestMachine::sample("intel-desktop");
        EXPECT_STREQ(
            R"([{"macAddress":"00-1a-2b-3c-4d-5e","manufacture":"ACME","model":"ACME Ethernet Controller I225","type":"Ethernet"},)"
            R"({"macAddress":"00-1a-2b-3c-4d-5f","manufacture":"ACME","model":"ACME Wi-Fi 6 AX200","type":"WLAN"}])",
            getNetCardMessage());
    }
    TestMachine machine = TestMachine::sample("amd-ryzen-desktop");
    EXPECT_STREQ(
        R"([{"macAddress":"50-e0-85-0a-0b-0c","manufacture":"ACME","model":"ACME Wireless 5000","type":"WLAN"}])",
        getNetCardMessage())
        << "the wired card's description differs by case";
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
    const struct {
        std::string addresses;
        std::string cards;
        std::string report;
        const char* line; // of the log
    } cases[] = {
        {R"({"description": "Card"})", card, reported(""), "adapter size: 1"},
        {long32, card, reported(zeros), "Allocated 376 memory for GetAdapterAddress"},
        {adapter, R"({"data": "4300610072006400"})", reported("0a"), "type: 1, mac: 0a"},
        {adapter, R"({"data": "43006100720064000000ff00ff"})", reported("0a"), "adapter size: 1"},
        {adapter, R"({"data": "430061007200640078"})", reported("0a"), "adapter size: 1"},
        {adapter, R"({"data": ""})", "null", "adapter size: 0"},
        {adapter, R"({"type": 3, "data": "43"}, )" + card, reported("0a"),
         "Description type error, expect REG_SZ, current: 3"},
        {R"({"description": "Card", "type": 131})", card, "null", "type: 0, mac: "},
        {adapter, R"({"description": "card"})", "null", "adapter size: 0"},
        {adapter, R"({"description": "Card "})", "null", "adapter size: 0"},
        {"", card, "null", "GetAdaptersAddresses failed, error code: 232"},
    };
    for (const auto& test : cases) {
        TestMachine machine(machineWith(test.addresses, test.cards));
        CapturedLog log{&networkAdapterLogger};
        EXPECT_EQ(test.report, getNetCardMessage()) << test.cards;
        EXPECT_THAT(log.lines(), Contains(HasSubstr(test.line)));
    }
    TestMachine bare(R"({"name": "no such key"})");
    EXPECT_STREQ("null", getNetCardMessage());
}

TEST(NetworkCards, RequestsInTheirOrder) {
    TestMachine machine(machineWith(R"({"description": "Card"})", R"({"key": "7", "description": "Card"})"));
    machine->requests().keepRecord(true);
    getNetCardMessage();
    getNetCardMessage();
    const std::string key = R"(openRegistryKey SOFTWARE\Microsoft\Windows NT\CurrentVersion\NetworkCards\)";
    const std::vector<std::string> expected = {"openProcessToken",
                                               "lookupPrivilege SeDebugPrivilege",
                                               "lookupPrivilege SeBackupPrivilege",
                                               "lookupPrivilege SeRestorePrivilege",
                                               "enablePrivileges 3",
                                               key + " 0x20019",
                                               "registrySubkey 0",
                                               "registrySubkey 1",
                                               key + "7\\ 0x20019",
                                               "registryValueInfo Description",
                                               "registryValue Description",
                                               "adapterAddressesSize",
                                               "adapterAddresses 376"};
    EXPECT_EQ(expected, machine->requests().record());
}

TEST(NetworkCards, FailuresAreCachedEmptyAndPrivilegesAreNot) {
    const struct {
        const char* request;
        std::uint64_t nth;
        const char* report;
        const char* text; // of the log, or of the failure
    } cases[] = {
        {"openProcessToken", 0, "error", "OpenProcessToken failed, error code: 1300"},
        {"lookupPrivilege", 3, "error", "LookupPrivilegeValue failed, error code: 1300"},
        {"enablePrivileges", 0, "error", "AdjustTokenPrivileges failed, error code: 1300"},
        {"openRegistryKey", 1, "null", "open NetworkCards failed"},
        {"openRegistryKey", 2, "I225 missing", "open 2 failed"},
        {"registrySubkey", 2, "null", "enumKey failed"},
        {"registryValueInfo", 1, "I225 missing", "query Description failed"},
        {"registryValue", 1, "I225 missing", "RegQueryValueEx failed: error code: 1300"},
        {"adapterAddressesSize", 0, "null", "GetAdaptersAddresses failed, error code: 1300"},
        {"adapterAddresses", 0, "null", "GetAdaptersAddresses failed, error code: 1300"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.request) + " " + test.text);
        TestMachine machine = TestMachine::sample("intel-desktop");
        machine->requests().plan({test.request, test.nth, 1300, 0});
        CapturedLog log{&networkAdapterLogger, &regeditLogger};
        const std::string report = getNetCardMessage();
        machine->requests().clearFaults();
        const std::string next = getNetCardMessage();
        if (test.report == std::string("error")) {
            EXPECT_THAT(report, ::testing::StartsWith("{\"error\":\""));
            EXPECT_THAT(report, HasSubstr(test.text));
            EXPECT_THAT(getLastError(), HasSubstr(test.text));
            EXPECT_THAT(next, HasSubstr("I225")) << "tried again";
            continue;
        }
        EXPECT_THAT(log.lines(spdlog::level::err), Contains(HasSubstr(test.text)));
        EXPECT_EQ(report, next) << "kept for good";
        EXPECT_EQ(report == "null", test.report == std::string("null"));
        EXPECT_EQ(report.npos, report.find("I225"));
    }
}

TEST(NetworkCards, AHardwareFaultBecomesAText) {
    TestMachine machine = TestMachine::sample("laptop");
    machine->requests().plan({"adapterAddresses", 1, 0, 0xC0000005});
    {
        const MayLoseMemory lost;
        EXPECT_STREQ(R"({"error":"catch SEH exception: EXCEPTION_ACCESS_VIOLATION"})", getNetCardMessage());
    }
    machine->requests().clearFaults();
    EXPECT_THAT(getNetCardMessage(), HasSubstr("USB Ethernet 1000"));
}

TEST(NetworkCards, TheFilterMayBeEmptyAndOrderIsTheSystems) {
    TestMachine machine = TestMachine::sample("laptop");
    const auto all = net::getAdapterHelper({});
    ASSERT_EQ(4u, all.size());
    EXPECT_EQ(L"Software", all[3].manufacture);
    EXPECT_EQ(0, all[3].type);
    EXPECT_EQ(L"", all[3].macAddress);
}

TEST(Regedit, OneKeyAtATime) {
    TestMachine machine(machineWith("", R"({"key": "2", "description": "Card"}, {"key": ")" +
                                            std::string(512, 'x') +
                                            R"(", "description": "too long a name"})"));
    CapturedLog log{&regeditLogger};
    regedit key;
    std::vector<std::wstring> names{L"before"};
    std::vector<std::byte> data;
    EXPECT_FALSE(key.enumKey(names));
    EXPECT_FALSE(key.queryValue(L"Description", data, nullptr));
    ASSERT_TRUE(key.open(kCards, 0x20019));
    EXPECT_FALSE(key.enumKey(names)) << "a name that does not fit";
    EXPECT_THAT(log.lines().back(), HasSubstr("error RegEnumKeyEx failed: error code: 234"));
    EXPECT_THAT(names, ::testing::ElementsAre(L"before", L"2")) << "the names before it stay";
    EXPECT_FALSE(key.queryValue(L"Description", data, nullptr));
    ASSERT_TRUE(key.open(std::wstring(kCards) + L"2\\", 0x20019));
    data.resize(99);
    ASSERT_TRUE(key.queryValue(L"Description", data, nullptr));
    EXPECT_EQ(10u, data.size());
    names.clear();
    EXPECT_TRUE(key.enumKey(names)) << "no subkeys";
    EXPECT_TRUE(names.empty());
    EXPECT_FALSE(key.open(L"SOFTWARE\\None\\", 0x20019));
    EXPECT_FALSE(key.queryValue(L"Description", data, nullptr)) << "the key before it is closed";
    EXPECT_EQ("error hKey is nullptr", log.lines().back());
    const auto lines = log.lines();
    EXPECT_EQ(1, std::ranges::count(lines, "info Do Elevate Privileges"));

    regedit moved = std::move(key);
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_THROW(key.open(kCards, 0x20019), std::exception);
    EXPECT_TRUE(moved.open(kCards, 0x20019));
}

} // namespace
} // namespace orv::test
