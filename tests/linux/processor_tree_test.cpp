// The Linux side over captured trees: register files, topology, clocks, lock files.

#include "cpu/cpu.h"
#include "frame/HWException.h"
#include "linux/CapturedTree.h"

#include <fcntl.h>
#include <functional>
#include <sched.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace orv::test {
namespace {

namespace fs = std::filesystem;
using namespace platform;

class LinuxTree : public testing::Test {
  protected:
    std::string at(const std::string& path) const { return tree.root() + "/" + path; }
    void folder(const std::string& path) const {
        fs::create_directories(at(path));
        fs::permissions(at(path), fs::perms::all | fs::perms::sticky_bit);
    }

    const Tree tree;
    LinuxPlatform side{tree.root()};
};

TEST_F(LinuxTree, StatusFollowsTheRegisterDevice) {
    Ring0& ring0 = side.ring0();
    EXPECT_EQ(kFileNotFound, ring0.InitializeOls());
    EXPECT_EQ(2u, ring0.GetDllStatus().status);
    tree.file("dev/cpu/0/msr", "");
    EXPECT_EQ(kSuccess, ring0.InitializeOls());
    EXPECT_EQ(0u, ring0.GetDllStatus().status);
    tree.remove("dev/cpu/0/msr");
    tree.link("dev/cpu/0/msr", "msr"); // there, and does not open
    EXPECT_EQ(9u, ring0.GetDllStatus().status);
    EXPECT_NE(kSuccess, ring0.GetDllStatus().cause);
    ring0.releaseOls();
    EXPECT_EQ(4u, ring0.GetDllStatus().status);
}

TEST_F(LinuxTree, RegistersOfTheLowestProcessorOfTheMask) {
    std::string registers(0x19C, '\0');
    registers += std::string("\x00\x00\x2D\x88\x01\x00\x00\x00", 8);
    tree.file("dev/cpu/3/msr", registers);
    EXPECT_EQ(0x1882D0000u, side.ring0().RdmsrTx(0x19C, 0x18).value);
    EXPECT_EQ(kFileNotFound, side.ring0().RdmsrTx(0x19C, 1).error);
    EXPECT_EQ(kInvalidParameter, side.ring0().RdmsrTx(0x19C, 0).error);
}

TEST_F(LinuxTree, ConfigurationSpaceEndsWhereTheProcessMayNotSee) {
    Ring0& ring0 = side.ring0();
    const pciAddress address = 0x18 << 3 | 3;
    std::string space(64, '\0');
    space.replace(0, 4, "\x22\x10\x03\x12");
    tree.file("sys/bus/pci/devices/0000:00:18.3/config", space);
    EXPECT_EQ(0x12031022u, ring0.ReadPciConfigDwordEx(address, 0).value);
    EXPECT_EQ(kAccessDenied, ring0.ReadPciConfigDwordEx(address, 0xA4).error);
    EXPECT_EQ(kInvalidParameter, ring0.ReadPciConfigDwordEx(address, 2).error);
    EXPECT_EQ(1u, ring0.WritePciConfigDwordEx(address, 0x3C, 0xA1B2C3D4).result);
    EXPECT_EQ(0xA1B2, ring0.ReadPciConfigWord(address, 0x3E));
}

TEST_F(LinuxTree, LoadIsTheShareOfTicksThatAreNotIdle) {
    PerformanceCounters& counters = side.performanceCounters();
    const auto query = counters.openQuery().value;
    const auto counter =
        counters.addCounter(query, L"\\Processor Information(_Total)\\% Processor Utility").value;
    const auto sample = [&](const std::string& line) {
        tree.file("proc/stat", line + "\ncpu0 1 2 3 4\n");
        counters.collectQueryData(query);
        return counters.getRawCounterValue(counter);
    };
    // user nice system idle iowait irq softirq steal guest
    const auto first = sample("cpu  100 10 50 1000 40 5 5 0 77 0");
    const std::pair<const char*, std::int64_t> rows[] = {
        {"cpu  125 10 75 1100 90 5 5 0 99 0", 25},
        {"cpu  100 10 50 1000 40 5 5 0 0 0", 0}, // no tick between them
        {"cpu  100 10 50 1040 20 5 5 0 0 0", 0}, // the kernel corrected a column downwards
    };
    for (const auto& [line, percent] : rows) {
        const auto next = sample(line);
        ASSERT_TRUE(next.ok()) << line;
        const auto load =
            counters.calculateCounterFromRawValue(counter, kFormatLarge, next.value, first.value);
        EXPECT_EQ(percent, load.value.largeValue) << line;
    }
    for (const char* broken : {"", "intr 1 2 3", "cpu  1 2 x"})
        EXPECT_FALSE(sample(broken).ok()) << broken;
}

/// One sample of a machine's speed, MHz; fails without one.
double speedOf(LinuxPlatform& machine) {
    const InUse inUse(machine);
    DefaultCpu cpu({});
    cpu.GetCpuSpeed(); // sets the query up
    return cpu.GetCpuSpeed();
}

TEST_F(LinuxTree, ClocksComeFromCpufreqElseFromTheProcessorsReport) {
    EXPECT_THROW(speedOf(side), HWException); // neither source
    tree.file("proc/cpuinfo",
              "processor\t: 0\ncpu MHz\t\t: 2000.000\nprocessor\t: 1\ncpu MHz\t\t: 3000.500\n");
    EXPECT_NEAR(2500.25, speedOf(side), 0.1);
    const std::string policy = "sys/devices/system/cpu/cpufreq/policy";
    tree.file(policy + "0/scaling_cur_freq", "1800000\n");
    tree.file(policy + "0/affected_cpus", "0 1 2\n");
    tree.file(policy + "0/cpuinfo_max_freq", "4000000\n");
    tree.file(policy + "4/scaling_cur_freq", "4200000\n");
    LinuxPlatform machine(tree.root());
    EXPECT_NEAR((3 * 1800 + 4200) / 4.0, speedOf(machine), 0.1);
    tree.remove(policy + "4");
    tree.file(policy + "6/scaling_cur_freq", "3000000\n");
    EXPECT_NEAR((3 * 1800 + 3000) / 4.0, speedOf(machine), 0.1); // the policies are looked for anew
    tree.remove(policy + "0");
    tree.remove(policy + "6");
    EXPECT_NEAR(2500.25, speedOf(machine), 0.1);
}

TEST(LinuxTimers, ARealTimePolicyWhereItIsGrantedAndTheFormerOneBack) {
    std::thread([] {
        const sched_param none{};
        ASSERT_EQ(0, ::sched_setscheduler(0, SCHED_BATCH, &none));
        ASSERT_EQ(0, ::setpriority(PRIO_PROCESS, 0, 3));
        LinuxTimers timers;
        const Priorities before = timers.priorities();
        const auto policyOf = [&](const Priorities& priorities) {
            timers.setPriorities(priorities);
            return ::sched_getscheduler(0);
        };
        const int during = policyOf({0x100, 15});
        sched_param lowest{};
        lowest.sched_priority = 1;
        const bool granted = ::sched_setscheduler(0, SCHED_FIFO, &lowest) == 0;
        EXPECT_EQ(granted ? SCHED_FIFO : SCHED_BATCH, during);
        EXPECT_EQ(SCHED_BATCH, policyOf(before));
        EXPECT_EQ(3, ::getpriority(PRIO_PROCESS, 0));
        if (!granted) return;
        // A limit on the time of real-time threads would end the process in the middle of a measurement.
        rlimit unlimited{};
        ASSERT_EQ(0, ::getrlimit(RLIMIT_RTTIME, &unlimited));
        rlimit limited = unlimited;
        limited.rlim_cur = 200'000; // microseconds
        ASSERT_EQ(0, ::setrlimit(RLIMIT_RTTIME, &limited));
        EXPECT_EQ(SCHED_BATCH, policyOf({0x100, 15}));
        timers.setPriorities(before);
        ASSERT_EQ(0, ::setrlimit(RLIMIT_RTTIME, &unlimited));
        // A thread of a host's own real-time class stays in it.
        lowest.sched_priority = 7;
        ASSERT_EQ(0, ::sched_setscheduler(0, SCHED_RR, &lowest));
        const Priorities realTime = timers.priorities();
        timers.setPriorities({0x100, 15});
        EXPECT_EQ(SCHED_RR, policyOf(realTime));
        ::sched_getparam(0, &lowest);
        EXPECT_EQ(7, lowest.sched_priority);
    }).join();
}

TEST_F(LinuxTree, LockFilesStandInAFolderThatEverybodyMayWrite) {
    NamedMutexes& mutexes = side.namedMutexes();
    EXPECT_EQ(kFileNotFound, mutexes.CreateMutexW(L"Global\\Access_PCI").error);
    fs::create_directories(at("run/lock"));
    folder("dev/shm");
    EXPECT_EQ(kFileNotFound, mutexes.OpenMutexW(0x1F0001, L"Global\\Access_PCI").error);
    const auto handle = mutexes.CreateMutexW(L"Global\\Access_PCI");
    ASSERT_TRUE(handle.ok());
    const std::string path = at("dev/shm/hwprobe.Global.Access_PCI");
    EXPECT_EQ(static_cast<fs::perms>(0666), fs::status(path).permissions()); // for every user
    // A process that ends without a release is told once.
    const pid_t holder = ::fork();
    if (holder == 0) ::_exit(static_cast<int>(mutexes.WaitForSingleObject(handle.value, 10)));
    int status = -1;
    ASSERT_EQ(holder, ::waitpid(holder, &status, 0));
    ASSERT_EQ(0, status);
    EXPECT_EQ(kWaitAbandoned, mutexes.WaitForSingleObject(handle.value, 10));
    EXPECT_EQ(kSuccess, mutexes.ReleaseMutex(handle.value));
    EXPECT_EQ(kWaitOwned, mutexes.WaitForSingleObject(handle.value, 10));
}

class LockTree : public LinuxTree {
  protected:
    LockTree() { folder("run/lock"); }
    const std::string path = at("run/lock/hwprobe.bus");
};

TEST_F(LockTree, WhatIsNoLockFileIsAFailureAndStaysAsItIs) {
    const std::string other = at("other");
    const std::vector<std::pair<const char*, std::function<void()>>> squatters = {
        {"folder", [&] { fs::create_directory(path); }},
        {"pipe", [&] { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0666)); }},
        {"link", [&] { fs::create_symlink(other, path); }},
        {"second name", [&] { fs::create_hard_link(other, path); }},
    };
    for (const auto& [what, squat] : squatters) {
        SCOPED_TRACE(what);
        tree.file("other", "theirs");
        squat();
        NamedMutexes& mutexes = side.namedMutexes();
        EXPECT_EQ(kInvalidHandle, mutexes.CreateMutexW(L"bus").error);
        EXPECT_EQ(kInvalidHandle, mutexes.OpenMutexW(0x1F0001, L"bus").error);
        EXPECT_EQ("theirs", tree.content("other"));
        fs::remove(path);
        // The same, squatted while the mutex is open.
        const auto handle = mutexes.CreateMutexW(L"bus").value;
        fs::remove(path);
        squat();
        EXPECT_EQ(kWaitFailed, mutexes.WaitForSingleObject(handle, 10));
        EXPECT_EQ("theirs", tree.content("other"));
        fs::remove(path);
        EXPECT_EQ(kWaitOwned, mutexes.WaitForSingleObject(handle, 10));
        EXPECT_EQ(kSuccess, mutexes.ReleaseMutex(handle));
        mutexes.CloseHandle(handle);
        fs::remove(path);
    }
}

TEST_F(LockTree, ARemovedFileHasNoSecondOwner) {
    LinuxPlatform another(tree.root()); // with files of its own, as another process
    NamedMutexes& ours = side.namedMutexes();
    NamedMutexes& theirs = another.namedMutexes();
    const auto a = ours.CreateMutexW(L"bus").value;
    fs::remove(path);
    const auto b = theirs.CreateMutexW(L"bus").value;
    EXPECT_EQ(kWaitOwned, theirs.WaitForSingleObject(b, 10));
    EXPECT_EQ(kWaitTimeout, ours.WaitForSingleObject(a, 10));
    EXPECT_EQ(kSuccess, theirs.ReleaseMutex(b));
    EXPECT_EQ(kWaitOwned, ours.WaitForSingleObject(a, 10));
    EXPECT_EQ(kWaitTimeout, theirs.WaitForSingleObject(b, 10));
}

TEST_F(LockTree, ALockThatNobodyMarksIsAFailure) {
    NamedMutexes& mutexes = side.namedMutexes();
    const auto handle = mutexes.CreateMutexW(L"bus").value;
    const int squatter = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(squatter, LOCK_EX | LOCK_NB));
    EXPECT_EQ(kWaitFailed, mutexes.WaitForSingleObject(handle, 10));
    EXPECT_EQ(kWaitTimeout, mutexes.WaitForSingleObject(handle, 0)); // one look tells nothing
    ::close(squatter);
    EXPECT_EQ(kWaitOwned, mutexes.WaitForSingleObject(handle, 10));
}

TEST_F(LockTree, NoStandardStreamIsTaken) {
    const int kept = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
    ASSERT_GE(kept, 0);
    ::close(STDIN_FILENO);
    NamedMutexes& mutexes = side.namedMutexes();
    const auto made = mutexes.CreateMutexW(L"bus");
    const auto opened = LinuxPlatform(tree.root()).namedMutexes().OpenMutexW(0x1F0001, L"bus");
    const bool isFree = ::fcntl(STDIN_FILENO, F_GETFD) == -1;
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
    EXPECT_TRUE(made.ok() && opened.ok());
    EXPECT_TRUE(isFree);
}

} // namespace
} // namespace orv::test
