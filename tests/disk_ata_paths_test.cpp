#include "support/AtaPaths.h"
#include "support/ScarceMemory.h"

namespace orv::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kDrive = R"(\\.\PhysicalDrive0)";
const std::string kPort = R"(\\.\Scsi2:)";
constexpr const char* kDisabled = R"("smartEnabled": false)";

std::string ataLine(const std::string& taskFile, bool data = true) {
    const std::string head = data
                                 ? "28 00 02 00 00 00 00 00 00 02 00 00 02 00 00 00 00 00 00 00 2C 00 00 00 "
                                 : "28 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 2C 00 00 00 ";
    const std::string registers = head + "00 00 00 00 00 00 00 00 " + taskFile + " 00 00 00 00 00";
    return controlLine(kDrive, "0x4d02c", data ? 556 : 44, data ? 556 : 44, registers + (data ? " CF" : ""));
}

std::string receiveLine(const std::string& registers) {
    return controlLine(kDrive, "0x7c088", 528, 33, "00 02 00 00 " + registers);
}

std::string sendLine(const std::string& registers) {
    return controlLine(kDrive, "0x7c084", 16, 32, "00 00 00 00 " + registers);
}

std::string scsiDiskLine(const std::string& code, const std::string& size, const std::string& registers) {
    return controlLine(kPort, "0x4d008", 557, 60,
                       "1C 00 00 00 53 43 53 49 44 49 53 4B 02 00 00 00 " + code +
                           " 05 1B 00 00 00 00 00 11 02 00 00 " + size + " 00 00 " + registers + " 00 03");
}

TEST(DiskAtaPathsTest, EachSendsItsOwnBlocks) {
    AtaPath passThrough(drive("ataPassThrough", kDisabled));
    expectCommands(passThrough, kOpenDrive,
                   {ataLine("00 00 00 00 00 A0 EC"), ataLine("D0 01 01 4F C2 A0 B0"),
                    ataLine("D1 01 01 4F C2 A0 B0"), ataLine("D8 01 01 4F C2 A0 B0", false)});
    for (const bool both : {false, true}) {
        AtaPath slave(drive("ataPassThrough smartIoctl", R"("smartEnabled": false, "target": 176)"), 1, 0xB0);
        slave.engine.FlagAtaPassThrough = both;
        slave.engine.FlagAtaPassThroughSmart = !both;
        expectCommands(slave, kOpenDrive,
                       {receiveLine("00 01 01 00 00 B0 EC"), receiveLine("D0 01 01 4F C2 B0 B0"),
                        receiveLine("D1 01 01 4F C2 B0 B0"), sendLine("D8 01 01 4F C2 B0 B0")});
    }
    AtaPath miniport(drive("scsiDisk", kDisabled), CMD_TYPE_SCSI_MINIPORT);
    expectCommands(miniport, kOpenPort,
                   {scsiDiskLine("01", "00 00", "00 00 00 00 00 00 EC"),
                    scsiDiskLine("02", "00 02", "D0 01 01 4F C2 00 B0"),
                    scsiDiskLine("03", "00 02", "D1 01 01 4F C2 00 B0"),
                    scsiDiskLine("04", "00 02", "D8 01 01 4F C2 00 B0")});
    miniport.machine->requests().clearRecord();
    EXPECT_TRUE(miniport.engine.ControlSmartStatusScsi(2, 3, 0xD9));
    EXPECT_EQ(scsiDiskLine("05", "00 02", "D9 01 01 4F C2 00 B0"), miniport.record().back());
}

TEST(DiskAtaPathsTest, ThePhysicalDriveFallsBackOnTheSmartCodes) {
    AtaPath path(drive("smartIoctl"));
    const std::pair<Operation, const wchar_t*> names[] = {{identify, L"IDENTIFY_DEVICE"},
                                                          {readData, L"SMART_READ_DATA"},
                                                          {readThresholds, L"SMART_READ_THRESHOLDS"},
                                                          {enable, L"SMART_CONTROL_STATUS"}};
    for (const auto& [operation, name] : names) {
        EXPECT_TRUE(path.ask(operation));
        const std::wstring trace = std::wstring(L"SendAtaCommandPd - ") + name;
        EXPECT_THAT(path.traces, ElementsAre(trace + L" (ATA_PASS_THROUGH)", trace));
        ASSERT_EQ(4U, path.record().size());
        EXPECT_THAT(path.record()[1], testing::StartsWith("deviceControl " + kDrive + " 0x4d02c "));
        EXPECT_THAT(path.record()[3], testing::StartsWith("deviceControl " + kDrive + " 0x7c08"));
        path.machine->requests().plan({"openDevice", 0, platform::kAccessDenied, 0});
        EXPECT_FALSE(path.ask(operation));
        EXPECT_THAT(path.traces, ElementsAre(trace + L" (ATA_PASS_THROUGH)"));
        path.machine->requests().clearFaults();
    }
    EXPECT_EQ(platform::kAccessDenied, path.engine.probeFailure());
}

TEST(DiskAtaPathsTest, AnIdentifyWithoutAModelIsNone) {
    const std::string answer = R"("answers": [{"path": "ataPassThrough", "data": ")" + block(1, 54) + "00" +
                               block(1, 457) + R"("}])";
    AtaPath both(drive("ataPassThrough smartIoctl", answer));
    EXPECT_TRUE(both.ask(identify));
    EXPECT_THAT(both.blockOf(identify), Each(1));
    AtaPath alone(drive("ataPassThrough", answer));
    EXPECT_FALSE(alone.ask(identify));
    EXPECT_THAT(alone.blockOf(identify), Each(0)) << "what the first one gave is not kept";
}

struct AnswerCase {
    std::uint32_t type;
    const char* path;
    Operation operation;
    std::string answer;
    bool kept;
};

TEST(DiskAtaPathsTest, OnlyAWholeBlockIsKept) {
    std::vector<AnswerCase> cases;
    for (const Operation operation : {identify, readData, readThresholds}) {
        for (const int bytes : {0, 512, 527, 528, 529})
            cases.push_back({1, "smartIoctl", operation, fmt::format(R"("bytes": {})", bytes), bytes == 528});
        for (const int bytes : {555, 556, 557})
            cases.push_back(
                {1, "ataPassThrough", operation, fmt::format(R"("bytes": {})", bytes), bytes == 556});
        for (const int bytes : {555, 556, 557, 558}) // the last byte of the room is behind the data
            cases.push_back({2, "scsiDisk", operation, fmt::format(R"("bytes": {})", bytes),
                             bytes == 556 || bytes == 557});
        const std::string noFirstByte = R"("data": "00)" + block(2, 511) + '"';
        cases.push_back({2, "scsiDisk", operation, noFirstByte, operation == readData});
        cases.push_back({2, "scsiDisk", operation, R"("error": 1117)", false});
    }
    for (const AnswerCase& test : cases) {
        AtaPath path(answering(test.path, test.answer), test.type);
        SCOPED_TRACE(fmt::format("{} {} {}", test.path, static_cast<int>(test.operation), test.answer));
        EXPECT_EQ(test.kept, path.ask(test.operation));
        const bool cleared = test.type == 1 && test.operation == identify;
        if (!test.kept) {
            EXPECT_THAT(path.blockOf(test.operation), Each(cleared ? 0 : kKept));
        }
    }
    AtaPath shortRoom(drive("scsiDisk siliconImage"));
    const auto room = std::span(shortRoom.asi.Identify, 511);
    EXPECT_FALSE(shortRoom.engine.DoIdentifyDevicePd(0, 0xA0, room));
    EXPECT_FALSE(shortRoom.engine.DoIdentifyDeviceScsi(2, 3, room));
    EXPECT_FALSE(shortRoom.engine.DoIdentifyDeviceSi(2, 1, 3112, room));
    EXPECT_THAT(shortRoom.record(), IsEmpty());
}

TEST(DiskAtaPathsTest, ADriveThatVanishesBetweenTwoCommands) {
    for (const auto& [type, name] : {std::pair(1U, "smartIoctl"), {2U, "scsiDisk"}, {4U, "sat"}}) {
        AtaPath path(answering(name, R"("operation": "smart", "vanish": true)"), type);
        EXPECT_TRUE(path.ask(identify));
        EXPECT_FALSE(path.ask(readData));
        EXPECT_EQ(platform::kNoSuchDevice, path.engine.probeFailure()) << name;
        EXPECT_FALSE(path.ask(readThresholds));
        EXPECT_FALSE(path.ask(enable));
        EXPECT_EQ(type == 4 ? 1U : 2U, path.record().size())
            << name; // the port stays, a code has a fall-back
        EXPECT_THAT(path.blockOf(readData), Each(kKept)) << name;
    }
}

TEST(DiskAtaPathsTest, OnlyTheDriveThatIsMeantAnswers) {
    AtaPath path(drive("ataPassThrough smartIoctl scsiDisk siliconImage"));
    const std::span data(path.asi.Identify, kIdentifyBytes);
    EXPECT_FALSE(path.engine.DoIdentifyDevicePd(0, 0xB0, data));
    EXPECT_FALSE(path.engine.DoIdentifyDeviceScsi(2, 4, data));
    EXPECT_EQ(platform::kIoDevice, path.engine.probeFailure());
    EXPECT_FALSE(path.engine.DoIdentifyDeviceSi(2, 0, 3112, data));
    EXPECT_FALSE(path.engine.GetSmartAttributeSi(0, path.asi)) << "a path that it does not have";
    path.engine.FlagAtaPassThrough = 0;
    EXPECT_FALSE(path.engine.SendAtaCommandPd(0, 0xA0, 0xEC, 0, 0, data)) << "nor has it this one";
}

TEST(DiskAtaPathsTest, OneCommandOfAnySize) {
    AtaPath path(drive("ataPassThrough idePassThrough"));
    std::array<std::uint8_t, 513> data{};
    const auto send = [&](std::uint8_t command, std::size_t bytes) {
        path.machine->requests().clearRecord();
        return path.engine.SendAtaCommandPd(0, 0xA0, command, 0xD0, 7, std::span(data).first(bytes));
    };
    EXPECT_FALSE(send(0xEC, 513));
    EXPECT_THAT(path.record(), IsEmpty());
    path.engine.FlagAtaPassThroughSmart = 0; // is no matter of this one
    EXPECT_TRUE(send(0xEC, 512));
    EXPECT_EQ(ataLine("D0 07 00 00 00 A0 EC"), path.record().back());
    EXPECT_TRUE(send(0xB0, 512));
    EXPECT_EQ(ataLine("D0 01 01 4F C2 A0 B0"), path.record().back());
    EXPECT_EQ(2, data[511]);

    path.engine.FlagAtaPassThrough = 0;
    EXPECT_FALSE(send(0xEC, 513));
    EXPECT_TRUE(send(0xEC, 512));
    EXPECT_THAT(path.record(), ElementsAre(kOpenDrive, controlLine(kDrive, "0x4d028", 524, 524,
                                                                   "D0 07 00 00 00 A0 EC 00 00 02 00 00")));
    EXPECT_EQ(1, data[511]);
    EXPECT_EQ(0, data[512]);
    send(0xB0, 0);
    EXPECT_EQ(controlLine(kDrive, "0x4d028", 12, 12, "D0 07 00 00 00 A0 B0"), path.record().back());
}

std::string siliconImageLine(const std::string& device) {
    return controlLine(device, "0x4d008", 564, 564,
                       "1C 00 00 00 43 4D 44 5F 49 44 45 20 05 00 00 00 08 20 04 00 FF FF FF FF 18 02 00 00 "
                       "01 00 01 00");
}

TEST(DiskAtaPathsTest, SiliconImageByItsPortOrItsName) {
    const auto ask = [](AtaPath& path, std::int32_t type) {
        path.machine->requests().clearRecord();
        return path.engine.DoIdentifyDeviceSi(2, 1, type, path.asi.Identify);
    };
    AtaPath port(drive("siliconImage"));
    EXPECT_TRUE(ask(port, 3112));
    EXPECT_THAT(port.record(), ElementsAre(kOpenPort, siliconImageLine(kPort)));
    EXPECT_THAT(port.blockOf(identify), Each(1));

    AtaPath named(R"({"scsiAddress": {"port": 9, "device": "\\Device\\Scsi\\SI31121", "path": 1},
        "paths": ["siliconImage"], )" +
                  platform::drives::ataBlocks() + "}");
    for (const std::int32_t type : {3112, 3512}) {
        EXPECT_TRUE(ask(named, type)) << type;
        EXPECT_THAT(named.record(),
                    ElementsAre(kOpenPort, R"(defineDosDevice tempBusSil3112 \Device\Scsi\SI31121)",
                                R"(openDevice \\.\tempBusSil3112 attributes 0x0)",
                                siliconImageLine(R"(\\.\tempBusSil3112)")));
    }
    EXPECT_FALSE(ask(named, 3132));
    EXPECT_EQ(R"(openDevice \\.\tempBusSil3132 attributes 0x0)", named.record().back());
    named.machine->requests().plan({"defineDosDevice", 0, platform::kAccessDenied, 0});
    EXPECT_FALSE(ask(named, 3112));
    EXPECT_EQ(2U, named.record().size()) << "nothing to open";
    EXPECT_EQ(platform::kAccessDenied, named.engine.probeFailure());

    for (const int bytes : {563, 565}) {
        AtaPath wrong(answering("siliconImage", fmt::format(R"("bytes": {})", bytes)));
        EXPECT_FALSE(ask(wrong, 3112));
        EXPECT_THAT(wrong.blockOf(identify), Each(kKept));
    }
    AtaPath blank(answering("siliconImage", R"("data": "00")"));
    EXPECT_TRUE(ask(blank, 3112)) << "nobody looks at the data";
}

TEST(DiskAtaPathsTest, SiliconImageSmartComesFromThePrediction) {
    const std::string services =
        R"("pnpDeviceId": "IDE\\D", "failurePredict": {"data": ")" + block(4) + R"("})";
    AtaPath path(drive("predictFailure", services));
    path.asi.PnpDeviceId = L"IDE\\D";
    EXPECT_TRUE(path.engine.GetSmartAttributeSi(0, path.asi));
    EXPECT_THAT(path.record(), ElementsAre(kOpenDrive, controlLine(kDrive, "0x2d1100", 516, 0, "")));
    EXPECT_THAT(path.blockOf(readData), Each(2));
    for (const char* answer : {R"("bytes": 515)", R"("bytes": 517)", R"("error": 1)"}) {
        AtaPath fallen(drive("predictFailure",
                             services + R"(, "answers": [{"path": "predictFailure", )" + answer + "}]"));
        EXPECT_FALSE(fallen.engine.GetSmartAttributeSi(0, fallen.asi))
            << "without an id there is no other way";
        EXPECT_THAT(fallen.blockOf(readData), Each(kKept));
        fallen.asi.PnpDeviceId = L"IDE\\D";
        EXPECT_TRUE(fallen.engine.GetSmartAttributeSi(0, fallen.asi));
        EXPECT_THAT(fallen.blockOf(readData), Each(4));
        EXPECT_TRUE(fallen.engine.GetSmartAttributeSi(7, fallen.asi)) << "a drive that does not open";
    }
}

/// The service's rows for both classes; `rows` are of the first.
std::string management(const std::string& rows) {
    return R"(, "management": {"MSStorageDriver_FailurePredictData": [)" + rows +
           R"(], "MSStorageDriver_FailurePredictThresholds": [{"InstanceName": "IDE\\D_0", "VendorSpecific": {"bytes": "0303)" +
           block(2, 510) + R"("}}]})";
}

std::string row(const std::string& name, const std::string& specific) {
    return R"({"InstanceName": ")" + name + R"(", "VendorSpecific": )" + specific + "}";
}

std::string blockColumn(unsigned byte, std::size_t bytes = 512) {
    return R"({"bytes": ")" + block(byte, bytes) + R"("})";
}

TEST(DiskManagementSmartTest, TheRowsOfADriveBeginWithItsId) {
    AtaPath path("", 14, 0xA0,
                 management(row(R"(X\\IDE\\D_0)", blockColumn(9)) + "," + row("IDE", blockColumn(9)) + "," +
                            R"({"VendorSpecific": )" + blockColumn(9) + "}," +
                            R"({"InstanceName": "ide\\d_0"},)" + row(R"(ide\\d_0)", R"("text")") + "," +
                            row(R"(ide\\d_0)", R"({"type": 1})") + "," +
                            row(R"(ide\\d_0)", blockColumn(9, 511)) + "," +
                            row(R"(ide\\d_0)", R"({"bytes": ")" + block(2) + R"(09"})") + "," +
                            row(R"(IDE\\D_1)", blockColumn(9))));
    EXPECT_FALSE(path.engine.GetSmartAttributeWmi(path.asi)) << "no id";
    EXPECT_FALSE(path.engine.GetSmartThresholdWmi(path.asi));
    EXPECT_THAT(path.record(), testing::Each("osVersion"));
    path.asi.PnpDeviceId = L"IDE\\D";
    path.machine->requests().clearRecord();
    EXPECT_TRUE(path.engine.GetSmartAttributeWmi(path.asi));
    const auto record = path.record();
    EXPECT_THAT(std::vector(record.begin(), record.begin() + 6),
                ElementsAre("osVersion", "createLocator",
                            R"(connectServer \\.\root\WMI for two minutes at most)", "setProxyBlanket",
                            "execQuery SELECT * FROM MSStorageDriver_FailurePredictData", "nextRow"));
    EXPECT_EQ(8, std::ranges::count(record, "nextRow")) << "up to the row that has the block";
    EXPECT_THAT(path.blockOf(readData), Each(2));
    EXPECT_TRUE(path.engine.GetSmartThresholdWmi(path.asi));
    EXPECT_THAT(path.record(),
                testing::Contains("execQuery SELECT * FROM MSStorageDriver_FailurePredictThresholds"));
    EXPECT_EQ(3, path.asi.SmartReadThreshold[1]);
    EXPECT_EQ(2, path.asi.Threshold[29].ThresholdValue);
    path.asi.PnpDeviceId = L"IDE\\E";
    EXPECT_FALSE(path.engine.GetSmartAttributeWmi(path.asi)) << "the end of the rows";
}

TEST(DiskManagementSmartTest, AFailureOfAnyStepIsAPathWithoutData) {
    AtaPath path("", 14, 0xA0, management(row(R"(IDE\\D_0)", blockColumn(2))));
    path.asi.PnpDeviceId = L"IDE\\D";
    for (const char* step :
         {"createLocator", "connectServer", "setProxyBlanket", "execQuery", "nextRow", "getColumn"}) {
        path.machine->requests().plan({step, 0, 0x80041001, 0});
        EXPECT_FALSE(path.engine.GetSmartAttributeWmi(path.asi)) << step;
        EXPECT_FALSE(path.engine.GetSmartThresholdWmi(path.asi)) << step;
        path.machine->requests().clearFaults();
    }
    path.machine->requests().plan({"osVersion", 0, platform::kGeneralFailure, 0});
    EXPECT_FALSE(path.engine.GetSmartThresholdWmi(path.asi)) << "an unknown system";
    path.machine->requests().clearRecord();
    EXPECT_TRUE(path.engine.GetSmartAttributeWmi(path.asi));
    EXPECT_THAT(path.record(), testing::Contains(R"(connectServer \\.\root\WMI)"));

    path.machine->requests().keepRecord(false);
    std::uint64_t failing = 1;
    for (bool told = false; !told && failing < 1000; ++failing) {
        failAllocation(failing);
        EXPECT_NO_THROW(told = path.engine.GetSmartAttributeWmi(path.asi)) << failing;
        endOfScarcity();
    }
    EXPECT_GT(failing, 5U);
    EXPECT_LT(failing, 1000U);
}

} // namespace
} // namespace orv::test
