// What only the Linux side has: captured trees, memory that stays.

#include "linux/CapturedTree.h"
#include "orvane/hwprobe.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

#include <malloc.h>

namespace orv::test {
namespace {

constexpr char kDevHead[] = "Inter-|   Receive                     |  Transmit\n"
                            " face |bytes    packets errs drop fifo frame compressed multicast|bytes\n";

std::string devLine(const std::string& name, const std::string& in, const std::string& out) {
    return "  " + name + ":" + in + " 1 0 0 0 0 0 0 " + out + " 1 0 0 0 0 0 0\n";
}

TEST(LinuxNetwork, InterfacesAreNamedAsAPersonKnowsThem) {
    Tree tree;
    tree.file("proc/net/dev", kDevHead + devLine("lo", " 10", "10") + devLine("eth0", "4294967300", "7") +
                                  devLine("eth1", " 1", "2") + devLine("br0", " 8", "9"));
    tree.file("proc/net/route", "Iface\tDestination\tGateway\neth0\t00000000\t0101A8C0\n");
    tree.file("usr/share/misc/pci.ids",
              "# ids\n1af4  Other\n\t15f2  Wrong\n8086  ACME Inc.\n\t15f2  Gigabit Port\n"
              "\t\t8086 0001  Sub\nffff  End\n");
    tree.file("sys/class/net/lo/type", "772\n");
    for (const std::string port : {"0", "1"}) {
        const std::string device = "sys/devices/pci0000:00/0000:00:0" + port + ".0";
        tree.file(device + "/vendor", "0x8086\n");
        tree.file(device + "/device", "0x15f2\n");
        tree.link(device + "/subsystem", "../../../bus/pci");
        tree.link("sys/class/net/eth" + port + "/device", "../../../../" + device);
    }
    tree.file("sys/class/net/br0/uevent", "DEVTYPE=bridge\nINTERFACE=br0\n");

    platform::LinuxPlatform system(tree.root());
    std::vector<std::string> names;
    const auto adapters = system.networkTables().adapters();
    ASSERT_TRUE(adapters.ok());
    for (const auto& adapter : adapters.value)
        names.push_back(adapter.description);
    EXPECT_THAT(names,
                ::testing::ElementsAre("ACME Inc. Gigabit Port", "ACME Inc. Gigabit Port #2", "bridge br0"));
    EXPECT_EQ("192.168.1.1", adapters.value[0].gateway);
    EXPECT_EQ("0.0.0.0", adapters.value[1].gateway);

    std::vector<platform::InterfaceRow> rows;
    ASSERT_EQ(platform::kSuccess, system.networkTables().interfaceRows(rows));
    ASSERT_EQ(4u, rows.size());
    EXPECT_EQ("virtual lo", rows[0].description);
    EXPECT_EQ(4u, rows[1].inOctets) << "the low half of a 64-bit counter";
    EXPECT_EQ(7u, rows[1].outOctets);
}

TEST(LinuxMemory, ReadsMeminfoAndRefusesWhatIsNone) {
    Tree tree;
    const auto read = [&] { return platform::LinuxPlatform(tree.root()).systemFacts().memoryStatus(); };
    EXPECT_EQ(platform::kFileNotFound, read().error);
    tree.file("proc/meminfo", "MemTotal: lots\n");
    EXPECT_EQ(platform::kInvalidData, read().error);
    tree.file("proc/meminfo", "MemTotal:  1000 kB\nMemFree:  1 kB\nMemAvailable:   250 kB\n"
                              "CommitLimit: 400 kB\nCommitted_AS: 500 kB\n");
    const auto answer = read();
    ASSERT_TRUE(answer.ok());
    EXPECT_EQ(75u, answer.value.loadPercent);
    EXPECT_EQ(1000u * 1024, answer.value.totalPhys);
    EXPECT_EQ(0u, answer.value.availPageFile) << "more promised than the limit";
}

TEST(LinuxPolling, TenThousandPollsLeaveMemoryWhereItWas) {
    const auto host = platform::makeHostPlatform();
    InUse inUse(*host);
    const auto poll = [](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_NE(-1, getMemoryLoad());
            ASSERT_NE('{', getNetCurrentSpeed()[0]);
        }
    };
    poll(500);
    const std::size_t used = ::mallinfo2().uordblks;
    poll(10000);
    // A sanitizer's allocator counts nothing there, and finds leaks by itself.
    EXPECT_LT(::mallinfo2().uordblks, used + (1u << 20)) << "a megabyte over twenty thousand calls is a leak";
}

} // namespace
} // namespace orv::test
