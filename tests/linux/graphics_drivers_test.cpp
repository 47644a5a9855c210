// The Linux side of the graphics readings: captured folders of the amdgpu driver, and NVML by a stand-in
// library.

#include "gpu/Gpu.h"
#include "linux/CapturedTree.h"
#include "linux/standin_nvml.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/TestMachine.h"

#include <dlfcn.h>
#include <filesystem>

namespace orv::test {
namespace {

namespace fs = std::filesystem;

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
