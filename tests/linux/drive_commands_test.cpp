// The commands that a Linux kernel gets for a drive's requests, and how it tells their end.

#include "linux/RequestBlocks.h"
#include "platform/linux/NvmeAdmin.h"
#include "platform/linux/ScsiGeneric.h"
#include "platform/records/NvmeRecords.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace orv::test {
namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its services
using ::testing::ElementsAre;

DriveRequest ataRequest(const IDEREGS& registers, std::size_t bytes, std::uint32_t seconds = 0) {
    DriveRequest request;
    request.path = DrivePath::ataPassThrough;
    request.ata = registers;
    request.dataBytes = bytes;
    request.timeOutSeconds = seconds;
    return request;
}

TEST(LinuxDrives, CommandBlocksThatTheKernelGets) {
    const auto identify = scsiCommandOf(ataRequest({0, 0, 0, 0, 0, 0xA0, 0xEC, 0}, 512));
    EXPECT_THAT(identify.cdb, ElementsAre(0x85, 8, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xA0, 0xEC, 0));
    EXPECT_EQ(60'000U, identify.milliseconds); // outlasts a spin-up
    const auto smart = scsiCommandOf(ataRequest({0xD0, 1, 2, 0x4F, 0xC2, 0xB0, 0xB0, 0}, 513, 7));
    EXPECT_THAT(smart.cdb, ElementsAre(0x85, 8, 0x0E, 0, 0xD0, 0, 2, 0, 2, 0, 0x4F, 0, 0xC2, 0xB0, 0xB0, 0));
    EXPECT_EQ(1024U, smart.dataBytes); // whole sectors
    EXPECT_EQ(7000U, smart.milliseconds);
    const auto enable = scsiCommandOf(ataRequest({0xD8, 1, 1, 0x4F, 0xC2, 0xA0, 0xB0, 0}, 0));
    EXPECT_THAT(enable.cdb, ElementsAre(0x85, 6, 0, 0, 0xD8, 0, 1, 0, 1, 0, 0x4F, 0, 0xC2, 0xA0, 0xB0, 0));
    EXPECT_EQ(DataWay::none, enable.way);

    DriveRequest bridge;
    bridge.path = DrivePath::scsiPassThrough;
    for (std::uint8_t at = 0; at < 16; ++at)
        bridge.cdb[at] = static_cast<std::uint8_t>(0xA1 + at);
    bridge.cdbLength = 12;
    bridge.timeOutSeconds = 0xFFFFFFFF;
    bridge.dataBytes = 4096;
    bridge.toDevice = true;
    const auto asGiven = scsiCommandOf(bridge);
    EXPECT_EQ(bridge.cdb, asGiven.cdb);
    EXPECT_EQ(DataWay::toDevice, asGiven.way);
    EXPECT_EQ(600'000U, asGiven.milliseconds);
}

TEST(LinuxDrives, HowACommandEnded) {
    const auto registers = [](std::uint8_t key, std::uint8_t status) {
        return Bytes{0x72, key, 0, 0, 0, 0, 0, 18, 2, 2, 0, 0, 9,
                     12,   0,   4, 0, 0, 0, 0, 0,  0, 0, 0, 0, status};
    };
    const Bytes whole = registers(1, 0x51);
    Bytes second = blockOf(12, {{0, 0x72}, {1, 1}, {9, 2}}); // after a descriptor of another kind
    second.insert(second.end(), whole.begin() + 8, whole.end());
    const Bytes cut(whole.begin(), whole.begin() + 13);
    const Bytes fixed = blockOf(18, {{0, 0x70}, {2, 1}, {4, 0x51}, {13, 0x1D}});
    const struct {
        const char* what;
        ScsiOutcome outcome;
        ErrorCode ata;
        ErrorCode scsi;
    } cases[] = {
        {"illegal request", {2, 0, 8, 0, {0x70, 0, 5}}, kIoDevice, kSuccess},
        {"registers that tell success", {2, 0, 8, 0, registers(1, 0x50)}, kSuccess, kSuccess},
        {"a descriptor that is cut", {2, 0, 8, 0, cut}, kSuccess, kSuccess},
        {"registers in the fixed format", {2, 0, 8, 0, fixed}, kIoDevice, kIoDevice},
        {"registers in the second descriptor", {2, 0, 8, 0, second}, kIoDevice, kIoDevice},
        {"no answer in time", {0, 3, 0, 0, {}}, kTimedOut, kTimedOut},
        {"no answer in time, by an older kernel", {0, 0, 6, 0, {}}, kTimedOut, kTimedOut},
        {"no connection", {0, 1, 0, 0, {}}, kIoDevice, kIoDevice},
        {"aborted", {2, 0, 8, 0, registers(0x0B, 0x50)}, kIoDevice, kSuccess},
    };
    EXPECT_FALSE(tellsAtaError(std::span(whole).first(25))); // nothing past the end
    EXPECT_EQ(0U, dataOf({2, 0, 8, 512, {0x70, 0, 5}}));     // whatever the host says
    EXPECT_EQ(512U, dataOf({2, 0, 8, 512, registers(1, 0x50)}));
    EXPECT_EQ(300U, dataOf({0, 0, 0, 300, {}}));
    DriveRequest bridge;
    bridge.path = DrivePath::scsiPassThrough;
    for (const auto& test : cases) {
        EXPECT_EQ(test.ata, errorOf(ataRequest({}, 512), test.outcome)) << test.what;
        EXPECT_EQ(test.scsi, errorOf(bridge, test.outcome)) << test.what;
    }

    // A command block's answer tells the end of its command, a task file's has no place for it.
    bridge.dataAt = 60;
    bridge.dataBytes = 8;
    bridge.senseAt = 44;
    bridge.senseBytes = 3;
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8};
    Bytes in(68), out(68);
    const auto written = [&](const DriveRequest& request, const ScsiOutcome& outcome) {
        const auto answer = writeScsiAnswer(request, outcome, std::as_bytes(std::span(in)), data,
                                            std::as_writable_bytes(std::span(out)));
        return std::pair(answer.error, answer.value);
    };
    EXPECT_THAT(written(bridge, {2, 0, 8, 8, {0x70, 0, 5, 9}}), testing::Pair(kSuccess, 60U));
    const Bytes refused = blockOf(68, {{2, 2}, {7, 3}, {44, 0x70}, {46, 5}});
    EXPECT_EQ(refused, out);
    EXPECT_THAT(written(bridge, {0, 0, 0, 5, {}}), testing::Pair(kSuccess, 65U));
    EXPECT_EQ(blockOf(68, {{12, 5}, {60, 1}, {61, 2}, {62, 3}, {63, 4}, {64, 5}}), out);
    EXPECT_EQ(kTimedOut, written(bridge, {0, 3, 0, 0, {}}).first);
}

TEST(LinuxDrives, NvmeCommandsThatTheKernelGets) {
    const struct {
        DrivePath path;
        std::uint8_t opcode;
        std::uint32_t space, dword10;
        std::size_t room;
        std::uint32_t sent10, bytes;
        ErrorCode error;
    } cases[] = {
        {DrivePath::storageQuery, 6, 1, 0, 4096, 0, 4096, kSuccess},
        {DrivePath::storageQuery, 2, 0xFFFFFFFF, 2, 4096, 0x007F0002, 512, kSuccess},
        {DrivePath::nvmeMini, 2, 0xFFFFFFFF, 2, 4096, 2, 4, kSuccess}, // as the block says
        {DrivePath::intelNvm, 6, 0, 1, 512, 0, 0, kInvalidParameter},  // the drive would write past the room
        {DrivePath::nvmeRaid, 2, 0, 0x04000002, 4096, 0, 0, kInvalidParameter},
        {DrivePath::nvmeMini, 0x80, 1, 0, 4096, 0, 0, kInvalidFunction}, // Format NVM
    };
    DriveRequest without;
    without.nvmeOpcode = kNvmeIdentify;
    without.dataBytes = 4096;
    EXPECT_EQ(0U, nvmeCommandOf(without).value.timeout_ms); // the kernel's own

    // Of a log page the sub-value is no namespace, and no drive has a health page of namespace 0.
    const auto spaceOf = [](int type, int value,
                            std::initializer_list<std::pair<std::size_t, int>> subValue) {
        Bytes block = blockOf(4144, {{0, 49}, {8, 3}, {12, type}, {16, value}, {24, 40}, {29, 0x10}});
        for (const auto& [at, byte] : subValue)
            block[at] = static_cast<std::uint8_t>(byte);
        const auto request =
            readDriveRequest(IOCTL_STORAGE_QUERY_PROPERTY, std::as_bytes(std::span(block)), 4144);
        return request ? nvmeCommandOf(*request).value.nsid : 77;
    };
    EXPECT_THAT((std::vector{spaceOf(2, 2, {}), spaceOf(2, 2, {{20, 255}, {21, 255}, {22, 255}, {23, 255}}),
                             spaceOf(2, 2, {{20, 8}}), spaceOf(1, 0, {{20, 1}}), spaceOf(1, 1, {})}),
                ElementsAre(kNvmeAllNamespaces, kNvmeAllNamespaces, 77, 1, 0));

    EXPECT_THAT((std::vector{nvmeErrorOf(0, EIO), nvmeErrorOf(0x400B, 0), nvmeErrorOf(-1, EACCES),
                             nvmeErrorOf(-1, EINTR), nvmeErrorOf(0x4371, 0)}),
                ElementsAre(kSuccess, kIoDevice, kAccessDenied, kTimedOut, kTimedOut));
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        DriveRequest request;
        request.path = test.path;
        request.nvmeOpcode = test.opcode;
        request.namespaceId = test.space;
        request.commandDword10 = test.dword10;
        request.commandDword11 = 0;
        request.dataBytes = test.room;
        request.timeOutSeconds = 40;
        const auto command = nvmeCommandOf(request);
        EXPECT_EQ(test.error, command.error);
        if (!command.ok()) continue;
        const auto& sent = command.value;
        EXPECT_THAT((std::array<std::uint32_t, 5>{sent.opcode, sent.nsid, sent.cdw10, sent.data_len,
                                                  sent.timeout_ms}),
                    ElementsAre(test.opcode, test.space, test.sent10, test.bytes, 40'000));
    }
}

} // namespace
} // namespace orv::test
