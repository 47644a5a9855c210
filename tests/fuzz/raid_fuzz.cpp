// Any bytes as what the drivers and the library of a RAID answer: every scan ends, and the list has whole
// records.
//
// The input: the flags, then answer after answer. Each begins with a byte that tells whether it fails, and
// how many bytes of it there are; the rest of a block is as it was.

#include "disk_engine/CAtaSmart.h"
#include "platform/Libraries.h"
#include "platform/machine/Machine.h"
#include "platform/records/AmdRc2Records.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

using namespace orv;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

/// What is left of the input.
std::span<const std::uint8_t> input;

std::uint8_t nextByte() {
    if (input.empty()) return 0;
    const std::uint8_t byte = input.front();
    input = input.subspan(1);
    return byte;
}

/// Writes the next bytes of the input to a place.
void give(std::span<std::byte> into, std::size_t most) {
    const auto given = input.first(std::min({most, into.size(), input.size()}));
    input = input.subspan(given.size());
    if (!given.empty()) std::memcpy(into.data(), given.data(), given.size());
}

/// Its lengths are mostly those of the answers; a length that is told may be another.
class AnsweringFile : public platform::DeviceFile {
  public:
    platform::Result<std::uint32_t> control(std::uint32_t, std::span<const std::byte>,
                                            std::span<std::byte> out) override {
        if (input.empty()) return {0, platform::kInvalidFunction};
        const std::uint8_t how = nextByte();
        if ((how & 7) == 0) return {0, (how & 8) ? platform::kIoDevice : platform::kNotSupported};
        const std::size_t at = std::min<std::size_t>((how & 8) ? 28 : (how & 16) ? 164 : 188, out.size());
        if (at == 188) out[30] = std::byte{0}; // the status of MegaRAID
        give(out.subspan(at), std::size_t{nextByte()} * ((how & 32) ? 8 : 1));
        const auto full = static_cast<std::uint32_t>(out.size());
        return {(how & 64) ? full - std::min<std::uint32_t>(full, nextByte()) + 1 : full, platform::kSuccess};
    }
    platform::Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override {
        return {0, platform::kInvalidFunction};
    }
};

class AnsweringFiles : public platform::DeviceFiles {
  public:
    platform::Result<std::unique_ptr<platform::DeviceFile>> open(std::wstring_view,
                                                                 const platform::DeviceOpening&) override {
        return {std::make_unique<AnsweringFile>(), platform::kSuccess};
    }
    std::uint32_t driveType(std::wstring_view) override { return platform::kNoRootFolder; }
    platform::ErrorCode defineDosDevice(std::wstring_view, std::wstring_view) override {
        return platform::kSuccess;
    }
};

std::int32_t number() {
    std::int32_t value = 0;
    give(std::as_writable_bytes(std::span(&value, 1)), sizeof value);
    return value;
}
std::int32_t identify(platform::rc2::IdentifyBlock* block) {
    give(std::as_writable_bytes(std::span(block, 1)), nextByte());
    return nextByte() & 1;
}
std::int32_t smartData(std::uint32_t, std::uint8_t* data, std::uint32_t dataBytes, std::uint8_t* thresholds,
                       std::uint32_t thresholdBytes) {
    give(std::as_writable_bytes(std::span(data, dataBytes)), nextByte());
    give(std::as_writable_bytes(std::span(thresholds, thresholdBytes)), nextByte());
    return nextByte() & 1;
}

class AnsweringLibraries : public platform::Libraries {
  public:
    platform::Result<platform::Library> load(std::wstring_view) override { return {this}; }
    platform::Result<platform::LibraryFunction> function(platform::Library, const char* name) override {
        const std::string_view asked = name;
        const auto plain = [](auto* found) { return reinterpret_cast<platform::LibraryFunction>(found); };
        if (asked == "AMD_RC2_GetIdentify") return {plain(identify)};
        if (asked == "AMD_RC2_GetSmartData") return {plain(smartData)};
        return {asked == "AMD_RC2_Init" ? plain(+[]() -> std::int32_t { return 1; }) : plain(number)};
    }
    platform::Result<std::wstring> publisher(std::wstring_view) override {
        return {L"Advanced Micro Devices, Inc."};
    }
};

/// A machine without hardware but for the device files and the library.
class AnsweringMachine : public platform::PlatformOf<platform::MachineServices> {
  public:
    AnsweringMachine() : PlatformOf(platform::Node::parseText(R"({"name": "x"})", "machine")) {}
    platform::DeviceFiles& deviceFiles() override { return files_; }
    platform::Libraries& libraries() override { return libraries_; }

  private:
    AnsweringFiles files_;
    AnsweringLibraries libraries_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static AnsweringMachine machine;
    platform::use(machine);
    ProcessState::renew();
    input = {bytes, size};
    const std::uint8_t flags = nextByte();
    CAtaSmart engine;
    engine.CsmiMode = 1 + (flags >> 3 & 1);
    if (flags & 1) engine.AddDiskAMD_RC2();
    if (flags & 2) engine.AddDiskMegaRaid(1);
    if (flags & 4) engine.AddDiskCsmi(2);
    require(engine.vars.size() <= kMaxDrives);
    for (const AtaSmartInfo& asi : engine.vars)
        require(!asi.Model.empty() && !asi.CommandTypeString.empty() && asi.AttributeCount <= kSmartEntries);
    return 0;
}
