// Temperature and topology over trees as real machines have them: what the kernel's drivers read, through the
// registers that the logic asks for.

#include "WinRing0/WinRing0.h"
#include "cpu/cpu_info.h"
#include "linux/CapturedTree.h"

#include <fmt/format.h>

#include <cstring>
#include <map>

namespace orv::test {
namespace {

using namespace platform;

/// A logical processor by the kernel's numbers.
struct Thread {
    std::uint32_t number;
    std::uint32_t package;
    std::uint32_t core;
    std::uint32_t apicId;
};

/// Leaves of the processors of a tree.
struct Leaves {
    const char* vendor = "GenuineIntel";
    std::uint32_t version = 0;
    std::uint32_t idsPerPackage = 1; // addressable threads and cores
    std::uint32_t coresPerPackage = 1;
    std::map<std::uint32_t, std::uint32_t> apicIds; // by the kernel's number
};

/// Runs on the processors of a tree, of which it knows the leaves.
class TreeProcessor : public LinuxProcessor {
  public:
    TreeProcessor(const RootedFiles& files, ProcessorSet& processors, const Leaves& leaves)
        : LinuxProcessor(files, processors), processors_(processors), leaves_(leaves) {}

    CpuidRegisters cpuid(std::uint32_t leaf) override {
        CpuidRegisters registers;
        if (leaf == 0) {
            registers.eax = 4;
            std::memcpy(&registers.ebx, &leaves_.vendor[0], 4);
            std::memcpy(&registers.edx, &leaves_.vendor[4], 4);
            std::memcpy(&registers.ecx, &leaves_.vendor[8], 4);
        }
        if (leaf == 1) registers = {leaves_.version, apicId() << 24 | leaves_.idsPerPackage << 16, 0, 0};
        if (leaf == 4) registers.eax = (leaves_.coresPerPackage - 1) << 26;
        return registers;
    }
    Result<AffinityMask> SetThreadAffinityMask(const AffinityMask& mask) override {
        return {std::exchange(affinity_, mask)};
    }

  private:
    std::uint32_t apicId() {
        const AffinityMask on = processors_.toKernel(affinity_);
        for (const auto& [number, id] : leaves_.apicIds)
            if (on[number]) return id;
        return 0;
    }

    ProcessorSet& processors_;
    const Leaves& leaves_;
    AffinityMask affinity_;
};

/// No clock to measure against: a detection takes no time.
class NoTimers : public LinuxTimers {
  public:
    Result<TimerPeriods> timeGetDevCaps() override { return Result<TimerPeriods>::failed(kNotSupported); }
    Result<std::int64_t> queryPerformanceFrequency() override {
        return Result<std::int64_t>::failed(kNotSupported);
    }
};

struct TreeServices : LinuxServices {
    TreeServices(std::string root, const Leaves& leaves)
        : LinuxServices(std::move(root)), processor(files, processors, leaves) {}
    TreeProcessor processor;
    NoTimers timers;
};

class ProcessorTree : public testing::Test {
  protected:
    static std::string number(std::uint32_t value) { return std::to_string(value); }

    /// As the kernel writes a set of up to 64 processors.
    static std::string words(std::uint64_t set) {
        return fmt::format("{:08x},{:08x}", set >> 32, set & 0xFFFFFFFF);
    }

    void processors(const std::vector<Thread>& threads) {
        std::map<std::uint32_t, std::uint64_t> packages;
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint64_t> cores;
        for (const Thread& thread : threads) {
            packages[thread.package] |= std::uint64_t{1} << thread.number;
            cores[{thread.package, thread.core}] |= std::uint64_t{1} << thread.number;
        }
        std::string onLine;
        for (const Thread& thread : threads) {
            const std::string core = words(cores[{thread.package, thread.core}]) + "\n";
            const std::string folder = "sys/devices/system/cpu/cpu" + number(thread.number);
            tree.file(folder + "/topology/" + coreName, core);
            tree.file(folder + "/topology/" + packageName, words(packages[thread.package]) + "\n");
            tree.file(folder + "/topology/core_id", number(thread.core) + "\n");
            tree.file(folder + "/topology/physical_package_id", number(thread.package) + "\n");
            tree.file(folder + "/cache/index0/level", "2\n");
            tree.file(folder + "/cache/index0/type", "Unified\n");
            tree.file(folder + "/cache/index0/size", thread.core == 0 ? "1M\n" : "1024K\n");
            tree.file(folder + "/cache/index0/shared_cpu_map", core);
            leaves.apicIds[thread.number] = thread.apicId;
            onLine += (onLine.empty() ? "" : ",") + number(thread.number);
        }
        for (const auto& [package, set] : packages)
            tree.file("sys/devices/system/node/node" + number(package) + "/cpumap", words(set) + "\n");
        tree.file("sys/devices/system/cpu/online", onLine + "\n");
    }

    /// A monitor of the driver for a package, with degrees of its cores.
    void coretemp(std::uint32_t package, const std::vector<int>& cores, const std::string& monitor) {
        const std::string device = "sys/devices/platform/coretemp." + number(package);
        const std::string folder = device + "/hwmon/" + monitor;
        tree.remove(device);
        tree.remove("sys/class/hwmon/" + monitor);
        tree.file(folder + "/name", "coretemp\n");
        tree.link(folder + "/device", "../../../coretemp." + number(package));
        tree.link("sys/class/hwmon/" + monitor,
                  "../../devices/platform/coretemp." + number(package) + "/hwmon/" + monitor);
        sensor(folder, 1, "Package id " + number(package), 99000);
        for (std::uint32_t core = 0; core < cores.size(); ++core)
            sensor(folder, core + 2, "Core " + number(core), cores[core] * 1000);
    }
    void sensor(const std::string& folder, std::uint32_t index, const std::string& label, int milli) {
        const std::string file = folder + "/temp" + number(index);
        if (!label.empty()) tree.file(file + "_label", label + "\n");
        tree.file(file + "_input", std::to_string(milli) + "\n");
    }

    template <class Call>
    auto on(Call call) {
        PlatformOf<TreeServices> machine(tree.root(), leaves);
        const InUse inUse(machine);
        return call();
    }
    double temperature() { return on(getCpuTemperature); }
    CpuInfo info() { return on(GetCpuInfo); }

    Tree tree;
    Leaves leaves;
    const char* coreName = "core_cpus";
    const char* packageName = "package_cpus";
};

/// Four cores of two threads each, thread 1 of core N as processor N + 4.
std::vector<Thread> desktop(const std::vector<std::uint32_t>& offLine = {}) {
    std::vector<Thread> threads;
    for (std::uint32_t i = 0; i < 8; ++i)
        if (!std::ranges::count(offLine, i)) threads.push_back({i, 0, i % 4, i % 4 * 2 + i / 4});
    return threads;
}

class IntelTree : public ProcessorTree {
  protected:
    IntelTree() { leaves = {"GenuineIntel", 0x000906EA, 8, 4, {}}; }
};

TEST_F(IntelTree, ProcessorsThatAreOffLineOrForbiddenDoNotCount) {
    // Processors off line and permitted ones; cores, threads and degrees.
    using Row = std::tuple<const char*, std::vector<std::uint32_t>, const char*, unsigned, unsigned, double>;
    const Row rows[] = {
        {"one core off line", {2, 6}, "ff", 3, 6, (50 + 52 + 56) / 3.0},
        {"a set of two threads", {}, "84", 2, 2, 55.0}, // 2 and 7
    };
    for (const auto& [what, offLine, permitted, cores, threads, degrees] : rows) {
        SCOPED_TRACE(what);
        tree.remove("sys");
        leaves.apicIds.clear();
        processors(desktop(offLine));
        for (const std::uint32_t number : offLine)
            tree.file("sys/devices/system/cpu/cpu" + std::to_string(number) + "/online", "0\n");
        tree.file("proc/self/status",
                  "Name:\thost\nCpus_allowed:\t" + std::string(permitted) + "\nCpus_allowed_list:\t-\n");
        coretemp(0, {50, 52, 54, 56}, "hwmon0");
        EXPECT_EQ(cores, info().processorCoreCount);
        EXPECT_EQ(threads, info().logicalProcessorCount);
        EXPECT_EQ(cores * 1048576, info().processorL2CacheSize);
        EXPECT_DOUBLE_EQ(degrees, temperature());
    }
}

TEST_F(IntelTree, OnePackageOfTwo) {
    coreName = "thread_siblings"; // a kernel before the present names
    packageName = "core_siblings";
    // Numbers alternate between the packages, and each one's cores begin at 0.
    leaves.idsPerPackage = leaves.coresPerPackage = 2;
    processors({{0, 0, 0, 0}, {1, 1, 0, 2}, {2, 0, 1, 1}, {3, 1, 1, 3}});
    coretemp(1, {70, 80}, "hwmon0");
    coretemp(0, {40, 44}, "hwmon1");
    EXPECT_EQ(42.0, temperature());
    EXPECT_EQ(1u, info().processorPackageCount);
    EXPECT_EQ(1u, info().numaNodeCount);
    tree.file("proc/self/status", "Cpus_allowed:\ta\n"); // the second package alone
    EXPECT_EQ(75.0, temperature());
}

TEST_F(IntelTree, TheFirst32ProcessorsOfAPackage) {
    leaves.idsPerPackage = leaves.coresPerPackage = 64;
    std::vector<Thread> threads;
    std::vector<int> cores;
    for (std::uint32_t i = 0; i < 40; ++i) {
        threads.push_back({i + 2, 0, i, i}); // 0 and 1 are off line
        cores.push_back(i < 32 ? 40 + static_cast<int>(i % 2) : 90);
    }
    processors(threads);
    coretemp(0, cores, "hwmon2");
    EXPECT_EQ(40.5, temperature());
    EXPECT_EQ(32u, info().logicalProcessorCount);
}

TEST_F(IntelTree, ADriverMayGoAndComeAndTheRegisterIsTheSecondWay) {
    processors(desktop({4, 5, 6, 7}));
    PlatformOf<TreeServices> machine(tree.root(), leaves);
    const InUse inUse(machine);
    EXPECT_EQ(-1.0, getCpuTemperature());
    EXPECT_THAT(getLastError(), HasSubstr(": DLL Status Error: DRIVER_NOT_LOADED"));
    coretemp(0, {50, 52, 54, 56}, "hwmon3");
    EXPECT_EQ(53.0, getCpuTemperature());
    tree.remove("sys/devices/platform/coretemp.0");
    tree.remove("sys/class/hwmon");
    EXPECT_EQ(4294967295.0, getCpuTemperature());
    coretemp(0, {60, 62, 64, 66}, "hwmon5");
    EXPECT_EQ(63.0, getCpuTemperature());
    // One core's sensor fails: its register is read, the others' stay.
    tree.remove("sys/devices/platform/coretemp.0/hwmon/hwmon5/temp3_input");
    EXPECT_EQ(4294967295.0, getCpuTemperature());
    tree.file("dev/cpu/1/msr", std::string(0x19C, '\0') + std::string("\0\0\x0A\x88\0\0\0\0", 8));
    EXPECT_EQ((60 + 90 + 64 + 66) / 4.0, getCpuTemperature());
}

TEST_F(IntelTree, AProcessorThatGoesOffLineIsReadThroughAnotherOfItsCoreElseOfItsPackage) {
    const auto setRegister = [&](std::uint32_t processor, int degrees) {
        const char below[] = {0, 0, static_cast<char>(100 - degrees), '\x88', 0, 0, 0, 0};
        tree.file("dev/cpu/" + number(processor) + "/msr", std::string(0x19C, '\0') + std::string(below, 8));
    };
    const auto takeOffLine = [&](std::uint32_t processor, const char* left) {
        tree.remove("dev/cpu/" + number(processor));
        tree.remove("sys/devices/system/cpu/cpu" + number(processor) + "/topology");
        tree.file("sys/devices/system/cpu/online", left);
    };
    processors(desktop());
    for (std::uint32_t i = 0; i < 8; ++i)
        setRegister(i, 40 + 2 * static_cast<int>(i)); // each core is read through its thread 4 to 7
    PlatformOf<TreeServices> machine(tree.root(), leaves);
    const InUse inUse(machine);
    EXPECT_EQ((48 + 50 + 52 + 54) / 4.0, getCpuTemperature());
    takeOffLine(6, "0-5,7\n");
    EXPECT_EQ((48 + 50 + 44 + 54) / 4.0, getCpuTemperature());
    takeOffLine(2, "0-1,3-5,7\n");
    EXPECT_EQ((48 + 50 + 40 + 54) / 4.0, getCpuTemperature());
    // The driver has no sensor for the core any more; the package's number is that of any processor.
    takeOffLine(0, "1,3-5,7\n");
    tree.remove("dev");
    coretemp(0, {70, 72, 74, 76}, "hwmon0");
    tree.remove("sys/devices/platform/coretemp.0/hwmon/hwmon0/temp4_input");
    EXPECT_EQ((70 + 72 + 72 + 76) / 4.0, getCpuTemperature());
    tree.remove("sys/devices/platform/coretemp.0");
    EXPECT_EQ(4294967295.0, getCpuTemperature()) << "on-line processors whose registers refuse";
}

class AmdTree : public ProcessorTree {
  protected:
    /// Processors of a family whose northbridge shows what anybody may read of it.
    void family(std::uint32_t version, std::uint16_t northbridge) {
        leaves = {"AuthenticAMD", version, 1, 1, {}};
        tree.file("dev/shm/other", "");
        std::filesystem::permissions(tree.root() + "/dev/shm", // lock files go there
                                     std::filesystem::perms::all | std::filesystem::perms::sticky_bit);
        processors({{0, 0, 0, 0}, {1, 0, 1, 1}});
        const std::string pci = "sys/bus/pci/devices/0000:00:";
        tree.file(pci + "00.0/config", std::string(256, '\x11'));
        std::string space(64, '\0');
        space.replace(0, 4,
                      {'\x22', '\x10', static_cast<char>(northbridge), static_cast<char>(northbridge >> 8)});
        tree.file(pci + "18.3/config", space);
    }
    using Sensors = std::vector<std::pair<const char*, int>>;
    void k10temp(const Sensors& sensors) {
        const std::string folder = "sys/bus/pci/devices/0000:00:18.3/hwmon/hwmon4";
        tree.remove(folder);
        tree.file(folder + "/name", "k10temp\n");
        std::uint32_t next = 1;
        for (const auto& [label, milli] : sensors)
            sensor(folder, next++, label, milli);
    }
    std::string rootComplex() const { return tree.content("sys/bus/pci/devices/0000:00:00.0/config"); }
};

TEST_F(AmdTree, TheControlTemperatureInEachFamilysRegister) {
    const std::tuple<std::uint32_t, std::uint16_t, Sensors, double> rows[] = {
        {0x00800F11, 0x1463, {{"Tdie", 37500}, {"Tctl", 57500}, {"Tccd1", 36000}}, 57.5},
        {0x00660F01, 0x1573, {{"", -1000}}, 0.0}, // a register without a sign
    };
    for (const auto& [version, northbridge, sensors, degrees] : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << version << " " << sensors.back().second);
        family(version, northbridge);
        k10temp(sensors);
        EXPECT_EQ(degrees, temperature());
        EXPECT_EQ(std::string(256, '\x11'), rootComplex()); // nothing was written
    }
    // Without the driver the pair itself is written and read.
    family(0x00800F11, 0x1463);
    tree.file("dev/cpu/0/msr", "");
    tree.remove("sys/bus/pci/devices/0000:00:18.3/hwmon");
    EXPECT_EQ(136 * 0.125, temperature()); // 0x11111111 >> 21, the range bit is clear
    EXPECT_EQ(std::string("\x00\x98\x05\x00", 4), rootComplex().substr(0x60, 4));
}

} // namespace
} // namespace orv::test
