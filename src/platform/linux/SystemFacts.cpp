#include "platform/ManagementData.h"
#include "platform/linux/ErrorCodes.h"
#include "platform/linux/Services.h"
#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <sys/utsname.h>
#include <unistd.h>

namespace orv::platform {

namespace {

constexpr std::uint64_t kBytesPerKiB = 1024;

/// User address space of a process: 47 bits on a 64-bit kernel less the guard page, 3 GiB in 32 bits.
constexpr std::uint64_t kUserAddressSpace = sizeof(void*) == 8 ? 0x7FFFFFFFF000 : 0xC0000000;

/// Value of a "Name:   123 kB" line in bytes; false when the line is missing.
bool kibibytes(std::string_view meminfo, std::string_view name, std::uint64_t& bytes) {
    for (std::size_t at = 0; (at = meminfo.find(name, at)) != meminfo.npos; at += name.size()) {
        if (at != 0 && meminfo[at - 1] != '\n') continue;
        std::string_view rest = meminfo.substr(at + name.size());
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
        std::uint64_t value = 0;
        if (std::from_chars(rest.data(), rest.data() + rest.size(), value).ec != std::errc()) return false;
        bytes = value * kBytesPerKiB;
        return true;
    }
    return false;
}

/// Address space in use, bytes: the first number of statm, in pages. 0 when it cannot be read.
std::uint64_t virtualInUse(PolledFile& statm) {
    const std::string_view text = statm.read().value;
    std::uint64_t pages = 0;
    std::from_chars(text.data(), text.data() + text.size(), pages);
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

struct MachineName {
    std::string_view name;
    std::uint16_t machine;
};

constexpr MachineName kMachineNames[] = {
    {"x86_64", kMachineAmd64}, {"i386", kMachineI386},        {"i486", kMachineI386},
    {"i586", kMachineI386},    {"i686", kMachineI386},        {"aarch64", kMachineArm64},
    {"armv8l", kMachineArm},   {"aarch64_be", kMachineArm64},
};

} // namespace

Result<MemoryFacts> LinuxSystemFacts::memoryStatus() {
    const auto meminfo = meminfo_.read();
    if (!meminfo.ok()) return Result<MemoryFacts>::failed(meminfo.error);
    MemoryFacts facts;
    std::uint64_t committed = 0;
    const std::string_view text = meminfo.value;
    if (!kibibytes(text, "MemTotal:", facts.totalPhys) || facts.totalPhys == 0 ||
        !kibibytes(text, "MemAvailable:", facts.availPhys) ||
        !kibibytes(text, "CommitLimit:", facts.totalPageFile) || !kibibytes(text, "Committed_AS:", committed))
        return Result<MemoryFacts>::failed(kInvalidData);
    facts.availPhys = std::min(facts.availPhys, facts.totalPhys);
    facts.loadPercent =
        static_cast<std::uint32_t>((facts.totalPhys - facts.availPhys) * 100 / facts.totalPhys);
    // A kernel that overcommits promises more than its limit; nothing is free then.
    facts.availPageFile = facts.totalPageFile - std::min(committed, facts.totalPageFile);
    facts.totalVirtual = kUserAddressSpace;
    facts.availVirtual = kUserAddressSpace - std::min(virtualInUse(statm_), kUserAddressSpace);
    return {facts};
}

Architecture LinuxSystemFacts::architecture() {
    Architecture answer;
    utsname system{};
    if (::uname(&system) != 0) {
        answer.outcome = Architecture::Outcome::callFailed;
        return answer;
    }
    answer.nativeMachine = kMachineUnknown;
    const std::string_view native = system.machine;
    for (const MachineName& row : kMachineNames)
        if (row.name == native) answer.nativeMachine = row.machine;
    if (native.starts_with("armv")) answer.nativeMachine = kMachineArm;
    const bool narrowProcess = sizeof(void*) == 4;
    if (narrowProcess && answer.nativeMachine == kMachineAmd64) answer.processMachine = kMachineI386;
    if (narrowProcess && native.starts_with("a")) answer.processMachine = kMachineArm;
    return answer;
}

Result<OsVersion> LinuxSystemFacts::osVersion() {
    return {kTakenForWindows};
}

std::wstring LinuxSystemFacts::mainModule() {
    std::error_code error;
    return utf8ToWide(std::filesystem::read_symlink("/proc/self/exe", error).string());
}

std::wstring LinuxSystemFacts::windowsDirectory() {
    return L"C:\\"; // the root file system is the first that gets a letter
}

void LinuxSystemFacts::showMessage(std::wstring_view title, std::wstring_view text) {
    const std::string line = wideToUtf8(title) + ": " + wideToUtf8(text) + "\n";
    std::fputs(line.c_str(), stderr);
}

std::wstring LinuxSystemFacts::errorText(ErrorCode code) {
    if ((code & 0xFFFF0000) == kComWin32) code &= 0xFFFF; // a system error that travelled as an HRESULT
    if (code == kTimedOut)
        return L"The device did not answer in time\r\n"; // the system's text speaks of a connection
    const int value = errnoFromError(code);
    if (value == 0) return {};
    char buffer[256] = {};
    // The GNU form: the text may stand in the buffer or in the C library.
    return utf8ToWide(::strerror_r(value, buffer, sizeof buffer)) + L"\r\n";
}

} // namespace orv::platform
