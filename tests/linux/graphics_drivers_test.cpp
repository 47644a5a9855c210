// The Linux side of the graphics readings: a captured folder of the amdgpu driver, and a driver's NVML.

#include "gpu/Gpu.h"
#include "gpu/gpu_nvidia.h"
#include "orvane/hwprobe.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NvmlServer.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace orv {
namespace {

namespace fs = std::filesystem;

/// A tree of files below a folder that goes away with it.
class Tree {
  public:
    explicit Tree(const std::map<std::string, std::string>& files) {
        char name[] = "gpu-tree-XXXXXX";
        root_ = fs::absolute(::mkdtemp(name));
        for (const auto& [path, content] : files) {
            fs::create_directories((root_ / path).parent_path());
            std::ofstream(root_ / path) << content;
        }
    }
    ~Tree() { fs::remove_all(root_); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    std::string root() const { return root_.string(); }

  private:
    fs::path root_;
};

using Files = std::map<std::string, std::string>;

/// A Radeon RX 7900 XT as card1 beside the firmware's frame buffer, as the kernel shows it.
Files radeon() {
    const std::string device = "sys/class/drm/card1/device/";
    return {
        {"sys/class/drm/card0/device/uevent", "DRIVER=simple-framebuffer\n"},
        {"sys/class/drm/card1-DP-1/status", "connected\n"},
        {device + "uevent", "DRIVER=amdgpu\nPCI_CLASS=30000\nPCI_ID=1002:744C\nPCI_SLOT_NAME=0000:0a:00.0\n"},
        {device + "vendor", "0x1002\n"},
        {device + "device", "0x744c\n"},
        {device + "gpu_busy_percent", "37\n"},
        {device + "mem_info_vram_total", "21458059264\n"},
        {device + "hwmon/hwmon3/name", "amdgpu\n"},
        {device + "hwmon/hwmon3/temp1_input", "48250\n"},
        {"usr/share/misc/pci.ids", "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n\t744c  Navi 31\n"}};
}

TEST(AmdGpuTree, ACardReadsThroughTheDriversFiles) {
    const Tree tree(radeon());
    platform::LinuxPlatform system(tree.root());
    const test::InUse inUse(system);
    EXPECT_EQ(getGpuLoad(), 0.37);
    EXPECT_EQ(getGpuTemperature(), 48.25);
    ASSERT_EQ(GetGpuList().size(), 1u);
    EXPECT_EQ(GetGpuList()[0]->gpuName, "Advanced Micro Devices, Inc. [AMD/ATI] Navi 31");
    EXPECT_EQ(GetGpuList()[0]->GetTotalMemory(), 21458059264 / 1024);
}

TEST(AmdGpuTree, FilesThatAreMissingOrBroken) {
    const std::string device = "sys/class/drm/card1/device/";
    const struct {
        std::string path;
        std::string content;
        double load;
        double temperature;
    } rows[] = {
        {device + "gpu_busy_percent", "busy\n", -1, 48.25},
        {device + "gpu_busy_percent", "", -1, 48.25},
        {device + "hwmon/hwmon3/temp1_input", "99999999999\n", -1, -1},
        {device + "vendor", "0x10de\n", -1, -1},
        {device + "uevent", "DRIVER=amdgpu\nPCI_SLOT_NAME=platform\n", -1, -1},
        {device + "product_name", "Board X\n", 0.37, 48.25},
    };
    for (const auto& row : rows) {
        Files files = radeon();
        files[row.path] = row.content;
        const Tree tree(files);
        platform::LinuxPlatform system(tree.root());
        const test::InUse inUse(system);
        EXPECT_EQ(getGpuLoad(), row.load) << row.path << row.content;
        EXPECT_EQ(getGpuTemperature(), row.temperature) << row.path << row.content;
        if (row.path.ends_with("product_name")) {
            EXPECT_EQ(GetGpuList()[0]->gpuName, "Board X");
        }
    }
}

// A driver of two devices, of which the first cannot be opened.
int gpuDevice = 0;

platform::NvmlFunctions driver() {
    platform::NvmlFunctions nvml;
    nvml.init = [] { return 0; };
    nvml.deviceCount = [](unsigned* count) { return *count = 2, 0; };
    nvml.deviceByIndex = [](unsigned index, void** device) {
        if (index == 1) *device = &gpuDevice;
        return index == 1 ? 0 : 4;
    };
    nvml.name = [](void*, char* name, unsigned size) {
        std::memset(name, 'n', size); // no room left for an end
        return 0;
    };
    nvml.temperature = [](void* device, unsigned sensor, unsigned* degrees) {
        *degrees = 61;
        return device == &gpuDevice && sensor == 0 ? 0 : 2;
    };
    nvml.utilization = [](void*, platform::NvmlFunctions::Utilization* record) {
        return record->gpu = 83, 0;
    };
    nvml.memory = [](void*, platform::NvmlFunctions::Memory* record) {
        return record->total = 8ull << 40, 0;
    };
    nvml.errorString = [](int code) { return code == 3 ? "Not Supported" : "Unknown Error"; };
    return nvml;
}

/// The host with a driver's NVML in the place of its graphics SDK.
class WithNvml : public platform::LinuxPlatform, private platform::GraphicsSdk {
  public:
    explicit WithNvml(const platform::NvmlFunctions& nvml) : PlatformOf("/nowhere"), server_(nvml) {
        server_.serve();
    }
    platform::GraphicsSdk& graphicsSdk() override { return *this; }

  private:
    platform::Result<platform::LibraryFunction> function(std::uint32_t id) override {
        return {platform::servedNvapiFunction(id)};
    }
    platform::NvmlServer server_;
};

TEST(Nvml, AnswersBehindTheSevenFunctions) {
    WithNvml system(driver());
    const test::InUse inUse(system);
    EXPECT_EQ(getGpuLoad(), 0.83);
    EXPECT_EQ(getGpuTemperature(), 61.0);
    ASSERT_EQ(GetGpuList().size(), 1u);
    EXPECT_EQ(GetGpuList()[0]->gpuName, std::string(63, 'n'));
    EXPECT_EQ(GetGpuList()[0]->GetTotalMemory(), 0xFFFFFFFFu); // the field is full
}

TEST(Nvml, ARefusedReadingCarriesTheDriversText) {
    auto nvml = driver();
    nvml.utilization = [](void*, platform::NvmlFunctions::Utilization*) { return 3; };
    nvml.temperature = [](void*, unsigned, unsigned*) { return 3; };
    WithNvml system(nvml);
    const test::InUse inUse(system);
    EXPECT_EQ(getGpuLoad(), -1.0);
    EXPECT_THAT(getLastError(),
                testing::EndsWith(": NvAPI_GPU_GetDynamicPstatesInfoEx failed: Not Supported"));
    EXPECT_EQ(getGpuTemperature(), -1.0); // there is no helper program on this system
    EXPECT_THAT(getLastError(), testing::HasSubstr(": CreateProcess failed: error code: 2 message: "));
}

TEST(NvidiaHelper, AVanishedCurrentDirectoryIsTheLibrarysOwnError) {
    test::TestMachine machine(R"({"name": "m", "graphics": {"nvidia": {"adapters": [{"name": "A"}]}}})");
    ASSERT_FALSE(GetGpuList().empty());
    const fs::path before = fs::current_path();
    fs::create_directory("vanishing");
    fs::current_path("vanishing");
    fs::remove(before / "vanishing");
    EXPECT_EQ(getGpuTemperature(), -1.0);
    fs::current_path(before);
    EXPECT_THAT(getLastError(), testing::HasSubstr("current path"));
}

} // namespace
} // namespace orv
