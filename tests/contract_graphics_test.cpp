#include "platform/GraphicsSdk.h"
#include "platform/Platform.h"
#include "platform/Processes.h"

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

TEST(GraphicsContract, LibrariesAndProcessesOfTheHost) {
    const auto host = makeHostPlatform();
    Libraries& libraries = host->libraries();
    EXPECT_EQ(libraries.load(L"no-such-library.dll").error, kModuleNotFound);
    const auto library = libraries.load(kOwnLibrary);
    ASSERT_TRUE(library.ok());
    EXPECT_NE(libraries.function(library.value, kOwnFunction).value, nullptr);
    EXPECT_EQ(libraries.function(library.value, "noSuchFunction").error, kProcedureNotFound);
    EXPECT_EQ(host->processes().runAndWait(kOwnProgram), kSuccess);
    EXPECT_EQ(host->processes().runAndWait(L"C:\\no-such-program.exe"), kFileNotFound);
    const auto unknown = host->graphicsSdk().function(0x12345678);
    EXPECT_TRUE(unknown.error == kModuleNotFound || unknown.error == kProcedureNotFound);
}

} // namespace
} // namespace orv
