// What every side promises for the device tree, device files, the registry, the address list and the
// management data.

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"
#include "platform/ManagementData.h"
#include "platform/NetworkTables.h"
#include "platform/Privileges.h"
#include "platform/Registry.h"
#include "platform/records/BatteryRecords.h"
#include "support/Sides.h"

#include <array>

namespace orv::test {
namespace {

using namespace platform;

class DevicesContract : public Contract {};

TEST_P(DevicesContract, TheInterfaceListEndsAndItsPathsOpen) {
    auto devices = side().deviceTree().interfacesOf(kBatteryClass);
    ASSERT_TRUE(devices.ok()) << devices.error;
    std::uint32_t index = 0;
    for (;; ++index) {
        const auto data = devices.value->at(index);
        if (data.error == kNoMoreItems) break;
        ASSERT_TRUE(data.ok()) << data.error;
        EXPECT_EQ(28u, data.value.cbSize);
        EXPECT_EQ(kBatteryClass, data.value.InterfaceClassGuid);
        const auto size = devices.value->detailSize(data.value);
        EXPECT_EQ(kInsufficientBuffer, size.error);
        EXPECT_FALSE(devices.value->detail(data.value, 4).ok());
        const auto path = devices.value->detail(data.value, size.value);
        ASSERT_TRUE(path.ok()) << path.error;
        EXPECT_TRUE(side().deviceFiles().open(path.value).ok());
    }
    EXPECT_EQ(kNoMoreItems, devices.value->at(index + 5).error);
    EXPECT_EQ(kNoMoreItems, side().deviceTree().interfacesOf({}).value->at(0).error);
    for (const auto* path : {L"\\\\.\\no such device", L"battery", L"battery0x", L""})
        EXPECT_FALSE(side().deviceFiles().open(path).ok());
    for (const bool write : {false, true})
        EXPECT_EQ(kFileNotFound,
                  side().deviceFiles().open(L"\\\\.\\PhysicalDrive999", {.write = write}).error);
}

TEST_P(DevicesContract, TheDevicesOfASetupClassEndAndTheirIdsFit) {
    for (const Guid& setupClass : {kScsiAdapterClass, Guid{}}) {
        const auto devices = side().deviceTree().devicesOf(setupClass);
        ASSERT_TRUE(devices.ok()) << devices.error;
        std::uint32_t index = 0;
        for (; devices.value->at(index).error != kNoMoreItems; ++index) {
            const auto device = devices.value->at(index);
            ASSERT_TRUE(device.ok()) << device.error;
            const auto id = device.value->id(260);
            ASSERT_TRUE(id.ok()) << id.error;
            const auto length = static_cast<std::uint32_t>(id.value.size());
            EXPECT_EQ(id.value, device.value->id(length + 1).value);
            EXPECT_EQ(kInsufficientBuffer, device.value->id(length).error);
            std::array<std::byte, 1024> room;
            EXPECT_FALSE(device.value->property({setupClass, 77}, room).ok()) << "no such property";
        }
        EXPECT_EQ(kNoMoreItems, devices.value->at(index + 5).error);
        EXPECT_TRUE(index == 0 || setupClass == kScsiAdapterClass);
    }
}

TEST_P(DevicesContract, ARegistryKeyOpensOrNamesItsError) {
    EXPECT_EQ(kFileNotFound, side().registry().open(L"SOFTWARE\\No such key\\", 0x20019).error);
    auto key =
        side().registry().open(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\", 0x20019);
    if (!key.ok()) {
        EXPECT_EQ(kFileNotFound, key.error) << "a system without the key";
        return;
    }
    std::uint32_t index = 0;
    while (key.value->subkey(index, 512).ok())
        ++index;
    EXPECT_EQ(kNoMoreItems, key.value->subkey(index, 512).error);
    EXPECT_EQ(kFileNotFound, key.value->valueInfo(L"no such value").error);
}

TEST_P(DevicesContract, PrivilegesAreKnownByName) {
    const auto token = side().privileges().openProcessToken();
    ASSERT_TRUE(token.ok()) << token.error;
    const auto id = side().privileges().lookup(L"SeBackupPrivilege");
    ASSERT_TRUE(id.ok()) << id.error;
    const std::vector<PrivilegeId> wanted{id.value};
    const ErrorCode error = token.value->enable(wanted);
    EXPECT_TRUE(error == kSuccess || error == 1300) << error;
}

TEST_P(DevicesContract, AddressesComeInTwoSteps) {
    const auto size = side().networkTables().adapterAddressesSize();
    ASSERT_EQ(kBufferOverflow, size.error);
    EXPECT_EQ(kBufferOverflow, side().networkTables().adapterAddresses(size.value / 1000).error);
    const auto addresses = side().networkTables().adapterAddresses(size.value);
    ASSERT_TRUE(addresses.ok()) << addresses.error;
    ASSERT_FALSE(addresses.value.empty());
    for (const AdapterAddress& adapter : addresses.value) {
        EXPECT_NE(L"", adapter.description);
        EXPECT_LE(adapter.physicalAddress.size(), 32u);
    }
}
INSTANTIATE_SIDES(DevicesContract);

class ManagementDataContract : public Contract {
  protected:
    void SetUp() override {
        Contract::SetUp();
        started_ = side().managementData().initialize();
    }
    void TearDown() override {
        if (started_ == kSuccess) side().managementData().uninitialize();
    }
    /// The steps up to a namespace; null with the failed step's code.
    std::unique_ptr<ManagementServices> connect(std::wstring_view space, ErrorCode& error) {
        const ErrorCode security = side().managementData().initializeSecurity();
        EXPECT_TRUE(security == kSuccess || security == kComTooLate) << security;
        auto locator = side().managementData().createLocator();
        error = locator.error;
        if (!locator.ok()) return nullptr;
        auto services = locator.value->connectServer(space, kConnectWaitsAtMost);
        error = services.error;
        return std::move(services.value);
    }

  private:
    ErrorCode started_ = kSuccess;
};

TEST_P(ManagementDataContract, RowsOfMemoryModulesHaveTheTypesThatTheColumnsPromise) {
    ErrorCode error = kSuccess;
    const auto services = connect(L"ROOT\\CIMV2", error);
    ASSERT_NE(nullptr, services) << error;
    EXPECT_EQ(kSuccess, services->setProxyBlanket());
    auto answer = services->execQuery(L"SELECT * FROM Win32_PhysicalMemory");
    if (!answer.ok()) { // a firmware table that is not there, or not for everyone
        EXPECT_TRUE(isHost());
        EXPECT_NE(0u, answer.error & 0x80000000) << answer.error;
        return;
    }
    std::size_t rows = 0;
    while (const auto row = answer.value->next()) {
        ++rows;
        for (const wchar_t* column : {L"Manufacturer", L"PartNumber", L"SerialNumber", L"Capacity"})
            if (const auto value = row->get(column); value.ok()) {
                EXPECT_TRUE(value.value.type == ManagementType::bstr ||
                            value.value.type == ManagementType::null);
            }
        if (const auto type = row->get(L"SMBIOSMemoryType"); type.ok()) {
            EXPECT_TRUE(type.value.type == ManagementType::i4 || type.value.type == ManagementType::null);
        }
        EXPECT_EQ(kManagementNotFound, row->get(L"NoSuchColumn").error);
    }
    for (const std::uint32_t milliseconds : {0u, 10'000u})
        EXPECT_EQ(nullptr, answer.value->next(milliseconds));
    EXPECT_EQ(nullptr, answer.value->next());
    EXPECT_TRUE(isHost() || rows == 2) << rows;
}

TEST_P(ManagementDataContract, WhatIsNotThereFails) {
    ErrorCode error = kSuccess;
    EXPECT_EQ(nullptr, connect(L"ROOT\\NOSUCH", error));
    EXPECT_NE(0u, error & 0x80000000) << error;
    const auto services = connect(L"ROOT\\CIMV2", error);
    ASSERT_NE(nullptr, services) << error;
    // A class that is not known shows at the query or as an answer without rows, as the system prefers.
    auto answer = services->execQuery(L"SELECT * FROM No_SuchClass");
    EXPECT_TRUE(!answer.ok() || !answer.value->next());
}
INSTANTIATE_SIDES(ManagementDataContract);

} // namespace
} // namespace orv::test
