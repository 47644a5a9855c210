#include "platform/machine/Node.h"
#include "platform/records/NvmeRecords.h"
#include "support/AtaPaths.h"
#include "support/ManagementRows.h"

#include <filesystem>
#include <fstream>
#include <numeric>

namespace orv::test {
namespace {

using namespace platform;

TEST(MachineDrivesTest, SleepCostsTheSpinUpOrTheTimeOut) {
    const std::string asleep = R"("asleep": {"spinUpMilliseconds": 5000})";
    const auto identify = [](AtaPath& path) {
        std::array<std::uint8_t, 512> data{};
        return path.engine->SendAtaCommandPd(0, 0xA0, 0xEC, 0, 1, data);
    };
    const auto waited = [](AtaPath& path, const auto& request) {
        const std::int64_t before = path.machine->machineClock().now();
        const bool answers = request(path);
        return std::pair<bool, int>(answers, (path.machine->machineClock().now() - before) / kSecond);
    };
    AtaPath path(drive("ataPassThrough", asleep));
    for (const auto& expected : {std::pair(false, 2), {false, 2}, {true, 1}, {true, 0}})
        EXPECT_EQ(expected, waited(path, identify));
    AtaPath woken(drive("ataPassThrough", asleep));
    const auto wakeUp = [](AtaPath& sleeper) {
        sleeper.engine->WakeUp(0);
        return true;
    };
    EXPECT_EQ(std::pair(true, 5), waited(woken, wakeUp));
    EXPECT_EQ(std::pair(true, 0), waited(woken, identify));
    AtaPath patient(drive("idePassThrough", asleep));
    patient.engine->FlagAtaPassThrough = 0;
    EXPECT_EQ(std::pair(true, 5), waited(patient, identify)) << "a block without a time-out waits";
}

TEST(MachineDrivesTest, TextsAreWrittenIntoTheIdentifyBlock) {
    AtaPath path(
        R"({"number": 0, "paths": ["ataPassThrough", "sat"], "model": "AB C", "serialNumber": "S\u00e91"})");
    EXPECT_TRUE(path.ask(Operation::identify));
    EXPECT_EQ('B', path.asi.Identify[54]);
    EXPECT_EQ(0, std::accumulate(path.asi.Identify, path.asi.Identify + 512, std::uint8_t{}));

    const STORAGE_PROPERTY_QUERY ask{};
    const Sent answer = send(*path.machine, kDrive, IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(ask, 12), 4096);
    const auto descriptor = answer.as<STORAGE_DEVICE_DESCRIPTOR>();
    EXPECT_EQ(answer.bytes, descriptor.Size);
    EXPECT_STREQ("AB C", reinterpret_cast<const char*>(&answer.out.at(descriptor.ProductIdOffset)));
    EXPECT_EQ(kBusTypeUsb, descriptor.BusType) << "behind a bridge";
}

TEST(MachineDrivesTest, RowsAreMadeOfDrivesAndControllers) {
    const auto machine = machineOf(
        R"(
        {"number": 0, "scsiAddress": {"port": 2, "path": 1, "target": 3}, "paths": ["ataPassThrough"], "model": "M", "firmware": "F1", "capacityBytes": 10000000, "controllerId": "I"},
        {"number": 1, "paths": ["sat"], "model": "u", "serialNumber": "S9", "controllerId": "U", "usb": {"vendorId": "0x152D", "productId": "0x578"}},
        {"number": 12, "paths": ["sat"], "model": "A", "pnpDeviceId": "SCSI\\A", "controllerId": "S", "mediaType": 11},
        {"number": 3, "managementRow": false}, {"number": 4, "present": false}, {"scsiAddress": {"port": 9}},
        {"number": 5, "model": "N", "firmware": "1", "controllerId": "S", "descriptor": {"busType": 17}, "managementRow": {"Model": "O", "PNPDeviceID": null, "FirmwareRevision": 7}})",
        R"(, "controllers": [{"id": "I", "name": "AHCI", "kind": "ide"}, {"id": "U", "name": "XHCI", "kind": "usb"}, {"id": "S", "name": "UAS", "kind": "scsi"}])");
    // clang-format off
    const std::pair<std::wstring, const char*> cases[] = {
        {L"SELECT * FROM Win32_DiskDrive",
         R"(\\.\PHYSICALDRIVE0|M|8225280|F1|IDE|Fixed hard disk media|SCSI\DISK&VEN_&PROD_M\5&00000002&0&010300|2|1|3
\\.\PHYSICALDRIVE1|u USB Device|||USB|External hard disk media|USBSTOR\DISK&VEN_&PROD_U&REV_\S9&0|||
\\.\PHYSICALDRIVE12|A SCSI Disk Device|||SCSI|Removable Media|SCSI\A|||
\\.\PHYSICALDRIVE5|O||7|SCSI|Fixed hard disk media||||
)"},
        {LR"(ASSOCIATORS OF {Win32_SCSIController.DeviceID="S"} WHERE AssocClass = Win32_SCSIControllerDevice)", "SCSI\\A|A SCSI Disk Device\nSCSI\\DISK&VEN_&PROD_N\\5&FFFFFFFF&0&000005|O\n"},
        {LR"(ASSOCIATORS OF {Win32_USBController.DeviceID="U"} WHERE AssocClass = Win32_USBControllerDevice)",
         "USB\\VID_152D&PID_0578\\S9|USB Mass Storage Device\nUSBSTOR\\DISK&VEN_&PROD_U&REV_\\S9&0|u USB Device\n"},
        {LR"(ASSOCIATORS OF {Win32_PnPEntity.DeviceID="SCSI\\A"} WHERE AssocClass = Win32_SCSIControllerDevice)", "S|UAS\n"},
    };
    // clang-format on
    std::vector<const wchar_t*> columns = {
        L"DeviceID",  L"Model",       L"Size",     L"FirmwareRevision", L"InterfaceType",
        L"MediaType", L"PNPDeviceID", L"SCSIPort", L"SCSIBus",          L"SCSITargetId"};
    for (const auto& [query, rows] : cases) {
        EXPECT_EQ(rows, rowsOf(machine->managementData(), query, columns));
        columns = {L"DeviceID", L"Name"};
    }
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
        return send(*machine, LR"(\\.\Scsi2:)", IOCTL_SCSI_MINIPORT, bytesOf(block), sizeof block).error;
    };
    const auto query = [&](std::uint32_t subValue) {
        constexpr std::uint32_t property = kStorageAdapterProtocolSpecific, type = kProtocolTypeNvme;
        const STORAGE_PROPERTY_QUERY block{
            property, 0, type, kNvmeDataTypeLogPage, kNvmeHealthLog, subValue, 40, 4096, 0, {}};
        return send(*machine, kDrive, IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(block, 4144), 4144).error;
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
        return send(*machine, path, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {}, room);
    };
    EXPECT_EQ(8U + 2 * 24, extents(LR"(\\.\C:)", sizeof(VOLUME_DISK_EXTENTS)).bytes);
    const Sent part = extents(LR"(\\.\C:)", 8 + 24 + 23);
    EXPECT_EQ(kMoreData, part.error);
    EXPECT_EQ(2U, part.at(0));
    EXPECT_EQ(3U, part.at(8));
    EXPECT_EQ(0U, part.at(32)) << "half an extent is none";
    EXPECT_EQ(kInsufficientBuffer, extents(LR"(\\.\C:)", 31).error);
}

// ---- Files that cannot be used

template <class Make>
std::string reasonOf(Make make) {
    try {
        make();
    } catch (const MachineFileError& problem) {
        return problem.what();
    }
    return "accepted";
}

std::string nested(std::size_t depth) {
    return R"({"name": "m", "x": )" + std::string(depth, '[') + "1" + std::string(depth, ']') + "}";
}
std::string smbus(const std::string& eeproms) {
    return R"({"name": "m", "smbus": {"controller": "amd", "base": "0x0B00", "eeproms": [)" + eeproms + "]}}";
}

TEST(MachineFile, WhatIsWrongIsNamedWithItsPlace) {
    const std::string module = R"({"address": "0xA2", "kind": "DDR4"})";
    const auto drives = [](const std::string& list) { return R"({"name": "m", "drives": [)" + list + "]}"; };
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {R"({"name": "m"})", "accepted"},
        {"{}", R"(machine: the key "name" is missing)"},
        {R"({"name": "m", "memory": {"totalPhys": -1, "availPhys": 0}})", "machine: memory.totalPhys: must be a whole number"},
        {nested(63), R"(machine: unknown key "x")"}, {nested(64), "machine: nested deeper than 64"}, {nested(50'000), "machine: nested deeper than 64"},
        {R"({"name": "m", "clock": {"stepNs": 1, "stepNs": 1}})", R"(machine: the key "stepNs" stands twice in one object)"},
        {R"({"name": "m", "faults": [{"request": "adapter", "error": 5}]})", R"(machine: faults[0]: no request is named "adapter")"},
        {smbus(module + "," + module), "machine: smbus.eeproms[1]: another EEPROM has this address"},
        {smbus(R"({"address": "0xB0", "kind": "DDR4"})"), "machine: smbus.eeproms[0].address: is above 174"},
        {drives(R"({"number": 0, "paths": ["sta"]})"), R"(machine: drives[0].paths[0]: no path is named "sta")"},
        {drives(R"({"number": 0, "paths": ["sat", "samsung"]})"), "machine: drives[0].paths[1]: a drive has either ATA or NVMe paths"},
        {drives(R"({"number": 0, "identify": "00"})"), "machine: drives[0].identify: must be 512 bytes, not 1"},
        {drives(R"({"number": 0, "changes": [{"atSeconds": 2}, {"atSeconds": 1}]})"), "machine: drives[0].changes[1]: comes before the change above it"},
        {drives(R"({"number": 0}, {"number": 0})"), "machine: drives[1].number: another drive has this number"},
        {drives(R"({"number": 0, "answers": [{"path": "sat", "error": 1}]})"), R"(machine: drives[0].answers[0].path: "sat" is no path of this drive)"},
        {drives(R"({"number": 0, "colour": 1})"), "machine: drives[0]: unknown key"},
        {drives(R"({"number": 0, "paths": ["scsi", "sat"]})"), "machine: drives[0].paths: a SCSI disk has no"}, {drives(R"({"number": 0, "scsi": {"blocks": 1}})"), "machine: drives[0].scsi: needs the path"},
        {drives(R"({"number": 0, "rejection": "no"})"), "machine: drives[0].rejection: must be"}, {drives(R"({"number": 0, "returnStatus": "no"})"), "machine: drives[0].returnStatus: must be"},
        {drives(R"({"number": 0, "paths": ["sat"], "answers": [{"path": "sat", "error": 1, "hang": true}]})"), "machine: drives[0].answers[0]: needs"}, {drives(R"({"scsiAddress": {"port": 1}}, {"scsiAddress": {"port": 1}})"), "machine: drives[1].scsiAddress: another drive has this address"},
        {drives(R"({"number": 0, "controllerId": "C", "link": {}}, {"number": 1, "controllerId": "C", "link": {}})"), R"(machine: drives: the link of "C" is told twice)"}, {R"({"name": "m", "batteries": [{"answers": {"x": 5}}]})", R"(machine: batteries[0].answers: "x" is no level number)"},
        {R"({"name": "m", "faults": [{"request": "adapters", "nth": 0, "error": 5}]})", "machine: faults[0]: nth counts from 1"}, {R"({"name": "m", "faults": [{"request": "adapters"}]})", "machine: faults[0]: needs either"},
        {R"({"name": "m", "ring0": {"pci": [{"address": "00:20.0"}]}})", "machine: ring0.pci[0]: address must be"}, {R"({"name": "m", "management": true})", "machine: management: must be an object, or false"}, {"[", "machine: not JSON: "},
    };
    // clang-format on
    for (const auto& [text, reason] : cases) {
        const std::string found = reasonOf([&] { Machine::fromText(text); });
        EXPECT_EQ(reason, found.substr(0, std::string_view(reason).size())) << text.substr(0, 200);
    }
}

TEST(MachineFile, FilesThatCannotBeReadWhole) {
    std::filesystem::create_directory("a-folder");
    std::ofstream("huge.bin").close();
    std::filesystem::resize_file("huge.bin", (16u << 20) + 1);
    const std::pair<const char*, const char*> cases[] = {
        {"nowhere", R"("nowhere" cannot be opened)"},
        {"a-folder", R"("a-folder" is not a regular file)"},
        {"huge.bin", R"("huge.bin" is larger than 16 MiB)"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(std::string(reason) + "; give the path of a machine file",
                  reasonOf([&] { Machine::fromFile(path); }));
        std::ofstream("names-a-file.json")
            << fmt::format(R"({{"name": "m", "management": {{"smbios": "{}"}}}})", path);
        EXPECT_EQ(std::string("names-a-file.json: management.smbios: ") + reason,
                  reasonOf([&] { Machine::fromFile("names-a-file.json"); }));
    }
}

} // namespace
} // namespace orv::test
