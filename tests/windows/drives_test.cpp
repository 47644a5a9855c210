// What the Windows side adds to a drive's requests: how devices are opened and read, the codes of their
// refusals, byte arrays of the management data; and the exports on them.

#include "disk/Disk.h"
#include "disk_engine/CAtaSmart.h"
#include "frame/HWException.h"
#include "platform/DeviceFiles.h"
#include "platform/ManagementData.h"
#include "platform/Platform.h"
#include "platform/records/StorageRecords.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

namespace orv::test {
namespace {

// Before the system's headers make macros of these names.
constexpr std::uint32_t kGeometry = platform::IOCTL_DISK_GET_DRIVE_GEOMETRY;
constexpr std::uint32_t kCounters = platform::IOCTL_DISK_PERFORMANCE;
constexpr std::uint32_t kDescriptor = platform::IOCTL_STORAGE_QUERY_PROPERTY;
constexpr std::array kWriteCodes = {
    platform::IOCTL_SCSI_PASS_THROUGH, platform::IOCTL_SCSI_MINIPORT,      platform::IOCTL_IDE_PASS_THROUGH,
    platform::IOCTL_ATA_PASS_THROUGH,  platform::SMART_SEND_DRIVE_COMMAND, platform::SMART_RCV_DRIVE_DATA,
};

} // namespace
} // namespace orv::test

#include <windows.h>

namespace orv::test {
namespace {

using namespace platform;

constexpr std::byte kUntouched{0xEE};

class WindowsDrives : public ::testing::Test {
  protected:
    Platform& side() { return *host_; }
    DeviceFiles& files() { return host_->deviceFiles(); }

    Result<std::unique_ptr<DeviceFile>> firstDrive(bool write) {
        return files().open(L"\\\\.\\PhysicalDrive0", {.write = write, .attributes = 0});
    }

    /// Shows each row of the management data's answer; they are started and ended around it.
    void eachRow(const wchar_t* query, const std::function<void(ManagementRow&)>& look) {
        auto& data = side().managementData();
        const bool started = data.initialize() == kSuccess;
        data.initializeSecurity();
        {
            const auto locator = data.createLocator();
            ASSERT_TRUE(locator.ok()) << locator.error;
            const auto services = locator.value->connectServer(L"\\\\.\\root\\cimv2");
            ASSERT_TRUE(services.ok()) << services.error;
            const auto answer = services.value->execQuery(query);
            ASSERT_TRUE(answer.ok()) << answer.error;
            while (const auto row = answer.value->next(10'000))
                look(*row);
        }
        if (started) data.uninitialize();
    }

    /// A file of 16 bytes, which is a device as good as any for opening and reading.
    const std::wstring path_ = std::filesystem::absolute("sixteen-bytes").wstring();
    void SetUp() override { std::ofstream(path_.c_str(), std::ios::binary) << "0123456789abcdef"; }

  private:
    std::unique_ptr<Platform> host_ = makeHostPlatform();
};

TEST_F(WindowsDrives, OpeningTakesRightsSharingAndAttributesAsGiven) {
    struct Case {
        DeviceOpening first, second;
        ErrorCode error;
    };
    const Case cases[] = {
        {{}, {}, kSuccess},
        {{.shareRead = false}, {.write = false}, ERROR_SHARING_VIOLATION},
        {{.shareWrite = false}, {}, ERROR_SHARING_VIOLATION},
        {{.shareWrite = false}, {.write = false}, kSuccess},
        {{}, {.shareWrite = false}, ERROR_SHARING_VIOLATION}, // who is there already writes
        {{.write = false}, {.shareWrite = false}, kSuccess},
    };
    for (const Case& row : cases) {
        const auto held = files().open(path_, row.first);
        ASSERT_TRUE(held.ok()) << held.error;
        EXPECT_EQ(row.error, files().open(path_, row.second).error) << &row - cases;
    }
    EXPECT_EQ(kFileNotFound, files().open(path_ + L"-none").error);
    EXPECT_FALSE(std::filesystem::exists(path_ + L"-none")) << "opening never makes a file";
    files().open(path_, {.attributes = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE});
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(WindowsDrives, ReadingStartsWhereItIsTold) {
    const auto file = files().open(path_, {.write = false});
    ASSERT_TRUE(file.ok()) << file.error;
    struct Case {
        std::uint64_t offset;
        const char* text; // null: a failure
    };
    // Backwards and again: nothing of one read stays for the next.
    const Case cases[] = {{12, "cdef"}, {0, "01234567"},  {0, "01234567"}, {7, "789abcde"},
                          {16, ""},     {1ULL << 40, ""}, {~0ULL, nullptr}};
    for (const auto& [offset, text] : cases) {
        std::array<std::byte, 8> room;
        room.fill(kUntouched);
        const auto answer = file.value->read(offset, room);
        ASSERT_EQ(text != nullptr, answer.ok()) << offset << ": " << answer.error;
        const std::string_view wanted = text ? text : "";
        ASSERT_EQ(wanted.size(), answer.value) << offset;
        EXPECT_EQ(0, std::memcmp(wanted.data(), room.data(), wanted.size())) << offset;
        EXPECT_EQ(room.size() - wanted.size(), std::count(room.begin(), room.end(), kUntouched)) << offset;
    }
}

TEST_F(WindowsDrives, ADriveAnswersWithinTheRoomOrNamesItsRefusal) {
    const auto drive = firstDrive(true);
    if (!drive.ok()) GTEST_SKIP() << "no drive, or no right to it: " << drive.error;
    std::array<std::byte, 64> room;
    const auto ask = [&](std::uint32_t code, std::span<const std::byte> in, std::size_t size) {
        room.fill(kUntouched);
        const auto answer = drive.value->control(code, in, std::span(room).first(size));
        EXPECT_TRUE(std::all_of(room.begin() + answer.value, room.end(),
                                [](std::byte value) { return value == kUntouched; }))
            << std::hex << code;
        return answer;
    };
    const auto geometry = ask(kGeometry, {}, sizeof(platform::DISK_GEOMETRY));
    ASSERT_TRUE(geometry.ok()) << geometry.error;
    ASSERT_EQ(sizeof(platform::DISK_GEOMETRY), geometry.value);
    platform::DISK_GEOMETRY record;
    std::memcpy(&record, room.data(), sizeof record);
    EXPECT_GE(record.BytesPerSector, 512u);
    EXPECT_EQ(0u, record.BytesPerSector & (record.BytesPerSector - 1));

    const std::array<std::byte, 12> deviceProperty{};
    const auto descriptor = ask(kDescriptor, deviceProperty, 40);
    ASSERT_TRUE(descriptor.ok()) << descriptor.error;
    EXPECT_LE(descriptor.value, 40u);
    EXPECT_FALSE(ask(0x1234, {}, 8).ok());
}

TEST_F(WindowsDrives, ADriveOpenedForReadingTakesNoCommands) {
    const auto drive = firstDrive(false);
    if (!drive.ok()) GTEST_SKIP() << "no drive, or no right to it: " << drive.error;
    std::array<std::byte, 576> block{};
    for (const std::uint32_t code : kWriteCodes)
        EXPECT_EQ(kAccessDenied, drive.value->control(code, block, block).error) << std::hex << code;
}

TEST_F(WindowsDrives, ADefinedNameOpensTheDeviceOfItsTarget) {
    // A short name: an emulator is known that has no room for more than six characters here.
    EXPECT_EQ(kFileNotFound, files().open(L"\\\\.\\HwpT").error);
    ASSERT_EQ(kSuccess, files().defineDosDevice(L"HwpT", L"\\Device\\Null"));
    std::array<wchar_t, 64> target{};
    EXPECT_NE(0u, ::QueryDosDeviceW(L"HwpT", target.data(), static_cast<DWORD>(target.size())));
    EXPECT_STREQ(L"\\Device\\Null", target.data()) << "the target stands as it was given";
    EXPECT_EQ(kSuccess, files().open(L"\\\\.\\HwpT").error);
    EXPECT_TRUE(::DefineDosDeviceW(DDD_REMOVE_DEFINITION, L"HwpT", nullptr));
    EXPECT_EQ(kFileNotFound, files().open(L"\\\\.\\HwpT").error);
    EXPECT_NE(kSuccess, files().defineDosDevice(L"", L""));
}

TEST_F(WindowsDrives, AByteArrayComesWhole) {
    // The account of everyone has the same binary form on every system.
    int rows = 0;
    eachRow(L"SELECT * FROM Win32_SID WHERE SID='S-1-1-0'", [&](ManagementRow& row) {
        ++rows;
        const auto value = row.get(L"BinaryRepresentation");
        EXPECT_EQ(ManagementType::byteArray, value.value.type) << value.error;
        EXPECT_EQ((std::vector<std::uint8_t>{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}), value.value.bytes);
        EXPECT_TRUE(row.get(L"SID").value.bytes.empty());
    });
    EXPECT_EQ(1, rows);
}

/// What the first drive says of its counters is what a `Disk` makes of it.
TEST_F(WindowsDrives, ADiskWantsTheCountersOfItsDrive) {
    bool counts = false;
    {
        const auto drive = firstDrive(true);
        if (!drive.ok()) GTEST_SKIP() << "no drive, or no right to it: " << drive.error;
        std::array<std::byte, 88> room;
        counts = drive.value->control(kCounters, {}, room).ok();
    }
    const InUse inUse(side());
    DiskSnapshot first;
    first.PhysicalDriveId = 0;
    try {
        const Disk disk(first);
        EXPECT_TRUE(counts);
    } catch (const HWException& failure) {
        EXPECT_FALSE(counts);
        EXPECT_TRUE(std::string_view(failure.what()).ends_with(": DeviceIoControl failed")) << failure.what();
    }
}

/// The whole road on a system whose drives give no SMART data, as an emulated one's: the service is started,
/// its rows are read, each of its drives is told as unread, and the exports answer for an empty list.
TEST_F(WindowsDrives, WithoutSmartDataTheExportsAnswerForAnEmptyList) {
    const InUse inUse(side());
    ASSERT_GE(initDisk(), 0) << getLastError();
    const auto& engine = processWide<CAtaSmart>();
    EXPECT_TRUE(engine.IsWmi);
    if (!engine.vars.empty()) GTEST_SKIP() << "a drive gives SMART data";
    std::size_t rows = 0;
    eachRow(L"SELECT * FROM Win32_DiskDrive", [&](ManagementRow&) { ++rows; });
    EXPECT_EQ(rows, engine.unreadDrives.size());
    for (const UnreadDrive& drive : engine.unreadDrives)
        EXPECT_NE(L"", drive.model) << drive.physicalDriveId;
    EXPECT_STREQ("null", getAllDiskType());
    EXPECT_STREQ(R"({"code":0, "data": "available disk not found"})", getDiskNameWhichOsInstalled());
    EXPECT_STREQ("", getLastError());
    EXPECT_EQ(-1.0, getDiskTemperature(0));
    EXPECT_STREQ(R"({"error": "invalid vector subscript"})", getDiskReadWriteSpeed(0));
    EXPECT_STREQ("invalid vector subscript", getLastError());
}

} // namespace
} // namespace orv::test
