#include "platform/records/NvmeRecords.h"
#include "support/DriveControls.h"
#include "support/ManagementRows.h"

#include <gmock/gmock.h>

namespace orv::platform::drives {
namespace {

using testing::HasSubstr;

TEST(MachineDrivesTest, SleepCostsTheSpinUpOrTheTimeOut) {
    const std::string asleep = R"("asleep": {"spinUpMilliseconds": 5000})";
    auto machine = machineOf(drive("ataPassThrough smartIoctl", asleep));
    const auto waited = [&](const auto& request) {
        const std::int64_t before = machine->machineClock().now();
        const ErrorCode error = request();
        return std::pair(error, (machine->machineClock().now() - before) / kSecond);
    };
    const auto identify = [&] { return send(*machine, ataIdentify()).error; };
    EXPECT_THAT(waited(identify), testing::Pair(kTimedOut, 2));
    EXPECT_THAT(waited(identify), testing::Pair(kTimedOut, 2));
    EXPECT_THAT(waited(identify), testing::Pair(kSuccess, 1));
    EXPECT_THAT(waited(identify), testing::Pair(kSuccess, 0));

    machine = machineOf(drive("ataPassThrough", asleep));
    const auto wakeUp = [&] {
        Bytes sector(512, std::byte{1});
        return machine->deviceFiles().open(kDrive).value->read(0, sector).error;
    };
    EXPECT_THAT(waited(wakeUp), testing::Pair(kSuccess, 5));
    EXPECT_THAT(waited(identify), testing::Pair(kSuccess, 0));

    machine = machineOf(drive("smartIoctl", asleep));
    EXPECT_THAT(waited([&] { return send(*machine, smartIdentify()).error; }), testing::Pair(kSuccess, 5))
        << "a block without a time-out waits";
}

std::string textAt(const Sent& sent, std::size_t at) {
    std::string text;
    for (; sent.at(at) != 0; ++at)
        text.push_back(static_cast<char>(sent.at(at)));
    return text;
}

TEST(MachineDrivesTest, TextsAreWrittenIntoTheIdentifyBlock) {
    const auto machine = machineOf(
        R"({"number": 0, "paths": ["ataPassThrough", "sat"], "model": "AB C", "serialNumber": "S\u00e91"})");
    const Sent identify = send(*machine, ataIdentify());
    EXPECT_EQ('B', identify.at(44 + 54));
    unsigned sum = 0;
    for (std::size_t i = 0; i < 512; ++i)
        sum += identify.at(44 + i);
    EXPECT_EQ(0U, sum % 256);

    const STORAGE_PROPERTY_QUERY ask{};
    const Sent answer = send(*machine, {kDrive, IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(ask, 12), 4096});
    const auto descriptor = answer.as<STORAGE_DEVICE_DESCRIPTOR>();
    EXPECT_EQ(answer.bytes, descriptor.Size);
    EXPECT_EQ("AB C", textAt(answer, descriptor.ProductIdOffset));
    EXPECT_EQ(kBusTypeUsb, descriptor.BusType) << "behind a bridge";
}

TEST(MachineDrivesTest, RowsAreMadeOfDrivesAndControllers) {
    const auto machine = machineOf(R"(
        {"number": 0, "scsiAddress": {"port": 2, "path": 1, "target": 3}, "paths": ["ataPassThrough"], "model": "M",
         "firmware": "F1", "capacityBytes": 10000000, "controllerId": "I"},
        {"number": 1, "paths": ["sat"], "model": "u", "serialNumber": "S9", "controllerId": "U",
         "usb": {"vendorId": "0x152D", "productId": "0x578"}},
        {"number": 12, "paths": ["sat"], "model": "A", "pnpDeviceId": "SCSI\\A", "controllerId": "S",
         "mediaType": 11},
        {"number": 3, "managementRow": false}, {"number": 4, "present": false}, {"scsiAddress": {"port": 9}},
        {"number": 5, "model": "N", "firmware": "1", "controllerId": "S", "descriptor": {"busType": 17},
         "managementRow": {"Model": "O", "PNPDeviceID": null, "FirmwareRevision": 7}})",
                                   R"(, "controllers": [{"id": "I", "name": "AHCI", "kind": "ide"},
        {"id": "U", "name": "XHCI", "kind": "usb"}, {"id": "S", "name": "UAS", "kind": "scsi"}])");
    const std::pair<std::wstring, const char*> cases[] = {
        {L"SELECT * FROM Win32_DiskDrive",
         R"(\\.\PHYSICALDRIVE0|M|8225280|F1|IDE|Fixed hard disk media|SCSI\DISK&VEN_&PROD_M\5&00000002&0&010300|2|1|3
\\.\PHYSICALDRIVE1|u USB Device|||USB|External hard disk media|USBSTOR\DISK&VEN_&PROD_U&REV_\S9&0|||
\\.\PHYSICALDRIVE12|A SCSI Disk Device|||SCSI|Removable Media|SCSI\A|||
\\.\PHYSICALDRIVE5|O||7|SCSI|Fixed hard disk media||||
)"},
        {LR"(ASSOCIATORS OF {Win32_SCSIController.DeviceID="S"} WHERE AssocClass = Win32_SCSIControllerDevice)",
         "SCSI\\A|A SCSI Disk Device\nSCSI\\DISK&VEN_&PROD_N\\5&FFFFFFFF&0&000005|O\n"},
        {LR"(ASSOCIATORS OF {Win32_USBController.DeviceID="U"} WHERE AssocClass = Win32_USBControllerDevice)",
         "USB\\VID_152D&PID_0578\\S9|USB Mass Storage Device\nUSBSTOR\\DISK&VEN_&PROD_U&REV_\\S9&0|u USB "
         "Device\n"},
        {LR"(ASSOCIATORS OF {Win32_PnPEntity.DeviceID="SCSI\\A"} WHERE AssocClass = Win32_SCSIControllerDevice)",
         "S|UAS\n"},
    };
    const std::vector<const wchar_t*> named = {L"DeviceID", L"Name"},
                                      ofDrives = {L"DeviceID",         L"Model",         L"Size",
                                                  L"FirmwareRevision", L"InterfaceType", L"MediaType",
                                                  L"PNPDeviceID",      L"SCSIPort",      L"SCSIBus",
                                                  L"SCSITargetId"};
    for (const auto& [query, rows] : cases)
        EXPECT_EQ(rows,
                  test::rowsOf(machine->managementData(), query, query == cases[0].first ? ofDrives : named));
}

TEST(MachineDrivesTest, TheHealthPageIsOfAllNamespaces) {
    const auto machine = machineOf(drive("storageQuery nvmeMini"));
    const auto mini = [&](std::uint32_t space) {
        NvmeMiniportBlock block{};
        block.header.HeaderLength = sizeof block.header;
        std::memcpy(block.header.Signature, "NvmeMini", sizeof block.header.Signature);
        block.command[0] = kNvmeGetLogPage;
        block.command[1] = space;
        block.command[10] = kNvmeHealthLog;
        block.dataLength = 4096;
        return send(*machine, {LR"(\\.\Scsi2:)", IOCTL_SCSI_MINIPORT, bytesOf(block), sizeof block}).error;
    };
    const auto query = [&](std::uint32_t subValue) {
        const STORAGE_PROPERTY_QUERY block{kStorageAdapterProtocolSpecific,
                                           0,
                                           kProtocolTypeNvme,
                                           kNvmeDataTypeLogPage,
                                           kNvmeHealthLog,
                                           subValue,
                                           40,
                                           4096,
                                           0,
                                           {}};
        return send(*machine, {kDrive, IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(block, 4144), 4144}).error;
    };
    EXPECT_EQ(kIoDevice, mini(0));
    EXPECT_EQ(kSuccess, mini(kNvmeAllNamespaces));
    EXPECT_EQ(kSuccess, query(0)) << "an offset";
    EXPECT_EQ(kInvalidFunction, query(8));
}

TEST(MachineDrivesTest, VolumesTellTheirDisks) {
    const auto machine = machineOf("", R"(, "volumes": [{"letter": "C", "extents": [
        {"disk": 3, "start": 4096, "length": 8192}, {"disk": 300, "length": 0}]}, {"letter": "X", "type": 5}])");
    const auto extents = [&](const wchar_t* path, std::size_t room) {
        return send(*machine, {path, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {}, room});
    };
    const Sent whole = extents(LR"(\\.\C:)", sizeof(VOLUME_DISK_EXTENTS));
    EXPECT_EQ(8U + 2 * 24, whole.bytes);
    const auto told = whole.as<VOLUME_DISK_EXTENTS>();
    EXPECT_EQ(2U, told.NumberOfDiskExtents);
    EXPECT_EQ(3U, told.Extents[0].DiskNumber);
    EXPECT_EQ(300U, told.Extents[1].DiskNumber);
    const Sent part = extents(LR"(\\.\C:)", 8 + 24 + 23);
    EXPECT_EQ(kMoreData, part.error);
    EXPECT_EQ(2U, part.at(0));
    EXPECT_EQ(3U, part.at(8));
    EXPECT_EQ(0U, part.at(32)) << "half an extent is none";
    EXPECT_EQ(kInsufficientBuffer, extents(LR"(\\.\C:)", 31).error);
}

TEST(MachineDrivesTest, FileErrorsNameTheirPlace) {
    const struct {
        std::string drives;
        const char* place;
        const char* reason;
    } cases[] = {
        {R"({"number": 0, "paths": ["sta"]})", "drives[0].paths[0]", R"(no path is named "sta")"},
        {R"({"number": 0, "paths": ["sat", "samsung"]})", "drives[0].paths[1]", "either ATA or NVMe"},
        {R"({"number": 0, "identify": "00"})", "drives[0].identify", "must be 512 bytes, not 1"},
        {R"({"number": 0, "changes": [{"atSeconds": 2}, {"atSeconds": 1}]})", "drives[0].changes[1]",
         "before"},
        {R"({"number": 0}, {"number": 0})", "drives[1].number", "another drive has this number"},
        {R"({"number": 0, "answers": [{"path": "sat", "error": 1}]})", "drives[0].answers[0].path",
         "no path of this"},
        {R"({"number": 0, "colour": 1})", "drives[0]", "unknown key"},
    };
    for (const auto& test : cases) {
        try {
            machineOf(test.drives);
            ADD_FAILURE() << test.drives << " was taken";
        } catch (const MachineFileError& error) {
            EXPECT_THAT(error.what(), testing::AllOf(HasSubstr(std::string(": ") + test.place + ": "),
                                                     HasSubstr(test.reason)))
                << test.drives;
        }
    }
}

} // namespace
} // namespace orv::platform::drives
