// What every platform side promises: the host's own and a described machine, with the same assertions.

#include "platform/machine/Machine.h"
#include "platform/records/BatteryRecords.h"
#include "support/Faults.h"
#include "support/Paths.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <regex>
#include <thread>

namespace orv::test {
namespace {

using namespace platform;
using ::testing::AnyOf;

class Contract : public ::testing::TestWithParam<bool> {
  protected:
    bool isHost() const { return GetParam(); }
    Platform& side() { return *side_; }

  private:
    const std::unique_ptr<Platform> side_ =
        isHost() ? makeHostPlatform()
                 : std::unique_ptr<Platform>(Machine::fromFile(sourceDir() + "/machines/intel-desktop.json"));
};

INSTANTIATE_TEST_SUITE_P(Sides, Contract, ::testing::Values(true, false),
                         [](const auto& parameter) { return parameter.param ? "Host" : "Machine"; });

TEST_P(Contract, MemoryAddsUp) {
    const auto answer = side().systemFacts().memoryStatus();
    ASSERT_TRUE(answer.ok()) << answer.error;
    const MemoryFacts& facts = answer.value;
    EXPECT_GT(facts.totalPhys, 1u << 20);
    EXPECT_LE(facts.availPhys, facts.totalPhys);
    EXPECT_LE(facts.availVirtual, facts.totalVirtual);
    const std::uint64_t free = facts.availPhys * 100 / facts.totalPhys;
    EXPECT_NEAR(static_cast<double>(100 - free), facts.loadPercent, 1.0);
}

TEST_P(Contract, KnowsTheMachineAndItsSentences) {
    const Architecture machine = side().systemFacts().architecture();
    EXPECT_NE(Architecture::Outcome::callFailed, machine.outcome);
    EXPECT_THAT(machine.nativeMachine, AnyOf(kMachineAmd64, kMachineI386));
    EXPECT_NE(L"", side().systemFacts().mainModule());
    const std::wstring text = side().systemFacts().errorText(kFileNotFound);
    ASSERT_GT(text.size(), 2u);
    EXPECT_EQ(L"\r\n", text.substr(text.size() - 2));
    EXPECT_EQ(L"", side().systemFacts().errorText(0xFFFFFFFF));
}

TEST_P(Contract, NeverGoesBackAndSleepsAtLeastAsLongAsAsked) {
    Clock& clock = side().clock();
    const std::int64_t start = clock.monotonicNs();
    clock.sleepNs(3'000'000);
    std::int64_t last = clock.monotonicNs();
    EXPECT_GE(last - start, 3'000'000);
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t now = clock.monotonicNs();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST_P(Contract, EveryAdapterHasADescriptionAndRowsAreReplaced) {
    const auto adapters = side().networkTables().adapters();
    ASSERT_TRUE(adapters.ok()) << adapters.error;
    for (const auto& adapter : adapters.value) {
        EXPECT_NE("", adapter.description);
        EXPECT_TRUE(std::regex_match(adapter.ipAddress, std::regex("[0-9]+(\\.[0-9]+){3}")))
            << adapter.ipAddress;
    }
    std::vector<InterfaceRow> rows(500, {"stale", 1, 1});
    ASSERT_EQ(kSuccess, side().networkTables().interfaceRows(rows));
    EXPECT_LT(rows.size(), 500u);
    for (const auto& row : rows)
        EXPECT_NE("stale", row.description);
}

/// Real faults on the host's own trap.
void integerDivision() {
    volatile int zero = 0;
    volatile int result = 0;
    asm volatile("cltd\n\tidivl %2" : "=a"(result) : "0"(1), "m"(zero) : "edx", "cc");
}

TEST(FaultTrap, RealFaultsBecomeTheirCodes) {
    const auto trap = makeHostFaultTrap();
    const std::pair<void (*)(), std::uint32_t> cases[] = {
        {nullWrite, 0xC0000005}, {integerDivision, 0xC0000094}, {[] { __builtin_trap(); }, 0xC000001D}};
    for (const auto& [fault, code] : cases) {
        EXPECT_EQ(code, trap->run(fault));
        trap->resetStack();
        trap->clearFloatingPointStatus();
    }
    EXPECT_EQ(0u, trap->run([] {}));
}

#ifdef _WIN32
constexpr wchar_t kOwnLibrary[] = L"kernel32.dll";
constexpr char kOwnFunction[] = "GetTickCount";
constexpr wchar_t kOwnProgram[] = L"C:\\windows\\system32\\hostname.exe";
#else
constexpr wchar_t kOwnLibrary[] = L"libc.so.6";
constexpr char kOwnFunction[] = "getpid";
constexpr wchar_t kOwnProgram[] = L"/bin/true";
#endif

TEST(HostContract, LibrariesAndProcesses) {
    const auto host = makeHostPlatform();
    Libraries& libraries = host->libraries();
    EXPECT_EQ(libraries.load(L"no-such-library.dll").error, kModuleNotFound);
    const auto library = libraries.load(kOwnLibrary);
    ASSERT_TRUE(library.ok());
    EXPECT_NE(libraries.function(library.value, kOwnFunction).value, nullptr);
    EXPECT_EQ(libraries.function(library.value, "noSuchFunction").error, kProcedureNotFound);
    EXPECT_EQ(host->processes().runAndWait(kOwnProgram), kSuccess);
    EXPECT_EQ(host->processes().runAndWait(L"C:\\no-such-program.exe"), kFileNotFound);
    EXPECT_THAT(host->graphicsSdk().function(0x12345678).error, AnyOf(kModuleNotFound, kProcedureNotFound));
}

TEST_P(Contract, TheInterfaceListEndsAndItsPathsOpen) {
    auto devices = side().deviceTree().interfacesOf(kBatteryClass);
    ASSERT_TRUE(devices.ok()) << devices.error;
    std::uint32_t index = 0;
    for (;; ++index) {
        const auto data = devices.value->at(index);
        if (data.error == kNoMoreItems) break;
        ASSERT_TRUE(data.ok()) << data.error;
        EXPECT_EQ(28u, data.value.cbSize);
        EXPECT_EQ(kBatteryClass, data.value.InterfaceClassGuid);
        const auto size = devices.value->detailSize(data.value);
        EXPECT_EQ(kInsufficientBuffer, size.error);
        EXPECT_FALSE(devices.value->detail(data.value, 4).ok());
        const auto path = devices.value->detail(data.value, size.value);
        ASSERT_TRUE(path.ok()) << path.error;
        EXPECT_TRUE(side().deviceFiles().open(path.value).ok());
    }
    EXPECT_EQ(kNoMoreItems, devices.value->at(index + 5).error);
    EXPECT_EQ(kNoMoreItems, side().deviceTree().interfacesOf({}).value->at(0).error);
    for (const auto* path : {L"\\\\.\\no such device", L"battery", L"battery0x", L""})
        EXPECT_FALSE(side().deviceFiles().open(path).ok());
    for (const bool write : {false, true})
        EXPECT_EQ(kFileNotFound,
                  side().deviceFiles().open(L"\\\\.\\PhysicalDrive999", {.write = write}).error);
}

TEST_P(Contract, TheDevicesOfASetupClassEndAndTheirIdsFit) {
    for (const Guid& setupClass : {kScsiAdapterClass, Guid{}}) {
        const auto devices = side().deviceTree().devicesOf(setupClass);
        ASSERT_TRUE(devices.ok()) << devices.error;
        std::uint32_t index = 0;
        for (; devices.value->at(index).error != kNoMoreItems; ++index) {
            const auto device = devices.value->at(index);
            ASSERT_TRUE(device.ok()) << device.error;
            const auto id = device.value->id(260);
            ASSERT_TRUE(id.ok()) << id.error;
            const auto length = static_cast<std::uint32_t>(id.value.size());
            EXPECT_EQ(id.value, device.value->id(length + 1).value);
            EXPECT_EQ(kInsufficientBuffer, device.value->id(length).error);
            std::array<std::byte, 1024> room;
            EXPECT_FALSE(device.value->property({setupClass, 77}, room).ok()) << "no such property";
        }
        EXPECT_EQ(kNoMoreItems, devices.value->at(index + 5).error);
        EXPECT_TRUE(index == 0 || setupClass == kScsiAdapterClass);
    }
}

TEST_P(Contract, ARegistryKeyOpensOrNamesItsError) {
    EXPECT_EQ(kFileNotFound, side().registry().open(L"SOFTWARE\\No such key\\", 0x20019).error);
    auto key =
        side().registry().open(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\", 0x20019);
    if (!key.ok()) {
        EXPECT_EQ(kFileNotFound, key.error) << "a system without the key";
        return;
    }
    std::uint32_t index = 0;
    while (key.value->subkey(index, 512).ok())
        ++index;
    EXPECT_EQ(kNoMoreItems, key.value->subkey(index, 512).error);
    EXPECT_EQ(kFileNotFound, key.value->valueInfo(L"no such value").error);
}

TEST_P(Contract, PrivilegesAreKnownByName) {
    const auto token = side().privileges().openProcessToken();
    ASSERT_TRUE(token.ok()) << token.error;
    const auto id = side().privileges().lookup(L"SeBackupPrivilege");
    ASSERT_TRUE(id.ok()) << id.error;
    const std::vector<PrivilegeId> wanted{id.value};
    const ErrorCode error = token.value->enable(wanted);
    EXPECT_TRUE(error == kSuccess || error == 1300) << error;
}

TEST_P(Contract, AddressesComeInTwoSteps) {
    const auto size = side().networkTables().adapterAddressesSize();
    ASSERT_EQ(kBufferOverflow, size.error);
    EXPECT_EQ(kBufferOverflow, side().networkTables().adapterAddresses(size.value / 1000).error);
    const auto addresses = side().networkTables().adapterAddresses(size.value);
    ASSERT_TRUE(addresses.ok()) << addresses.error;
    ASSERT_FALSE(addresses.value.empty());
    for (const AdapterAddress& adapter : addresses.value) {
        EXPECT_NE(L"", adapter.description);
        EXPECT_LE(adapter.physicalAddress.size(), 32u);
    }
}

TEST_P(Contract, CpuidAndTopologyDescribeOneMachine) {
    Processor& processor = side().processor();
    EXPECT_GE(processor.cpuid(0).eax, 1u);
    EXPECT_GE(processor.cpuid(0x80000000).eax, 0x80000000u);
    ASSERT_EQ(kSuccess, processor.findLogicalProcessorInformation());
    std::uint32_t length = 0;
    ASSERT_EQ(kInsufficientBuffer, processor.GetLogicalProcessorInformation(nullptr, length));
    ASSERT_EQ(0u, length % sizeof(LogicalProcessorRecord));
    std::vector<LogicalProcessorRecord> records(length / sizeof(LogicalProcessorRecord));
    ASSERT_EQ(kSuccess, processor.GetLogicalProcessorInformation(records.data(), length));
    int cores = 0;
    int packages = 0;
    for (const LogicalProcessorRecord& record : records) {
        EXPECT_NE(0, std::popcount(record.processorMask));
        EXPECT_LE(record.relationship, 7u);
        cores += record.relationship == 0;
        packages += record.relationship == 3;
    }
    EXPECT_GE(packages, 1);
    EXPECT_GE(cores, packages);
}

TEST_P(Contract, AffinityComesBack) {
    Processor& processor = side().processor();
    const AffinityMask everywhere(0xFFFFFFFF);
    const auto before = processor.SetThreadAffinityMask(everywhere);
    ASSERT_TRUE(before.ok() && before.value.any());
    AffinityMask one;
    for (std::size_t i = 0; one.none(); ++i)
        one[i] = before.value[i];
    ASSERT_TRUE(processor.SetThreadAffinityMask(one).ok());
    EXPECT_EQ(one, processor.SetThreadAffinityMask(before.value).value);
}

TEST_P(Contract, ClocksMoveTogetherAndPrioritiesComeBack) {
    Timers& timers = side().timers();
    const auto periods = timers.timeGetDevCaps();
    ASSERT_TRUE(periods.ok());
    EXPECT_LE(periods.value.smallest, periods.value.largest);
    const auto frequency = timers.queryPerformanceFrequency();
    ASSERT_TRUE(frequency.ok() && frequency.value > 0);

    const Priorities before = timers.priorities();
    timers.setPriorities({0x100, 15});
    timers.timeBeginPeriod(periods.value.smallest);
    const std::uint64_t tsc = side().processor().timeStampCounter();
    const std::uint32_t start = timers.timeGetTime();
    const std::int64_t counter = timers.queryPerformanceCounter();
    while (timers.timeGetTime() - start < 20) {
    }
    const double seconds = static_cast<double>(timers.queryPerformanceCounter() - counter) /
                           static_cast<double>(frequency.value);
    timers.timeEndPeriod(periods.value.smallest);
    timers.setPriorities(before);
    EXPECT_GT(seconds, 0.003); // the multimedia timer may step by 16 ms
    EXPECT_LT(seconds, 60);
    EXPECT_GT(side().processor().timeStampCounter(), tsc);
    EXPECT_EQ(before.processClass, timers.priorities().processClass);
    EXPECT_EQ(before.thread, timers.priorities().thread);
}

TEST_P(Contract, OneMutexAName) {
    NamedMutexes& mutexes = side().namedMutexes();
    constexpr ErrorCode notOwner = 288; // ERROR_NOT_OWNER
    const auto first = mutexes.CreateMutexW(L"HwProbe_Contract_Test");
    ASSERT_TRUE(first.ok());
    const auto second = mutexes.OpenMutexW(0x1F0001, L"HwProbe_Contract_Test");
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(0u, mutexes.WaitForSingleObject(first.value, 10));
    EXPECT_EQ(0u, mutexes.WaitForSingleObject(second.value, 10)); // the owner may wait again
    if (isHost()) {
        std::uint32_t elsewhere = 0;
        ErrorCode release = 0;
        std::thread([&] {
            elsewhere = mutexes.WaitForSingleObject(first.value, 10);
            release = mutexes.ReleaseMutex(first.value);
        }).join();
        EXPECT_EQ(kWaitTimeout, elsewhere);
        EXPECT_EQ(notOwner, release);
    }
    EXPECT_EQ(kSuccess, mutexes.ReleaseMutex(first.value));
    EXPECT_EQ(kSuccess, mutexes.ReleaseMutex(second.value));
    EXPECT_EQ(notOwner, mutexes.ReleaseMutex(first.value));
    mutexes.CloseHandle(first.value);
    mutexes.CloseHandle(second.value);
    EXPECT_EQ(kWaitFailed, mutexes.WaitForSingleObject(0, 0));
}

TEST_P(Contract, UnknownCountersFail) {
    PerformanceCounters& counters = side().performanceCounters();
    const auto query = counters.openQuery();
    ASSERT_TRUE(query.ok() && query.value != 0);
    EXPECT_FALSE(counters.addCounter(query.value, L"\\No Such Object(_Total)\\Nothing").ok());
    EXPECT_FALSE(counters.getRawCounterValue(0).ok());
    EXPECT_FALSE(counters.getFormattedCounterValue(0, kFormatDouble).ok());
    counters.closeQuery(query.value);
}

TEST_P(Contract, WhatDoesNotAnswerGivesOnesOrFails) {
    Ring0& ring0 = side().ring0();
    const pciAddress nobody = 0xFE << 8 | 0x1F << 3 | 7;
    EXPECT_EQ(0xFF, ring0.ReadPciConfigByte(nobody, 0));
    EXPECT_EQ(0xFFFF, ring0.ReadPciConfigWord(nobody, 0));
    EXPECT_EQ(0xFFFFFFFF, ring0.ReadPciConfigDword(nobody, 0));
    const auto read = ring0.ReadPciConfigDwordEx(nobody, 0);
    EXPECT_EQ(0u, read.result);
    EXPECT_NE(kSuccess, read.error);
    const auto msr = ring0.RdmsrTx(0xFFFFFFF0, 1);
    EXPECT_EQ(0u, msr.result);
    EXPECT_NE(kSuccess, msr.error);
}

TEST_P(Contract, ManagementRowsHaveThePromisedTypesAndWhatIsNotThereFails) {
    ManagementData& data = side().managementData();
    const ErrorCode started = data.initialize();
    EXPECT_THAT(data.initializeSecurity(), AnyOf(kSuccess, kComTooLate));
    { // all of it goes before the end
        const auto locator = data.createLocator();
        ASSERT_TRUE(locator.ok()) << locator.error;
        EXPECT_NE(0u, locator.value->connectServer(L"ROOT\\NOSUCH", kConnectWaitsAtMost).error & 0x80000000);
        const auto services = locator.value->connectServer(L"ROOT\\CIMV2", kConnectWaitsAtMost);
        ASSERT_TRUE(services.ok()) << services.error;
        EXPECT_EQ(kSuccess, services.value->setProxyBlanket());
        // A class that is not known shows at the query or as an answer without rows, as the system prefers.
        const auto unknown = services.value->execQuery(L"SELECT * FROM No_SuchClass");
        EXPECT_TRUE(!unknown.ok() || !unknown.value->next());
        const auto answer = services.value->execQuery(L"SELECT * FROM Win32_PhysicalMemory");
        // A firmware table may be missing, or not be for everyone.
        EXPECT_TRUE(answer.ok() || (isHost() && (answer.error & 0x80000000) != 0)) << answer.error;
        std::size_t rows = 0;
        while (const auto row = answer.ok() ? answer.value->next() : nullptr) {
            ++rows;
            for (const wchar_t* column :
                 {L"Manufacturer", L"PartNumber", L"SerialNumber", L"Capacity", L"SMBIOSMemoryType"}) {
                const auto value = row->get(column);
                if (isHost() && !value.ok()) continue; // not every system's class has every column
                EXPECT_THAT(value.value.type, AnyOf(ManagementType::null, *column == L'S' && column[1] == L'M'
                                                                              ? ManagementType::i4
                                                                              : ManagementType::bstr));
            }
            EXPECT_EQ(kManagementNotFound, row->get(L"NoSuchColumn").error);
        }
        for (const std::uint32_t milliseconds : {0u, 10'000u})
            EXPECT_TRUE(!answer.ok() || !answer.value->next(milliseconds));
        EXPECT_TRUE(isHost() || rows == 2) << rows;
    }
    if (started == kSuccess) data.uninitialize();
}

} // namespace
} // namespace orv::test
