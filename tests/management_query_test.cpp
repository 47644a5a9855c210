#include "platform/servers/ManagementRows.h"

#include <gmock/gmock.h>

namespace orv::platform {
namespace {

TEST(ManagementQueryTest, ReadsSelectionsAndAssociators) {
    const auto some = readManagementQuery(L"select DeviceName, DriverVersion from X_Y");
    ASSERT_TRUE(some);
    const auto rows = selected(*some, {{{L"devicename", bstr(L"a")}, {L"Other", i4(1)}}});
    EXPECT_THAT(rows, testing::ElementsAre(testing::ElementsAre(testing::Key(L"devicename"))));

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
} // namespace orv::platform
