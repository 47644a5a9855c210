#include "frame/HWException.h"
#include "support/TestMachine.h"
#include "wmi/wmi.h"

#include <gmock/gmock.h>

namespace orv {
namespace {

using platform::ManagementType;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const wchar_t* kQuery = L"SELECT * FROM Win32_PhysicalMemory";

class Wmi : public testing::Test {
  protected:
    void fail(const char* request, platform::ErrorCode error) {
        machine->requests().plan({request, 0, error, 0});
    }

    test::TestMachine machine{R"({"name": "m", "management":
        {"Empty": [], "Win32_PhysicalMemory": [{"A": "x", "N": -5, "B": {"type": 11, "number": 1}}, {"A": "y"}]}})"};
};

TEST_F(Wmi, StepsInTheirOrder) {
    machine->requests().keepRecord(true);
    {
        wmi session;
        EXPECT_TRUE(session.query(kQuery));
        const auto values = session.get(L"A");
        ASSERT_EQ(2u, values.size());
        EXPECT_EQ(L"x", values[0].text);
        EXPECT_EQ(ManagementType::bstr, values[1].type);
    }
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("initializeCom", "initializeSecurity", "createLocator",
                            R"(connectServer ROOT\CIMV2)", "setProxyBlanket",
                            "execQuery SELECT * FROM Win32_PhysicalMemory", "nextRow", "nextRow", "nextRow",
                            "getColumn A", "getColumn A", "uninitializeCom"));
}

TEST_F(Wmi, FailedStepsEndTheSessionWithTheirCode) {
    const std::pair<const char*, const char*> cases[] = {
        {"initializeSecurity", "CoInitializeSecurity failed, error code: 2147942405 message: "},
        {"connectServer", "ConnectServer failed: error code: 2147942405 message: "},
        {"setProxyBlanket", "CoSetProxyBlanket failed: error code: 2147942405 message: "},
    };
    machine->requests().keepRecord(true);
    for (const auto& [request, text] : cases) {
        machine->requests().clearFaults();
        fail(request, 0x80070005);
        EXPECT_THAT([] { wmi session; }, testing::ThrowsMessage<HWException>(HasSubstr(text))) << request;
        EXPECT_EQ("uninitializeCom", machine->requests().record().back()) << request;
    }
}

// What a host does to COM before: a thread of another model, security that was set already.
TEST_F(Wmi, AHostWithItsOwnComSettingsGetsASession) {
    fail("initializeCom", 0x80010106);
    fail("initializeSecurity", 0x80010119);
    machine->requests().keepRecord(true);
    EXPECT_TRUE(wmi().query(kQuery));
    EXPECT_THAT(machine->requests().record(), testing::Not(testing::Contains("uninitializeCom")));
}

TEST_F(Wmi, QueriesThatGiveNothing) {
    wmi empty;
    EXPECT_TRUE(empty.query(L"SELECT * FROM Empty"));
    EXPECT_TRUE(empty.get(L"A").empty());

    wmi failing;
    EXPECT_FALSE(failing.query(L"SELECT * FROM NoSuchClass"));
    EXPECT_THROW(failing.get(L"A"), HWException);
}

} // namespace
} // namespace orv
