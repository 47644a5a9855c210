#include "support/DriveControls.h"

#include <gmock/gmock.h>

namespace orv::platform::drives {
namespace {

struct PathCase {
    const char* paths;
    Control control;
    const char* expected;
};

TEST(MachineDrivePathsTest, EachPathAnswersItsOwnBlocks) {
    const PathCase cases[] = {
        {"ataPassThrough", ata(0xEC, 0), "556 bytes of 1"},
        {"ataPassThrough", ata(0xB0, 0xD0), "556 bytes of 2"},
        {"ataPassThrough", ata(0xB0, 0xD1), "556 bytes of 3"},
        {"ataPassThrough", ata(0xB0, 0xD8, 0xA0, 0), "44 bytes"},
        {"ataPassThrough", ata(0xEC, 0, 0xB0), "error 1117"},
        {"ataPassThrough", ide(0xEC, 0), "error 1"},
        {"ataPassThrough", smart(0xEC, 0), "error 1"},
        {"ataPassThrough", scsi("A1 08 0E 00 01 00 00 00 A0 EC 00 00", 512), "error 1117"},
        {"idePassThrough", ide(0xEC, 0), "524 bytes of 1"},
        {"idePassThrough", ata(0xEC, 0), "error 1"},
        {"smartIoctl", smart(0xEC, 0), "528 bytes of 1"},
        {"smartIoctl", smart(0xB0, 0xD1), "528 bytes of 3"},
        {"scsiDisk", scsiDisk(0x1B0501, 0xEC, 0), "557 bytes of 1"},
        {"scsiDisk", scsiDisk(0x1B0503, 0xB0, 0xD1), "557 bytes of 3"},
        {"scsiDisk", scsiDisk(0x1B0501, 0xEC, 0, 4), "error 1117"},
        {"scsiDisk", siliconImage(1), "error 1"},
        {"siliconImage", siliconImage(1), "564 bytes of 1"},
        {"siliconImage", siliconImage(0), "error 1117"},
        {"predictFailure", {kDrive, IOCTL_STORAGE_PREDICT_FAILURE, {}, 516, 4}, "516 bytes of 2"},
        {"sat", {kDrive, IOCTL_STORAGE_PREDICT_FAILURE, {}, 516, 4}, "error 1"},
        {"storageQuery", query(1, 0, 1), "4144 bytes of 5"},
        {"storageQuery", query(1, 1, 0), "4144 bytes of 1"},
        {"storageQuery", query(2, 2, 0), "4144 bytes of 4"},
        {"nvmeMini", nvme("NvmeMini", kNamespace), "4248 bytes of 5"},
        {"nvmeMini", nvme("NvmeMini", kController), "4248 bytes of 1"},
        {"nvmeMini", nvme("NvmeMini", {2, 0xFFFFFFFF, 2}), "4248 bytes of 4"},
        {"nvmeMini", nvme("NvmeRAID", kController), "error 1"},
        {"nvmeRaid", nvme("NvmeRAID", kHealth), "4248 bytes of 4"},
        {"nvmeRaid", nvme("NvmeRAID", kHealth, 0x86010400), "error 1117"},
        {"intelNvm", intel(kNamespace), "4260 bytes of 5"},
        {"intelNvm", intel(kHealth, 2), "error 1117"},
    };
    for (const PathCase& test : cases) {
        const auto machine = machineOf(drive(test.paths));
        EXPECT_EQ(test.expected, outcome(send(*machine, test.control), test.control))
            << test.paths << " " << &test - cases;
    }
}

TEST(MachineDrivePathsTest, BridgesUnderstandTheirOwnDialect) {
    struct Dialect {
        const char* path;
        std::array<const char*, 4> commands; // identify, data, thresholds, enable
    };
    constexpr Dialect dialects[] = {
        {"sat",
         {"A1 08 0E 00 01 00 00 00 A0 EC 00 00", "A1 08 0E D0 01 01 4F C2 A0 B0 00 00",
          "A1 08 0E D1 01 01 4F C2 A0 B0 00 00", "A1 06 0E D8 00 01 4F C2 A0 B0 00 00"}},
        {"asm1352r",
         {"A1 1C 0E 00 01 00 00 00 A0 EC 00 00", "A1 1C 0E D0 01 01 4F C2 A0 B0 00 00",
          "A1 1C 0E D1 01 01 4F C2 A0 B0 00 00", "A1 1C 0E D8 00 01 4F C2 A0 B0 00 00"}},
        {"logitec",
         {"E0 00 00 00 00 00 00 A0 EC 4C", "E0 00 D0 00 00 4F C2 A0 B0 4C", "E0 00 D1 00 00 4F C2 A0 B0 4C",
          "E0 00 D8 00 00 4F C2 A0 B0 4C"}},
    };
    for (const Dialect& own : dialects) {
        const auto machine = machineOf(drive(own.path, R"("smartEnabled": false)"));
        const auto told = [&](const Dialect& dialect, std::size_t command) {
            const Control control = scsi(dialect.commands[command], command == 3 ? 0 : 512);
            return outcome(send(*machine, control), control);
        };
        EXPECT_EQ("error 1117", told(own, 1)) << own.path << ": SMART is not enabled";
        EXPECT_EQ("80 bytes", told(own, 3)) << own.path;
        EXPECT_EQ("592 bytes of 1", told(own, 0)) << own.path;
        EXPECT_EQ("592 bytes of 2", told(own, 1)) << own.path;
        EXPECT_EQ("592 bytes of 3", told(own, 2)) << own.path;
        for (const Dialect& other : dialects) {
            if (&other == &own) continue;
            for (std::size_t command = 0; command < other.commands.size(); ++command)
                EXPECT_EQ("error 1117", told(other, command)) << own.path << " by " << other.path;
        }
    }
}

TEST(MachineDrivePathsTest, NvmeBridgesAnswerCommandsAndPairs) {
    const auto asmedia = machineOf(drive("asmediaNvme"));
    EXPECT_EQ(1U, send(*asmedia, scsi("E6 06 00 01 00 00 00 00 00 00 00 00 00 00 00 00", 4096)).at(80));
    EXPECT_EQ(4U, send(*asmedia, scsi("E6 02 00 02 00 00 00 7F 00 00 00 00 00 00 00 00", 512)).at(80));
    const auto realtek = machineOf(drive("realtekNvme"));
    EXPECT_EQ(1U, send(*realtek, scsi("E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00", 4096)).at(80));
    EXPECT_EQ(kIoDevice, send(*realtek, scsi("E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00", 512)).error);

    const auto samsung = machineOf(drive("samsung"));
    const Control back = scsi("A2 FE 00 06 00 00 00 00 01 00 00 00 00 00 00 00", 512);
    const Control out =
        scsi("B5 FE 00 06 00 00 00 00 00 40 00 00 00 00 00 00", 512, 0, "02 00 00 00 FF FF FF FF");
    EXPECT_EQ(kIoDevice, send(*samsung, back).error) << "nothing was asked for";
    EXPECT_EQ(kSuccess, send(*samsung, out).error);
    EXPECT_EQ("592 bytes of 4", outcome(send(*samsung, back), back));
    EXPECT_EQ(kIoDevice, send(*samsung, back).error) << "a request is answered once";

    std::string ask = "4E 56 4D 45 00 00 00 00 06";
    for (int i = 9; i < 48; ++i)
        ask += " 00";
    ask += " 01";
    const auto identifyBy = [&](const char* path, std::uint32_t bytes) {
        const auto machine = machineOf(drive(path));
        const Control answer = scsi("A1 82 00 00 02 00 00 00 00 00 00 00", bytes);
        send(*machine, scsi("A1 80 00 00 02 00 00 00 00 00 00 00", bytes, 0, ask));
        return outcome(send(*machine, answer), answer);
    };
    EXPECT_EQ("4176 bytes of 1", identifyBy("jmicronNvme", 4096));
    EXPECT_EQ("error 1117", identifyBy("jmicronNvme", 512));
    EXPECT_EQ("592 bytes of 1", identifyBy("jmicronNvmeUsb2", 512));
    EXPECT_EQ("error 1117", identifyBy("jmicronNvmeUsb2", 4096));
}

} // namespace
} // namespace orv::platform::drives
