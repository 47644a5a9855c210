// Batteries and network cards of captured trees, through the exports.

#include "linux/CapturedTree.h"
#include "orvane/hwprobe.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/servers/BatteryServer.h"
#include "support/TestMachine.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orv::test {
namespace {

constexpr char kSupplies[] = "sys/class/power_supply/";

TEST(LinuxBattery, EnergyAndChargeWithoutTheMouseAndTheUps) {
    Tree tree;
    tree.capture("laptop-on-battery-with-mouse-and-ups.tree");
    platform::LinuxPlatform system(tree.root());
    InUse inUse(system);
    ASSERT_EQ(2, initBattery()) << getLastError();
    EXPECT_STREQ(R"({"bias":0,"capacity":38210,"cycleCount":112,"designCapacity":50000,)"
                 R"("electricCurrent":-1.04767,"estimatedTime":11460,"fullChargedCapacity":47500,)"
                 R"("manufacturer":"ACMÉ","power":-12000,"status":["discharging"],"temperature":25,)"
                 R"("voltage":11454})",
                 getBatteryAllMessage(0));
    EXPECT_STREQ(R"({"bias":0,"capacity":7700,"cycleCount":0,"designCapacity":23100,"electricCurrent":1.5,)"
                 R"("estimatedTime":0,"fullChargedCapacity":22330,"manufacturer":"Nordwind","power":12000,)"
                 R"("status":["critical","charging"],"temperature":0,"voltage":8000})",
                 getBatteryAllMessage(1));
}

TEST(LinuxBattery, FilesThatAreGoneOrBroken) {
    const std::string bay = std::string(kSupplies) + "BAT0/";
    const struct {
        const char* file;
        const char* content; // null: no file
        const char* part;    // of the report; "" when the battery has no record
        const char* why;
    } cases[] = {
        {"present", "0\n", "", "an empty bay"},
        {"serial_number", nullptr, "", "a required level without a file"},
        {"model_name", nullptr, R"("manufacturer":"ACMÉ")", "the entry's own name serves"},
        {"temp", "-50\n", R"("temperature":4294967291,)", "below freezing"},
        {"temp", nullptr, R"("temperature":0,)", "no thermometer"},
        {"temp", "-9999999999999\n", R"("temperature":0,)", "below absolute zero"},
        {"time_to_empty_now", "-1\n", R"("estimatedTime":0,)", "a time that it cannot tell"},
        {"energy_now", "garbage\n", R"("capacity":-1,)", "no number"},
        {"energy_now", "9223372036854775807\n", R"("capacity":-2,)", "kept off the unknown value"},
        {"energy_full", "-5\n", R"("fullChargedCapacity":0,)", "below empty"},
        {"voltage_now", "0\n", R"("electricCurrent":0.0,)", "0 volts"},
        {"voltage_now", nullptr, R"("voltage":4294967295})", "unknown voltage"},
        {"power_now", nullptr, R"("power":-2147483648,)", "unknown rate"},
        {"power_now", "-12000000\n", R"("power":-12000,)", "a driver with a sign of its own"},
        {"status", "Unknown\n", R"("power":12000,"temperature")", "no state, no status key"},
        {"capacity_level", "Critical\n", R"("status":["discharging","critical"])", "nearly empty"},
        {"../AC/online", "1\n", R"("status":["AC power","discharging"])", "on mains but draining"},
        {"../AC/type", "Unknown\n", R"("status":["discharging"])", "no mains adapter is known"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.why);
        Tree tree;
        tree.capture("laptop-on-battery-with-mouse-and-ups.tree");
        tree.remove(bay + test.file);
        if (test.content) tree.file(bay + test.file, test.content);
        platform::LinuxPlatform system(tree.root());
        InUse inUse(system);
        const bool hasRecord = *test.part != '\0';
        ASSERT_EQ(hasRecord ? 2 : 1, initBattery());
        const std::string report = getBatteryAllMessage(0);
        if (hasRecord) {
            EXPECT_NE(report.npos, report.find(test.part)) << report;
        } else {
            EXPECT_NE(report.npos, report.find("Nordwind")) << report;
        }
    }
}

TEST(LinuxBattery, ABatteryThatIsPulledLeavesItsIndexToTheNext) {
    Tree tree;
    tree.capture("laptop-on-battery-with-mouse-and-ups.tree");
    platform::LinuxPlatform system(tree.root());
    InUse inUse(system);
    ASSERT_EQ(2, initBattery());
    tree.remove(std::string(kSupplies) + "BAT0");
    const std::string next = getBatteryAllMessage(0);
    EXPECT_NE(next.npos, next.find(R"("power":12000,)")) << next;
    tree.remove(kSupplies);
    EXPECT_NE(nullptr, std::strstr(getBatteryAllMessage(1), "SetupDiEnumDeviceInterfaces(1) failed: \"}"));
    EXPECT_EQ(0, initBattery()) << "a kernel without power supplies has no battery";
}

TEST(LinuxNetworkCards, PhysicalOnesOnlyAndNumberedWhenAlike) {
    Tree tree;
    tree.capture("cards-behind-a-bridge-with-wireless-and-usb.tree");
    platform::LinuxPlatform system(tree.root());
    const std::string cards =
        R"([{"macAddress":"00-1a-2b-3c-4d-5e","manufacture":"e1000","model":"e1000 eth0","type":"Ethernet"},)"
        R"({"macAddress":"00-1a-2b-3c-4d-60","manufacture":"e1000","model":"e1000 eth1","type":"Ethernet"},)"
        R"({"macAddress":"00-e0-4c-68-00-0a","manufacture":"Nordwind","model":"Nordwind USB LAN","type":"Ethernet"},)"
        R"({"macAddress":"50-e0-85-0a-0b-0c","manufacture":"iwl","model":"iwl wlp0","type":"WLAN"}])";
    {
        InUse inUse(system);
        EXPECT_EQ(cards, getNetCardMessage());
        tree.remove("sys/class/net/eth0");
        EXPECT_EQ(cards, getNetCardMessage()) << "the list is made once";
    }
    tree.remove("sys/class/net");
    InUse again(system);
    EXPECT_STREQ("null", getNetCardMessage());
}

} // namespace
} // namespace orv::test
