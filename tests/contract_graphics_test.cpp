#include "platform/GraphicsSdk.h"
#include "platform/Processes.h"
#include "platform/records/NvapiRecords.h"
#include "support/TestMachine.h"

#include <gtest/gtest.h>

namespace orv {
namespace {

using namespace platform;

#ifdef _WIN32
constexpr wchar_t kOwnLibrary[] = L"kernel32.dll";
constexpr char kOwnFunction[] = "GetTickCount";
constexpr wchar_t kOwnProgram[] = L"C:\\windows\\system32\\hostname.exe";
#else
constexpr wchar_t kOwnLibrary[] = L"libc.so.6";
constexpr char kOwnFunction[] = "getpid";
constexpr wchar_t kOwnProgram[] = L"/bin/true";
#endif

/// What a side must have for its libraries and programs to be found.
struct Present {
    const wchar_t* library;
    const char* function;
    const wchar_t* program;
};

void check(Platform& side, const Present& present) {
    Libraries& libraries = side.libraries();
    EXPECT_EQ(libraries.load(L"no-such-library.dll").error, kModuleNotFound);
    const auto library = libraries.load(present.library);
    ASSERT_TRUE(library.ok());
    EXPECT_NE(libraries.function(library.value, present.function).value, nullptr);
    EXPECT_EQ(libraries.function(library.value, "noSuchFunction").error, kProcedureNotFound);
    EXPECT_EQ(side.processes().runAndWait(present.program), kSuccess);
    EXPECT_EQ(side.processes().runAndWait(L"C:\\no-such-program.exe"), kFileNotFound);
}

TEST(GraphicsContract, LibrariesAndProcessesOfTheHost) {
    const auto host = makeHostPlatform();
    check(*host, {kOwnLibrary, kOwnFunction, kOwnProgram});
    const auto unknown = host->graphicsSdk().function(0x12345678);
    EXPECT_TRUE(unknown.error == kModuleNotFound || unknown.error == kProcedureNotFound);
}

TEST(GraphicsContract, LibrariesAndProcessesOfADescribedMachine) {
    const auto machine =
        Machine::fromText(R"({"name": "m", "graphics": {"nvidia": {"helper": true}, "amd": {}}})");
    check(*machine, {L"atiadlxx.dll", "ADL_Main_Control_Create", L"C:\\active_nvidia.exe"});
    EXPECT_TRUE(machine->graphicsSdk().function(nvapi::kInitialize).ok());
    EXPECT_EQ(machine->graphicsSdk().function(0x12345678).error, kProcedureNotFound);
}

} // namespace
} // namespace orv
