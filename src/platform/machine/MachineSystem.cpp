#include "platform/machine/MachineSystem.h"

#include "platform/ManagementData.h"
#include "platform/machine/Node.h"
#include "platform/text.h"

#include <limits>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAnySize = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kAnyMachine = std::numeric_limits<std::uint16_t>::max();

struct SystemText {
    ErrorCode code;
    const wchar_t* text;
};

// The English sentences of the codes that a machine file is likely to name; a file can give its own.
constexpr SystemText kSystemTexts[] = {
    {0, L"The operation completed successfully."},
    {1, L"Incorrect function."},
    {2, L"The system cannot find the file specified."},
    {5, L"Access is denied."},
    {6, L"The handle is invalid."},
    {8, L"Not enough memory resources are available to process this command."},
    {13, L"The data is invalid."},
    {21, L"The device is not ready."},
    {31, L"A device attached to the system is not functioning."},
    {50, L"The request is not supported."},
    {87, L"The parameter is incorrect."},
    {111, L"The file name is too long."},
    {122, L"The data area passed to a system call is too small."},
    {126, L"The specified module could not be found."},
    {127, L"The specified procedure could not be found."},
    {1117, L"The request could not be performed because of an I/O device error."},
    {1300, L"Not all privileges or groups referenced are assigned to the caller."},
};

Architecture::Outcome outcomeOf(const Node& node, const std::string& word) {
    if (word == "answered") return Architecture::Outcome::answered;
    if (word == "noSystemLibrary") return Architecture::Outcome::noSystemLibrary;
    if (word == "noFunction") return Architecture::Outcome::noFunction;
    if (word == "callFailed") return Architecture::Outcome::callFailed;
    node.fail("architecture must be answered, noSystemLibrary, noFunction or callFailed");
}

} // namespace

MachineSystemFacts::MachineSystemFacts(const Node& root, Requests& requests) : requests_(requests) {
    for (const SystemText& row : kSystemTexts)
        errorTexts_[row.code] = std::wstring(row.text) + L"\r\n";

    if (const auto system = root.find("system")) {
        architecture_.outcome = outcomeOf(*system, system->text("architecture", "answered"));
        architecture_.processMachine =
            static_cast<std::uint16_t>(system->number("processMachine", kAnyMachine, kMachineUnknown));
        architecture_.nativeMachine =
            static_cast<std::uint16_t>(system->number("nativeMachine", kAnyMachine, kMachineAmd64));
        if (const auto version = system->find("version")) {
            constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
            version_.major = static_cast<std::uint32_t>(version->number("major", most));
            version_.minor = static_cast<std::uint32_t>(version->number("minor", most, 0));
            version_.build = static_cast<std::uint32_t>(version->number("build", most, 0));
            version->done();
        }
        for (const Node& entry : system->list("errorTexts")) {
            const auto code =
                static_cast<ErrorCode>(entry.number("code", std::numeric_limits<ErrorCode>::max()));
            errorTexts_[code] = utf8ToWide(entry.text("text"));
            entry.done();
        }
        windowsDirectory_ = utf8ToWide(system->text("windowsDirectory", wideToUtf8(windowsDirectory_)));
        system->done();
    }
    if (const auto memory = root.find("memory")) {
        memory_.totalPhys = memory->number("totalPhys", kAnySize);
        memory_.availPhys = memory->number("availPhys", memory_.totalPhys);
        if (memory_.totalPhys == 0) memory->fail("totalPhys must be above 0");
        const std::uint64_t used = memory_.totalPhys - memory_.availPhys;
        const auto computed = static_cast<std::uint64_t>(static_cast<double>(used) * 100.0 /
                                                         static_cast<double>(memory_.totalPhys));
        memory_.loadPercent = static_cast<std::uint32_t>(memory->number("load", 100, computed));
        memory_.totalPageFile = memory->number("totalPageFile", kAnySize, memory_.totalPhys);
        memory_.availPageFile = memory->number("availPageFile", kAnySize, memory_.availPhys);
        memory_.totalVirtual = memory->number("totalVirtual", kAnySize, 0x7FFE0000);
        memory_.availVirtual = memory->number("availVirtual", kAnySize, memory_.totalVirtual);
        memory_.availExtendedVirtual = memory->number("availExtendedVirtual", kAnySize, 0);
        memory->done();
    }
}

Result<MemoryFacts> MachineSystemFacts::memoryStatus() {
    if (const ErrorCode error = requests_.enter("memoryStatus")) return Result<MemoryFacts>::failed(error);
    if (memory_.totalPhys == 0) return Result<MemoryFacts>::failed(kNotSupported);
    return {memory_};
}

Architecture MachineSystemFacts::architecture() {
    if (requests_.enter("architecture") != kSuccess) return {Architecture::Outcome::callFailed, 0, 0};
    return architecture_;
}

Result<OsVersion> MachineSystemFacts::osVersion() {
    if (const ErrorCode error = requests_.enter("osVersion")) return Result<OsVersion>::failed(error);
    return {version_};
}

std::wstring MachineSystemFacts::mainModule() {
    return requests_.enter("mainModule") == kSuccess ? L"described-machine" : std::wstring();
}

std::wstring MachineSystemFacts::windowsDirectory() {
    return requests_.enter("windowsDirectory") == kSuccess ? windowsDirectory_ : std::wstring();
}

void MachineSystemFacts::showMessage(std::wstring_view title, std::wstring_view text) {
    requests_.enter("showMessage", [&] { return wideToUtf8(title) + ": " + wideToUtf8(text); });
}

std::wstring MachineSystemFacts::errorText(ErrorCode code) {
    auto found = errorTexts_.find(code);
    // A system error that travelled as an HRESULT has the same sentence.
    if (found == errorTexts_.end() && (code & 0xFFFF0000) == kComWin32)
        found = errorTexts_.find(code & 0xFFFF);
    return found == errorTexts_.end() ? std::wstring() : found->second;
}

} // namespace orv::platform
