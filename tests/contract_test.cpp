// What every side promises for the ground-floor services.

#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/GraphicsSdk.h"
#include "platform/NetworkTables.h"
#include "platform/Processes.h"
#include "platform/SystemFacts.h"
#include "support/Faults.h"
#include "support/Sides.h"

#include <gmock/gmock.h>

#include <regex>

namespace orv::test {
namespace {

class SystemFactsContract : public Contract {};

TEST_P(SystemFactsContract, MemoryAddsUp) {
    const auto answer = side().systemFacts().memoryStatus();
    ASSERT_TRUE(answer.ok()) << answer.error;
    const platform::MemoryFacts& facts = answer.value;
    EXPECT_GT(facts.totalPhys, 1u << 20);
    EXPECT_LE(facts.availPhys, facts.totalPhys);
    EXPECT_LE(facts.availVirtual, facts.totalVirtual);
    const double used =
        100.0 * static_cast<double>(facts.totalPhys - facts.availPhys) / static_cast<double>(facts.totalPhys);
    EXPECT_NEAR(used, facts.loadPercent, 1.0);
}

TEST_P(SystemFactsContract, KnowsTheMachineAndItsSentences) {
    const platform::Architecture machine = side().systemFacts().architecture();
    EXPECT_NE(platform::Architecture::Outcome::callFailed, machine.outcome);
    EXPECT_THAT(machine.nativeMachine, ::testing::AnyOf(platform::kMachineAmd64, platform::kMachineI386));
    const std::wstring text = side().systemFacts().errorText(platform::kFileNotFound);
    ASSERT_GT(text.size(), 2u);
    EXPECT_EQ(L"\r\n", text.substr(text.size() - 2));
    EXPECT_EQ(L"", side().systemFacts().errorText(0xFFFFFFFF));
}
INSTANTIATE_SIDES(SystemFactsContract);

class ClockContract : public Contract {};

TEST_P(ClockContract, NeverGoesBackAndSleepsAtLeastAsLongAsAsked) {
    platform::Clock& clock = side().clock();
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
INSTANTIATE_SIDES(ClockContract);

class NetworkTablesContract : public Contract {};

TEST_P(NetworkTablesContract, EveryAdapterHasADescriptionAndRowsAreReplaced) {
    const auto adapters = side().networkTables().adapters();
    ASSERT_TRUE(adapters.ok()) << adapters.error;
    for (const auto& adapter : adapters.value) {
        EXPECT_NE("", adapter.description);
        EXPECT_TRUE(std::regex_match(adapter.ipAddress, std::regex("[0-9]+(\\.[0-9]+){3}")))
            << adapter.ipAddress;
    }
    std::vector<platform::InterfaceRow> rows(500, {"stale", 1, 1});
    ASSERT_EQ(platform::kSuccess, side().networkTables().interfaceRows(rows));
    EXPECT_LT(rows.size(), 500u);
    for (const auto& row : rows)
        EXPECT_NE("stale", row.description);
}
INSTANTIATE_SIDES(NetworkTablesContract);

/// Real faults on the host's own trap.
void illegalInstruction() {
    __builtin_trap();
}
void integerDivision() {
    volatile int zero = 0;
    volatile int result = 0;
    asm volatile("cltd\n\tidivl %2" : "=a"(result) : "0"(1), "m"(zero) : "edx", "cc");
}

TEST(FaultTrap, RealFaultsBecomeTheirCodesAlsoNested) {
    const auto host = platform::makeHostPlatform();
    platform::FaultTrap& trap = host->faultTrap();
    const std::pair<void (*)(), std::uint32_t> cases[] = {
        {nullWrite, 0xC0000005}, {integerDivision, 0xC0000094}, {illegalInstruction, 0xC000001D}};
    for (const auto& [fault, code] : cases) {
        EXPECT_EQ(code, trap.run(fault));
        std::uint32_t inner = 0;
        EXPECT_EQ(code, trap.run([&, action = fault] {
            inner = trap.run(action);
            action();
        }));
        EXPECT_EQ(code, inner);
        trap.resetStack();
        trap.clearFloatingPointStatus();
    }
    EXPECT_EQ(0u, trap.run([] {}));
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

TEST(GraphicsContract, LibrariesAndProcessesOfTheHost) {
    const auto host = platform::makeHostPlatform();
    platform::Libraries& libraries = host->libraries();
    EXPECT_EQ(libraries.load(L"no-such-library.dll").error, platform::kModuleNotFound);
    const auto library = libraries.load(kOwnLibrary);
    ASSERT_TRUE(library.ok());
    EXPECT_NE(libraries.function(library.value, kOwnFunction).value, nullptr);
    EXPECT_EQ(libraries.function(library.value, "noSuchFunction").error, platform::kProcedureNotFound);
    EXPECT_EQ(host->processes().runAndWait(kOwnProgram), platform::kSuccess);
    EXPECT_EQ(host->processes().runAndWait(L"C:\\no-such-program.exe"), platform::kFileNotFound);
    const auto unknown = host->graphicsSdk().function(0x12345678);
    EXPECT_TRUE(unknown.error == platform::kModuleNotFound || unknown.error == platform::kProcedureNotFound);
}

} // namespace
} // namespace orv::test
