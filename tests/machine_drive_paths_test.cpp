#include "support/DriveControls.h"

#include <gmock/gmock.h>

namespace orv::platform::drives {
namespace {

TEST(MachineDrivePathsTest, NvmeBridgesAnswerWhatWasAskedForOnce) {
    const auto realtek = machineOf(drive("realtekNvme"));
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
