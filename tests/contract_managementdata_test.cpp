// What every side promises for the management data.

#include "platform/ManagementData.h"
#include "support/Sides.h"

namespace orv::test {
namespace {

using namespace platform;

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
