// Batteries, network cards, memory and graphics cards of captured trees, through the exports, and NVML by a
// stand-in library; memory that stays.

#include "battery/BatteryReport.h"
#include "gpu/Gpu.h"
#include "linux/CapturedTree.h"
#include "linux/standin_nvml.h"
#include "memory/MemInfo.h"
#include "platform/linux/files/PolledFile.h"
#include "platform/linux/files/PolledFolder.h"
#include "platform/servers/BatteryServer.h"

#include <algorithm>
#include <dlfcn.h>
#include <malloc.h>
#include <map>
#include <sys/resource.h>
#include <sys/wait.h>

namespace orv::test {
namespace {

namespace fs = std::filesystem;

constexpr char kSupplies[] = "sys/class/power_supply/";
constexpr char kLaptop[] = "laptop-on-battery-with-mouse-and-ups.tree";
constexpr char kChromebook[] = "chromebook-on-battery.tree";
constexpr char kTablet[] = "tablet-charging.tree";

TEST(LinuxBattery, OneReportADriver) {
    const std::pair<const char*, const char*> reports[] = {
        {kLaptop, R"({"bias":0,"capacity":38210,"cycleCount":112,"designCapacity":50000,)"
                  R"("electricCurrent":-1.04767,"estimatedTime":11463,"fullChargedCapacity":47500,)"
                  R"("manufacturer":"ACMÉ","power":-12000,"status":["discharging"],"temperature":0,)"
                  R"("voltage":11454})"},
        {kChromebook, R"({"bias":0,"capacity":20500,"cycleCount":57,"designCapacity":43890,)"
                      R"("electricCurrent":-1.5,"estimatedTime":7200,"fullChargedCapacity":41000,)"
                      R"("manufacturer":"ACME","power":-17850,"status":["discharging"],"temperature":31,)"
                      R"("voltage":11900})"},
        {kTablet, R"({"bias":0,"capacity":9570,"cycleCount":0,"designCapacity":-1,)"
                  R"("electricCurrent":1.2,"estimatedTime":0,"fullChargedCapacity":19140,)"
                  R"("manufacturer":"","power":4680,"status":["AC power","charging"],"temperature":0,)"
                  R"("voltage":3900})"},
    };
    for (const auto& [name, report] : reports) {
        TreeInUse tree({name});
        ASSERT_EQ(1, initBattery()) << name;
        EXPECT_STREQ(report, getBatteryAllMessage(0)) << name;
    }
}

TEST(LinuxBattery, FilesThatAreGoneBrokenOrOfAnotherKind) {
    using Files =
        std::vector<std::pair<std::string, const char*>>; // a name alone is the battery's; null: no file
    const std::map<std::string_view, std::string> batteries = {
        {kLaptop, "BAT0/"}, {kChromebook, "sbs-12-000b/"}, {kTablet, "axp288_fuel_gauge/"}};
    // Tree, files and a part of the report, "" when the battery has no record.
    const std::tuple<const char*, Files, std::string> cases[] = {
        {kLaptop, {{"present", "0"}}, ""},                                       // an empty bay
        {kLaptop, {{"energy_now", "9223372036854775807"}}, R"("capacity":-2,)"}, // kept off the unknown value
        {kLaptop, {{"power_now", "-12000000"}}, R"("estimatedTime":11463,)"},    // a sign of its own
        {kLaptop, {{"status", "Unknown"}}, R"("power":12000,"temperature")"},    // no state, no key
        {kLaptop, {{"status", "Not charging"}, {"power_now", "-7000"}}, R"("power":-7,)"}, // its own sign
        {kLaptop, {{"AC/", nullptr}, {"status", "Full"}}, R"(["AC power"])"}, // by the state alone
        {kLaptop, // charge does not stand in for energy
         {{"energy_full", nullptr}, {"charge_full", "4000000"}},
         R"("estimatedTime":11463,"fullChargedCapacity":-1,)"},
        {kTablet, // the percentage of the full charge, not the energy
         {{"energy_now", "9000000"}, {"charge_now", nullptr}, {"charge_full_design", "1"}},
         R"("capacity":9570,)"},
        {kTablet, // percent alone
         {{"charge_now", nullptr}, {"charge_full", nullptr}},
         R"("capacity":50,"cycleCount":0,"designCapacity":-1,"electricCurrent":1.2,)"
         R"("estimatedTime":0,"fullChargedCapacity":100,)"},
        {kTablet, {{"status", "Discharging"}, {"current_now", "1200000"}}, R"(:-1.2,"estimatedTime":8700,)"},
        {kChromebook, {{"temp", "9"}}, R"("temperature":1,)"},                 // 274.0 K
        {kChromebook, {{"temp", "8"}}, R"("temperature":0,)"},                 // 273.9 K
        {kChromebook, {{"time_to_empty_avg", "-1"}}, R"("estimatedTime":0,)"}, // it cannot tell
    };
    for (const auto& [captured, files, part] : cases) {
        SCOPED_TRACE(files[0].first + " " + part);
        TreeInUse tree({captured});
        for (const auto& [name, content] : files) {
            const bool alone = name.find('/') == name.npos;
            const std::string file = kSupplies + (alone ? batteries.at(captured) : "") + name;
            tree.remove(file);
            if (content) tree.file(file, std::string(content) + "\n");
        }
        ASSERT_EQ(part.empty() ? 0 : 1, initBattery());
        EXPECT_THAT(getBatteryAllMessage(0), HasSubstr(part));
    }
}

TEST(LinuxBattery, NamesAreCutToWhatAnUpdateHolds) {
    const std::string wide(300, 'n');
    const std::string battery = kSupplies + std::string("BAT0/");
    TreeInUse tree({kLaptop});
    for (const char* file : {"model_name", "manufacturer", "serial_number"})
        tree.file(battery + file, "é" + wide + "\n");
    tree.file(battery + "manufacturer", "😀" + wide + "\n"); // two units of UTF-16
    ASSERT_EQ(1, initBattery());
    getBatteryAllMessage(0);
    const auto& record = battery::batteryList()[0];
    EXPECT_EQ(L"é" + std::wstring(98, L'n'), record.deviceName);
    EXPECT_EQ(L"😀" + std::wstring(300, L'n'), record.manufactureName);
    EXPECT_EQ("é" + std::string(48, 'n'), record.serialNumber);
    EXPECT_EQ("é" + std::string(97, 'n'), record.uniqueId);
}

TEST(LinuxBattery, ABatteryThatIsPulledLeavesItsIndexToTheNext) {
    TreeInUse tree({kLaptop, kTablet});
    ASSERT_EQ(2, initBattery());
    tree.remove(std::string(kSupplies) + "BAT0");
    EXPECT_THAT(getBatteryAllMessage(0), HasSubstr(R"("power":4680,)"));
    tree.remove(kSupplies);
    EXPECT_THAT(getBatteryAllMessage(1), EndsWith("SetupDiEnumDeviceInterfaces(1) failed: \"}"));
    EXPECT_EQ(0, initBattery()) << "a kernel without power supplies has no battery";
}

TEST(PolledFile, IsReadWholeHoweverLongItIs) {
    const Tree tree;
    const std::string content(100'000, 'x');
    tree.file("long", content);
    EXPECT_EQ(content, platform::PolledFile(platform::RootedFiles(tree.root()), "/long").read().value);
}

TEST(PolledFolder, ShowsWhatChangedWhileItStaysOpen) {
    using Names = std::vector<std::string>;
    const Tree tree;
    const platform::RootedFiles running("");
    platform::PolledFolder folder(running, tree.root() + "/folder");
    EXPECT_EQ(platform::kFileNotFound, folder.list().error);
    tree.file("folder/b", "");
    EXPECT_EQ(Names{"b"}, folder.list().value) << "looked for again";
    tree.file("folder/a", "");
    EXPECT_EQ((Names{"a", "b"}), folder.list().value);
    tree.remove("folder/b");
    EXPECT_EQ(Names{"a"}, folder.list().value);
}

TEST(PolledFolder, ListsAllOfASystemFolderAndInAForkedChildToo) {
    // The slabs, where the kernel shows them, take more than one question; /proc is no sysfs.
    for (const std::string path : {"/sys/class", "/sys/module", "/sys/kernel/slab", "/proc/sys/kernel"}) {
        if (!std::filesystem::exists(path)) continue;
        std::vector<std::string> expected;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            expected.push_back(entry.path().filename().string());
        std::sort(expected.begin(), expected.end());
        ASSERT_FALSE(expected.empty());
        const platform::RootedFiles running("");
        platform::PolledFolder folder(running, path);
        for (int poll = 0; poll < 3; ++poll)
            EXPECT_EQ(expected, folder.list().value) << path;
        const pid_t child = ::fork();
        if (child == 0) ::_exit(folder.list().value == expected ? 0 : 1);
        int status = -1;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
}

TEST(LinuxLists, OnesThatCannotBeReadFailWithTheReasonAndAreTriedAgain) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer looks at objects through a pipe, for which there is no descriptor";
#endif
    const std::string card = "sys/class/drm/card0/device/";
    const std::string radio = "sys/class/net/wlp0/device";
    TreeInUse tree({kLaptop, "cards-behind-a-bridge-with-wireless-and-usb.tree"});
    tree.file("proc/net/dev",
              "  eth0: 1 0 0 0 0 0 0 0 1 0 0 0 0 0 0 0\n  wlp0: 1 0 0 0 0 0 0 0 1 0 0 0 0 0 0 0\n");
    tree.file(card + "uevent", "DRIVER=amdgpu\nPCI_SLOT_NAME=0000:0a:00.0\n");
    tree.file(card + "vendor", "0x1002\n");
    tree.file(card + "hwmon/hwmon3/temp1_input", "48250\n");
    const auto expectReason = [](const char* text) { EXPECT_THAT(getLastError(), HasSubstr(text)); };
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none); // no descriptor can be opened
    EXPECT_EQ(-1, initBattery());
    expectReason("SetupDiGetClassDevs failed: error code: 4");
    EXPECT_THAT(getMemoryManufacturerAndModel(), HasSubstr(R"({"code":0,)"));
    expectReason("query Win32_PhysicalMemory failed: error code: 2147942404");
    EXPECT_EQ(-1, getGpuTemperature());
    expectReason("ADL2_Main_Control_Create failed, error code: 4");
    getNetCardMessage();
    expectReason("OpenProcessToken failed, error code: 4");
    getNetCurrentSpeed();
    expectReason("GetAdaptersInfo failed: error code: 4");
    EXPECT_EQ(-1, initDisk());
    expectReason("too many open files");
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(1, initBattery());
    EXPECT_EQ(48.25, getGpuTemperature());
    // What cannot be looked at: a link that leads to itself.
    tree.link("sys/firmware/dmi/tables/DMI", "DMI");
    EXPECT_STREQ(R"({"code":1,"data":null})", getMemoryManufacturerAndModel());
    EXPECT_EQ("Too many levels of symbolic links", memory::whyNoModules());
    EXPECT_EQ(0, initDisk()) << "run anew, on a machine without drives";
    // A device that cannot be looked at: a link that leads to itself.
    tree.remove(radio);
    tree.link(radio, "device");
    EXPECT_THAT(getNetCurrentSpeed(), HasSubstr(R"("model":"wlp0")"));
    getNetCardMessage();
    expectReason("OpenProcessToken failed, error code: 1921");
    tree.remove(radio);
    tree.link(radio, "../..");
    EXPECT_THAT(getNetCardMessage(), HasSubstr(R"("model":"iwl wlp0","type":"WLAN")"));
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
    EXPECT_THAT(names, ElementsAre("ACME Inc. Gigabit Port", "ACME Inc. Gigabit Port #2", "bridge br0"));
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

// ---- Graphics cards

std::string deviceOf(int number) {
    return "sys/class/drm/card" + std::to_string(number) + "/device/";
}

/// A card of the amdgpu driver as the kernel shows it.
void addRadeon(const Tree& tree, int number, const std::string& slot, const std::string& millidegrees) {
    const std::string device = deviceOf(number);
    tree.file(device + "uevent",
              "DRIVER=amdgpu\nPCI_CLASS=30000\nPCI_ID=1002:744C\nPCI_SLOT_NAME=" + slot + "\n");
    tree.file(device + "vendor", "0x1002\n");
    tree.file(device + "device", "0x744c\n");
    tree.file(device + "gpu_busy_percent", "37\n");
    tree.file(device + "mem_info_vram_total", "21458059264\n");
    tree.file(device + "hwmon/hwmon3/name", "amdgpu\n");
    tree.file(device + "hwmon/hwmon3/temp1_input", millidegrees + "\n");
    tree.file("usr/share/misc/pci.ids", "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n\t744c  Navi 31\n");
}

TEST(AmdGpuTree, CardsComeBeforeAProcessorsGraphicsAndKeepTheirDomains) {
    TreeInUse tree;
    tree.file("sys/class/drm/card1-DP-1/status", "connected\n");
    tree.file(deviceOf(3) + "uevent", "DRIVER=simple-framebuffer\n");
    addRadeon(tree, 0, "0000:0a:00.0", "70000"); // a processor's: the voltage of its north bridge is told
    tree.file(deviceOf(0) + "hwmon/hwmon3/in1_label", "vddnb\n");
    addRadeon(tree, 10, "10001:0a:00.0", "42000");
    addRadeon(tree, 2, "10000:0a:00.0", "48250");
    tree.file(deviceOf(10) + "product_name", "Board X\n");
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuTemperature(), 48.25);
    ASSERT_EQ(GetGpuList().size(), 3u);
    EXPECT_EQ(GetGpuList()[0]->gpuName, "Advanced Micro Devices, Inc. [AMD/ATI] Navi 31");
    EXPECT_EQ(GetGpuList()[0]->GetTotalMemory(), 21458059264 / 1024);
    EXPECT_EQ(GetGpuList()[1]->gpuName, "Board X");
    EXPECT_EQ(GetGpuList()[2]->GetTemperature(), 70.0);
}

TEST(AmdGpuTree, FilesThatAreMissingOrBroken) {
    const std::string device = deviceOf(1);
    const std::string sensors = device + "hwmon/hwmon3/";
    // A file and what it has instead, null for no file; another file with "50000"; the load, the temperature.
    const std::tuple<std::string, const char*, std::string, double, double> rows[] = {
        {device + "gpu_busy_percent", "busy\n", "", -1, 48.25},
        {sensors + "temp1_input", "99999999999\n", "", -1, -1},
        {sensors + "temp1_input", nullptr, sensors + "temp2_input", 0.37, 50},
        {sensors + "temp1_input", nullptr, "", 0.37, 0}, // no thermometer: as AMD's library has it, 0 degrees
        {device + "uevent", "DRIVER=amdgpu\nPCI_SLOT_NAME=platform\n", "", -1, -1},
    };
    for (const auto& [path, content, more, load, temperature] : rows) {
        TreeInUse tree;
        addRadeon(tree, 1, "0000:0a:00.0", "48250");
        tree.remove(path);
        if (content) tree.file(path, content);
        if (!more.empty()) tree.file(more, "50000\n");
        EXPECT_EQ(getGpuLoad(), load) << path << more;
        EXPECT_EQ(getGpuTemperature(), temperature) << path << more;
    }
}

TEST(AmdGpuTree, ACardThatSleepsIsLeftAsleepAndNotLost) {
    const std::string state = deviceOf(1) + "power/runtime_status";
    TreeInUse tree;
    addRadeon(tree, 1, "0000:0a:00.0", "48250");
    tree.file(state, "suspended\n");
    EXPECT_EQ(getGpuLoad(), 0.0);
    EXPECT_EQ(getGpuTemperature(), -1.0);
    EXPECT_THAT(getLastError(), EndsWith("_Temperature_Get failed: 100, the card sleeps"));
    tree.file(state, "active\n");
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuTemperature(), 48.25);
    tree.file(state, "suspending\n");
    EXPECT_EQ(getGpuLoad(), 0.0);
}

/// The stand-in library, loaded by its place, so that the loader finds it by its name. It stays loaded, and a
/// driver that cannot be started once a test has ended.
class Driver {
  public:
    Driver() {
        const fs::path folder = fs::canonical("/proc/self/exe").parent_path();
        void* library = ::dlopen((folder / "standin/libnvidia-ml.so.1").c_str(), RTLD_NOW);
        state_ = library ? static_cast<StandinNvml*>(::dlsym(library, "standinNvml")) : nullptr;
        if (!state_) throw std::runtime_error(::dlerror());
        *state_ = {0, 0, 0, 8ull << 30, 0};
    }
    ~Driver() { state_->initStatus = 9; }
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    StandinNvml* operator->() const { return state_; }

  private:
    StandinNvml* state_ = nullptr;
};

TEST(Nvml, TheDriversLibraryIsLoadedAndRead) {
    const Driver driver;
    platform::LinuxPlatform system;
    const InUse inUse(system);
    EXPECT_EQ(getGpuLoad(), 0.83);
    EXPECT_EQ(getGpuTemperature(), 61.0);
    Gpu& card = *GetGpuList().front(); // the card that can be opened
    EXPECT_EQ(card.gpuType, kNvidiaGpu);
    EXPECT_EQ(card.gpuName, std::string(63, 'n'));
    EXPECT_EQ(card.GetTotalMemory(), 8u << 20);
    driver->memory = 8ull << 40;
    EXPECT_EQ(card.GetTotalMemory(), 0xFFFFFFFFu) << "the field is full";
    driver->utilizationStatus = 3;
    EXPECT_EQ(getGpuLoad(), -1.0);
    EXPECT_THAT(getLastError(), EndsWith(": NvAPI_GPU_GetDynamicPstatesInfoEx failed: Not Supported"));
}

/// A captured tree with the driver's library, which such a tree does not have of itself.
class TreeWithNvml : public platform::LinuxPlatform, private platform::GraphicsSdk {
  public:
    explicit TreeWithNvml(const std::string& root) : PlatformOf(root), files_(root) {
        if (!server_.load()) throw std::runtime_error("no NVML");
        server_.serve();
    }
    platform::GraphicsSdk& graphicsSdk() override { return *this; }

  private:
    platform::Result<platform::LibraryFunction> function(std::uint32_t id) override {
        return {platform::servedNvapiFunction(id)};
    }
    platform::RootedFiles files_;
    platform::NvmlServer server_{files_};
};

TEST(Nvml, ACardThatSleepsIsLeftAsleep) {
    const std::string state = "sys/bus/pci/devices/10000:0a:00.0/power/runtime_status";
    const Driver driver;
    const Tree tree;
    tree.file(state, "active\n");
    TreeWithNvml system(tree.root());
    const InUse inUse(system);
    EXPECT_EQ(getGpuTemperature(), 61.0);
    tree.file(state, "suspended\n");
    const unsigned before = driver->readings;
    EXPECT_EQ(getGpuLoad(), 0.0);
    EXPECT_EQ(getGpuTemperature(), -1.0);
    EXPECT_THAT(getLastError(), EndsWith(": NvAPI_GPU_GetThermalSettings failed: the card sleeps"));
    EXPECT_EQ(driver->readings, before);
    tree.file(state, "active\n");
    EXPECT_EQ(getGpuLoad(), 0.83);
}

} // namespace
} // namespace orv::test
