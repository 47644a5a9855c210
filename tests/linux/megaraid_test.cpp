// Requests to a MegaRAID controller as the kernel's driver gets them.

#include "linux/CapturedTree.h"
#include "platform/linux/MegaRaid.h"
#include "platform/records/CsmiRecords.h"

#include <gmock/gmock.h>

#include <cstring>

namespace orv::test {
namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its services

MegaRaidHead headOf(std::uint8_t command, std::uint32_t dataBytes) {
    MegaRaidHead head{};
    kMegaRaidSignature.copy(head.header.Signature, sizeof head.header.Signature);
    head.frame.command = command;
    head.frame.status = 0xFF;
    head.frame.deviceId = 9;
    head.frame.cdbLength = 12;
    head.frame.dataBytes = dataBytes;
    if (command == kMegaRaidFirmware) head.frame.firmwareCommand = kMegaRaidDriveList;
    head.frame.cdb[9] = 0xEC;
    return head;
}

TEST(LinuxMegaRaid, PacketsThatTheDriverGets) {
    std::vector<std::byte> data(512);
    const auto packet = megaRaidPacketOf(headOf(kMegaRaidPassThrough, 512), 7, data).value;
    std::uint8_t bytes[sizeof packet];
    std::memcpy(bytes, &packet, sizeof packet);
    std::vector<std::uint8_t> wanted(sizeof packet);
    for (const auto& [at, value] : std::initializer_list<std::pair<std::size_t, int>>{
             {0, 7},
             {4, 48},
             {8, 1}, // host, place of the scatter list, its entries
             {20, 4},
             {22, 0xFF},
             {24, 9},
             {26, 12},
             {27, 1},
             {36, 16},
             {41, 2},
             {61, 0xEC}})
        wanted[at] = static_cast<std::uint8_t>(value);
    const iovec scatter{data.data(), data.size()};
    std::memcpy(wanted.data() + 148, &scatter, sizeof scatter);
    EXPECT_THAT(bytes, testing::ElementsAreArray(wanted));

    const auto none = megaRaidPacketOf(headOf(kMegaRaidPassThrough, 0), 7, {}).value;
    EXPECT_EQ(0U, none.scatterEntries + none.frame.scatterEntries + none.frame.flags);
    const auto list = megaRaidPacketOf(headOf(kMegaRaidFirmware, 512), 0xFFFF, data).value;
    EXPECT_EQ(40U, list.scatterAt);
    EXPECT_EQ(16, list.frame.flags);
    MegaRaidHead other = headOf(kMegaRaidFirmware, 512);
    other.frame.firmwareCommand = 0x01010000; // would change something
    EXPECT_EQ(kInvalidFunction, megaRaidPacketOf(other, 7, data).error);
    EXPECT_EQ(kInvalidFunction, megaRaidPacketOf(headOf(3, 512), 7, data).error);
    EXPECT_EQ(kInvalidParameter, megaRaidPacketOf(headOf(kMegaRaidFirmware, 512), 0x10000, data).error);
}

TEST(LinuxMegaRaid, WhichHostsTakeARequest) {
    const Tree tree;
    tree.file("sys/class/scsi_host/host0/proc_name", "megaraid_sas\n");
    tree.file("sys/class/scsi_host/host1/proc_name", "ahci\n");
    LinuxPlatform system(tree.root());
    const auto ask = [&](const wchar_t* path, const MegaRaidHead& head, std::size_t room) {
        std::vector<std::byte> block(room);
        std::memcpy(block.data(), &head, std::min(room, sizeof head));
        return system.deviceFiles().open(path, {}).value->control(IOCTL_SCSI_MINIPORT, block, block).error;
    };
    const MegaRaidHead list = headOf(kMegaRaidFirmware, 1024);
    EXPECT_EQ(kFileNotFound, ask(LR"(\\.\Scsi0:)", list, 4284)); // the driver made no node
    tree.file("proc/devices", "Character devices:\n  1 mem\n238 megaraid_sas_ioctl2\n239 megaraid_sas_ioctl\n"
                              "240 megaraid\n\nBlock devices:\n  8 sd\n241 megaraid_sas_ioctl\n");
    EXPECT_EQ("239:0", megaRaidNode(RootedFiles(tree.root())).number);
    tree.file("dev/megaraid_sas_ioctl_node", "a trap");
    EXPECT_EQ(kFileNotFound, ask(LR"(\\.\Scsi0:)", list, 4284));
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi0:)", list, 1211)); // no room
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi1:)", list, 4284));
    MegaRaidHead csmi = list;
    std::memcpy(csmi.header.Signature, CSMI_ALL_SIGNATURE, sizeof csmi.header.Signature);
    EXPECT_EQ(kInvalidFunction, ask(LR"(\\.\Scsi0:)", csmi, 4284));
}

} // namespace
} // namespace orv::test
