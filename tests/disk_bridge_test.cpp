#include "support/AtaPaths.h"

namespace orv::test {
namespace {

using testing::ElementsAre;

/// A described drive knows its bridge's blocks and answers no others, so they need not stand here again.
TEST(DiskBridgeTest, EachSendsItsOwnCommandBlocks) {
    const std::array<std::string, 4> sat = {
        "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080e 32=01 36=a0ec",
        "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080ed001014fc2a0b0",
        "PhysicalDrive0 0x4d004 592 44: 0=2c 6=0c1801 13=02 16=02 20=50 24=30 28=a1080ed101014fc2a0b0",
        "PhysicalDrive0 0x4d004 80 44: 0=2c 6=0c1801 16=02 20=50 24=30 28=a1060ed8 33=014fc2a0b0"};
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
    struct Case {
        Operation operation;
        std::string answer;
        bool kept;
    };
    const Case cases[] = {
        {identify, R"("bytes": 591)", false},
        {identify, R"("bytes": 592)", true},
        {readData, R"("bytes": 593)", false},
        {readThresholds, R"("bytes": 591)", false},
        {identify, R"("data": "00")", false},
        {identify, R"("data": "80 80")", true}, // a sum of 0 only by modulo
        {readData, R"("data": "00")", false},
        {readThresholds, R"("data": "00")", true},
        {readData, R"("hang": true)", false},
    };
    for (const Case& test : cases) {
        AtaPath path(answering("sat", test.answer), CMD_TYPE_SAT);
        SCOPED_TRACE(fmt::format("{} {}", static_cast<int>(test.operation), test.answer));
        const bool told = path.ask(test.operation);
        EXPECT_EQ(test.kept && path.asi.AttributeCount > 0, told);
        EXPECT_EQ(test.kept, path.blockOf(test.operation)[511] != kKept);
    }
}

TEST(DiskBridgeTest, ARefusalThatCallsItselfASuccess) {
    AtaPath path(drive("sunplus", R"("rejection": "checkCondition")"), CMD_TYPE_SAT);
    EXPECT_FALSE(path.ask(identify));
    EXPECT_EQ(L"bRet == FALSE || dwReturned != length / Error Coce: 00000000", path.traces.back());
    EXPECT_FALSE(path.ask(readData));
    EXPECT_FALSE(path.ask(readThresholds));
    EXPECT_TRUE(path.ask(enable)) << "only the call counts";
    AtaPath silent(answering("sat", R"("bytes": 0)"), CMD_TYPE_SAT);
    EXPECT_TRUE(silent.ask(enable)) << "an answer without data has no length";
}

TEST(DiskBridgeTest, IdentifyTellsWhyItFailed) {
    AtaPath path(answering("jmicron", R"("data": "00")"));
    std::uint8_t data[kIdentifyBytes] = {};
    EXPECT_FALSE(path.engine.DoIdentifyDeviceSat(0, 0xB0, std::span(data, 511), CMD_TYPE_JMICRON));
    EXPECT_THAT(path.traces, ElementsAre(L"DoIdentifyDeviceSat pd=0, tt=176, ct=9", L"data == NULL"));
    EXPECT_FALSE(path.engine.DoIdentifyDeviceSat(0, 0xA0, data, CMD_TYPE_SCSI_MINIPORT));
    EXPECT_EQ(L"COMMAND_TYPE_UNKNOWN", path.traces.back());
    EXPECT_FALSE(path.engine.DoIdentifyDeviceSat(0, 0xA0, data, CMD_TYPE_JMICRON));
    EXPECT_EQ(L"count=0", path.traces.back());
}

} // namespace
} // namespace orv::test
