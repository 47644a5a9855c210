#include "frame/HWException.h"
#include "platform/servers/ManagementRows.h"
#include "support/TestMachine.h"
#include "wmi/wmi.h"

namespace orv::test {
namespace {

using namespace platform;

constexpr const wchar_t* kQuery = L"SELECT * FROM Win32_PhysicalMemory";

class Wmi : public testing::Test {
  protected:
    void fail(const char* request, ErrorCode error) { machine->requests().plan({request, 0, error, 0}); }

    TestMachine machine{R"({"name": "m", "management":
        {"Empty": [], "Win32_PhysicalMemory": [{"A": "x", "N": -5, "B": {"type": 11, "number": 1}}, {"A": "y"}]}})"};
};

TEST_F(Wmi, StepsInTheirOrder) {
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
    EXPECT_TRUE(wmi().query(kQuery));
    EXPECT_THAT(machine->requests().record(), Not(Contains("uninitializeCom")));
}

TEST_F(Wmi, QueriesThatGiveNothing) {
    wmi empty;
    EXPECT_TRUE(empty.query(L"SELECT * FROM Empty"));
    EXPECT_TRUE(empty.get(L"A").empty());

    wmi failing;
    EXPECT_FALSE(failing.query(L"SELECT * FROM NoSuchClass"));
    EXPECT_THROW(failing.get(L"A"), HWException);
}

TEST(ManagementQueryTest, ReadsSelectionsAndAssociators) {
    const auto some = readManagementQuery(L"select DeviceName, DriverVersion from X_Y");
    ASSERT_TRUE(some);
    const auto rows = selected(*some, {{{L"devicename", bstr(L"a")}, {L"Other", i4(1)}}});
    EXPECT_THAT(rows, ElementsAre(ElementsAre(testing::Key(L"devicename"))));

    const auto assoc = readManagementQuery(
        LR"(ASSOCIATORS OF {Win32_SCSIController.DeviceID="PCI\\VEN_1&X"} WHERE AssocClass = Y)");
    ASSERT_TRUE(assoc && assoc->associators);
    EXPECT_EQ(L"Win32_SCSIController", assoc->className);
    EXPECT_EQ(L"DeviceID", assoc->key);
    EXPECT_TRUE(sameId(LR"(pci\ven_1&x)", assoc->id));
    EXPECT_EQ(L"AssocClass", assoc->filter);
    EXPECT_EQ(L"Y", assoc->filterClass);

    const auto disk = readManagementQuery(
        LR"(associators of {Win32_DiskDrive.DeviceID='\\.\PhysicalDrive0'} where ResultClass=Win32_PnPEntity)");
    ASSERT_TRUE(disk);
    EXPECT_TRUE(sameId(LR"(\\\\.\\PhysicalDrive0)", disk->id));
    EXPECT_FALSE(sameId(LR"(\\.\PhysicalDrive10)", disk->id));
    EXPECT_EQ(L"Win32_PnPEntity", disk->filterClass);
}

TEST(ManagementQueryTest, RefusesWhatItDoesNotRead) {
    for (const wchar_t* wql :
         {L"", L"SELECT a, FROM X", L"SELECT * FROM X WHERE A = 1", L"ASSOCIATORS OF {X.Id='a\"}",
          L"ASSOCIATORS OF {X.Id='a'} WHERE", L"ASSOCIATORS OF {X.Id='a'} WHERE AssocClass = Y more"})
        EXPECT_FALSE(readManagementQuery(wql)) << wql;
    EXPECT_TRUE(isNamespace(LR"(\\.\root\cimv2)", LR"(ROOT\CIMV2)"));
    EXPECT_FALSE(isNamespace(LR"(\\other\root\cimv2)", LR"(ROOT\CIMV2)"));
}

} // namespace
} // namespace orv::test
