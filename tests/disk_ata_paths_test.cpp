#include "support/AtaPaths.h"

namespace orv::test {
namespace {

constexpr const char* kDisabled = R"("smartEnabled": false)";

TEST(DiskAtaPathsTest, EachSendsItsOwnBlocks) {
    // clang-format off
    AtaPath passThrough(drive("ataPassThrough", kDisabled));
    expectCommands(passThrough, kOpenDrive,
                   {"PhysicalDrive0 0x4d02c 556 556: 0=28 2=02 9=02 12=02 20=2c 37=a0ec 44=cf", "PhysicalDrive0 0x4d02c 556 556: 0=28 2=02 9=02 12=02 20=2c 32=d001014fc2a0b0 44=cf",
                    "PhysicalDrive0 0x4d02c 556 556: 0=28 2=02 9=02 12=02 20=2c 32=d101014fc2a0b0 44=cf", "PhysicalDrive0 0x4d02c 44 44: 0=28 12=02 20=2c 32=d801014fc2a0b0"});
    AtaPath slave(drive("ataPassThrough smartIoctl", R"("smartEnabled": false, "target": 176)"), 1, 0xB0);
    slave.engine->FlagAtaPassThroughSmart = 0;
    expectCommands(slave, kOpenDrive,
                   {"PhysicalDrive0 0x7c088 528 33: 1=02 5=0101 9=b0ec", "PhysicalDrive0 0x7c088 528 33: 1=02 4=d001014fc2b0b0",
                    "PhysicalDrive0 0x7c088 528 33: 1=02 4=d101014fc2b0b0", "PhysicalDrive0 0x7c084 16 32: 4=d801014fc2b0b0"});
    AtaPath miniport(drive("scsiDisk", kDisabled), CMD_TYPE_SCSI_MINIPORT);
    const std::string head = "Scsi2: 0x4d008 557 60: 0=1c 4=534353494449534b02 16=";
    expectCommands(miniport, kOpenPort,
                   {head + "01051b 24=1102 38=ec 40=03", head + "02051b 24=1102 29=02 32=d001014fc2 38=b0 40=03",
                    head + "03051b 24=1102 29=02 32=d101014fc2 38=b0 40=03", head + "04051b 24=1102 29=02 32=d801014fc2 38=b0 40=03"});
    // clang-format on
}

TEST(DiskAtaPathsTest, ThePhysicalDriveFallsBackOnTheSmartCodes) {
    AtaPath path(drive("smartIoctl"));
    for (const Operation operation : {identify, readData, readThresholds, enable}) {
        EXPECT_TRUE(path.ask(operation));
        EXPECT_EQ(path.trace.at(0), path.trace.at(1) + L" (ATA_PASS_THROUGH)");
        ASSERT_EQ(4U, path.record().size());
        EXPECT_THAT(path.record()[1], StartsWith("PhysicalDrive0 0x4d02c "));
        EXPECT_THAT(path.record()[3], StartsWith("PhysicalDrive0 0x7c08"));
    }
    path.machine->requests().plan({"openDevice", 0, platform::kAccessDenied, 0});
    EXPECT_FALSE(path.ask(identify));
    EXPECT_THAT(path.trace, ElementsAre(L"SendAtaCommandPd - IDENTIFY_DEVICE (ATA_PASS_THROUGH)"));
    EXPECT_EQ(platform::kAccessDenied, path.engine->probeFailure());
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

TEST(DiskAtaPathsTest, OnlyAWholeBlockIsKept) {
    const auto length = [](int bytes) { return fmt::format(R"("bytes": {})", bytes); };
    const std::string noFirstByte = R"("data": "00)" + block(2, 511) + '"';
    const std::tuple<std::uint32_t, const char*, std::string, bool> cases[] = {
        {1, "smartIoctl", length(527), false},     {1, "smartIoctl", length(528), true},
        {1, "smartIoctl", length(529), false},     {1, "ataPassThrough", length(555), false},
        {1, "ataPassThrough", length(556), true},  {2, "scsiDisk", length(555), false},
        {2, "scsiDisk", length(557), true},        {2, "scsiDisk", length(558), false},
        {2, "scsiDisk", R"("error": 1117)", false}};
    for (const Operation operation : {identify, readData, readThresholds}) {
        for (const auto& [type, name, answer, kept] : cases) {
            SCOPED_TRACE(fmt::format("{} {} {}", name, static_cast<int>(operation), answer));
            AtaPath path(answering(name, answer), type);
            EXPECT_EQ(kept, path.ask(operation));
            if (!kept) {
                EXPECT_THAT(path.blockOf(operation), Each(type == 1 && operation == identify ? 0 : kKept));
            }
        }
        AtaPath empty(answering("scsiDisk", noFirstByte), 2);
        EXPECT_EQ(operation == readData, empty.ask(operation));
    }
    AtaPath shortRoom(drive("scsiDisk"));
    EXPECT_FALSE(shortRoom.engine->DoIdentifyDevicePd(0, 0xA0, std::span(shortRoom.asi.Identify, 511)));
    EXPECT_FALSE(shortRoom.engine->DoIdentifyDeviceScsi(2, 3, std::span(shortRoom.asi.Identify, 511)));
    EXPECT_THAT(shortRoom.record(), IsEmpty());
}

TEST(DiskAtaPathsTest, OneCommandOfAnySize) {
    AtaPath path(drive("ataPassThrough idePassThrough"));
    std::array<std::uint8_t, 513> data{};
    const auto send = [&](std::uint8_t command, std::size_t bytes) {
        path.machine->requests().clearRecord();
        return path.engine->SendAtaCommandPd(0, 0xA0, command, 0xD0, 7, std::span(data).first(bytes));
    };
    EXPECT_FALSE(send(0xEC, 513));
    EXPECT_THAT(path.record(), IsEmpty());
    path.engine->FlagAtaPassThroughSmart = 0; // is no matter of this one
    EXPECT_TRUE(send(0xEC, 512));
    EXPECT_EQ("PhysicalDrive0 0x4d02c 556 556: 0=28 2=02 9=02 12=02 20=2c 32=d007 37=a0ec 44=cf",
              path.record().back());
    path.engine->FlagAtaPassThrough = 0;
    EXPECT_FALSE(send(0xEC, 513));
    EXPECT_TRUE(send(0xEC, 512));
    EXPECT_THAT(path.record(), ElementsAre(kOpenDrive, "PhysicalDrive0 0x4d028 524 524: 0=d007 5=a0ec 9=02"));
    EXPECT_EQ(1, data[511]);
    EXPECT_EQ(0, data[512]);
}

const std::string kSiliconImage =
    " 0x4d008 564 564: 0=1c 4=434d445f4944452005 16=082004 20=ffffffff1802 28=01 30=01";

TEST(DiskAtaPathsTest, SiliconImageByItsPortOrItsName) {
    const auto ask = [](AtaPath& path, std::int32_t type) {
        path.machine->requests().clearRecord();
        return path.engine->DoIdentifyDeviceSi(2, 1, type, path.asi.Identify);
    };
    AtaPath port(drive("siliconImage"));
    EXPECT_TRUE(ask(port, 3112));
    EXPECT_THAT(port.record(), ElementsAre(kOpenPort, "Scsi2:" + kSiliconImage));
    EXPECT_THAT(port.blockOf(identify), Each(1));

    const std::string address = R"({"port": 9, "device": "\\Device\\Scsi\\SI31121", "path": 1})";
    AtaPath named(
        fmt::format(R"({{"scsiAddress": {}, "paths": ["siliconImage"], {}}})", address, ataBlocks()));
    EXPECT_TRUE(ask(named, 3512));
    EXPECT_THAT(named.record(),
                ElementsAre(kOpenPort, R"(defineDosDevice tempBusSil3112 \Device\Scsi\SI31121)",
                            R"(openDevice \\.\tempBusSil3112 attributes 0x0)",
                            "tempBusSil3112" + kSiliconImage));
    EXPECT_FALSE(ask(named, 3132));
    named.machine->requests().plan({"defineDosDevice", 0, platform::kAccessDenied, 0});
    EXPECT_FALSE(ask(named, 3112));
    EXPECT_EQ(2U, named.record().size()) << "nothing to open";
    EXPECT_EQ(platform::kAccessDenied, named.engine->probeFailure());

    AtaPath wrong(answering("siliconImage", R"("bytes": 563)"));
    EXPECT_FALSE(ask(wrong, 3112));
    EXPECT_THAT(wrong.blockOf(identify), Each(kKept));
}

TEST(DiskAtaPathsTest, SiliconImageSmartComesFromThePrediction) {
    const std::string services =
                          R"("pnpDeviceId": "IDE\\D", "failurePredict": {"data": ")" + block(4) + R"("})",
                      shortAnswer = R"(, "answers": [{"path": "predictFailure", "bytes": 515}])";
    AtaPath path(drive("predictFailure", services));
    path.asi.PnpDeviceId = L"IDE\\D";
    EXPECT_TRUE(path.engine->GetSmartAttributeSi(0, path.asi));
    EXPECT_THAT(path.record(), ElementsAre(kOpenDrive, "PhysicalDrive0 0x2d1100 516 0:"));
    EXPECT_THAT(path.blockOf(readData), Each(2));
    AtaPath fallen(drive("predictFailure", services + shortAnswer));
    EXPECT_FALSE(fallen.engine->GetSmartAttributeSi(0, fallen.asi)) << "without an id there is no other way";
    EXPECT_THAT(fallen.blockOf(readData), Each(kKept));
    fallen.asi.PnpDeviceId = L"IDE\\D";
    EXPECT_TRUE(fallen.engine->GetSmartAttributeSi(7, fallen.asi)) << "a drive that does not open";
    EXPECT_THAT(fallen.blockOf(readData), Each(4));
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
    // clang-format off
    AtaPath path("", 14, 0xA0, management(
        row(R"(X\\IDE\\D_0)", blockColumn(9)) + "," + row("IDE", blockColumn(9)) + R"(, {"VendorSpecific": )" + blockColumn(9) + R"(}, {"InstanceName": "ide\\d_0"},)" +
        row(R"(ide\\d_0)", R"("text")") + "," + row(R"(ide\\d_0)", R"({"type": 1})") + "," + row(R"(ide\\d_0)", blockColumn(9, 511)) + "," +
        row(R"(ide\\d_0)", R"({"bytes": ")" + block(2) + R"(09"})") + "," + row(R"(IDE\\D_1)", blockColumn(9))));
    // clang-format on
    EXPECT_FALSE(path.engine->GetSmartAttributeWmi(path.asi)) << "no id";
    path.asi.PnpDeviceId = L"IDE\\D";
    path.machine->requests().clearRecord();
    EXPECT_TRUE(path.engine->GetSmartAttributeWmi(path.asi));
    EXPECT_EQ(8, std::ranges::count(path.machine->requests().record(), "nextRow"))
        << "up to the row that has the block";
    EXPECT_THAT(path.blockOf(readData), Each(2));
    EXPECT_TRUE(path.engine->GetSmartThresholdWmi(path.asi));
    EXPECT_EQ(3, path.asi.SmartReadThreshold[1]);
    EXPECT_EQ(2, path.asi.Threshold[29].ThresholdValue);
    path.asi.PnpDeviceId = L"IDE\\E";
    EXPECT_FALSE(path.engine->GetSmartAttributeWmi(path.asi)) << "the end of the rows";
}

TEST(DiskManagementSmartTest, AFailureOfAnyStepIsAPathWithoutData) {
    AtaPath path("", 14, 0xA0, management(row(R"(IDE\\D_0)", blockColumn(2))));
    path.asi.PnpDeviceId = L"IDE\\D";
    for (const char* step :
         {"createLocator", "connectServer", "setProxyBlanket", "execQuery", "nextRow", "getColumn"}) {
        path.machine->requests().plan({step, 0, 0x80041001, 0});
        EXPECT_FALSE(path.engine->GetSmartAttributeWmi(path.asi)) << step;
        EXPECT_FALSE(path.engine->GetSmartThresholdWmi(path.asi)) << step;
        path.machine->requests().clearFaults();
    }
}

// ---- Bridges

/// A described drive knows its bridge's blocks and answers no others, so they need not stand here again.
TEST(DiskBridgeTest, EachSendsItsOwnCommandBlocks) {
    // clang-format off
    const std::array<std::string, 4> sat = {
        "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080e 32=01 36=a0ec", "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080ed001014fc2a0b0",
        "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080ed101014fc2a0b0", "PhysicalDrive0 0x4d004 80 44: 0=2c 6=0c1801 16=02 20=50 24=30 28=a1060ed8 33=014fc2a0b0"};
    // clang-format on
    const char* const bridges[] = {"sat",      "sunplus", "ioData",  "logitec",
                                   "prolific", "jmicron", "cypress", "asm1352r"};
    for (std::uint32_t type = CMD_TYPE_SAT; const char* bridge : bridges) {
        for (const int target : {0xA0, 0xB0}) {
            SCOPED_TRACE(fmt::format("{} {}", bridge, target));
            AtaPath path(drive(bridge, fmt::format(R"("smartEnabled": false, "target": {})", target)), type,
                         static_cast<std::uint8_t>(target));
            expectCommands(path, kOpenDrive,
                           type == CMD_TYPE_SAT && target == 0xA0 ? sat : std::array<std::string, 4>{});
        }
        ++type;
    }
}

TEST(DiskBridgeTest, OnlyAWholeBlockWithSomethingInItIsKept) {
    // Two bytes of 80h have a sum of 0 only by modulo.
    // clang-format off
    const std::tuple<Operation, const char*, bool> cases[] = {
        {identify, R"("bytes": 591)", false}, {identify, R"("bytes": 592)", true}, {readData, R"("bytes": 593)", false}, {readThresholds, R"("bytes": 591)", false},
        {readData, R"("hang": true)", false}, {identify, R"("data": "00")", false}, {identify, R"("data": "80 80")", true}, {readData, R"("data": "00")", false},
        {readThresholds, R"("data": "00")", true}};
    // clang-format on
    for (const auto& [operation, answer, kept] : cases) {
        AtaPath path(answering("sat", answer), CMD_TYPE_SAT);
        const bool told = path.ask(operation);
        EXPECT_EQ(kept && path.asi.AttributeCount > 0, told) << answer;
        EXPECT_EQ(kept, path.blockOf(operation)[511] != kKept) << answer;
    }
}

TEST(DiskBridgeTest, ARefusalThatCallsItselfASuccess) {
    AtaPath path(drive("sunplus", R"("rejection": "checkCondition")"), CMD_TYPE_SAT);
    EXPECT_FALSE(path.ask(identify));
    EXPECT_EQ(L"bRet == FALSE || dwReturned != length / Error Coce: 00000000", path.trace.back());
    EXPECT_FALSE(path.ask(readData));
    EXPECT_FALSE(path.ask(readThresholds));
    EXPECT_TRUE(path.ask(enable)) << "only the call counts";
    AtaPath silent(answering("sat", R"("bytes": 0)"), CMD_TYPE_SAT);
    EXPECT_TRUE(silent.ask(enable)) << "an answer without data has no length";
}

TEST(DiskBridgeTest, IdentifyTellsWhyItFailed) {
    AtaPath path(answering("jmicron", R"("data": "00")"));
    std::uint8_t data[kIdentifyBytes] = {};
    EXPECT_FALSE(path.engine->DoIdentifyDeviceSat(0, 0xB0, std::span(data, 511), CMD_TYPE_JMICRON));
    EXPECT_THAT(path.trace, ElementsAre(L"DoIdentifyDeviceSat pd=0, tt=176, ct=9", L"data == NULL"));
    EXPECT_FALSE(path.engine->DoIdentifyDeviceSat(0, 0xA0, data, CMD_TYPE_SCSI_MINIPORT));
    EXPECT_EQ(L"COMMAND_TYPE_UNKNOWN", path.trace.back());
    EXPECT_FALSE(path.engine->DoIdentifyDeviceSat(0, 0xA0, data, CMD_TYPE_JMICRON));
    EXPECT_EQ(L"count=0", path.trace.back());
}

} // namespace
} // namespace orv::test
