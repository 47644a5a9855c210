#pragma once

// What the fuzz targets of the drives share: the input as it is used up, AMD's library that answers out of
// it, and a machine without hardware but for these.

#include "disk_engine/CAtaSmart.h"
#include "platform/Libraries.h"
#include "platform/machine/Machine.h"
#include "platform/records/AmdRc2Records.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

namespace orv::fuzz {

inline void require(bool holds) {
    if (!holds) std::abort();
}

/// What is left of the input.
inline std::span<const std::uint8_t> input;

inline std::span<const std::uint8_t> take(std::size_t count) {
    const auto taken = input.first(std::min(count, input.size()));
    input = input.subspan(taken.size());
    return taken;
}
/// 0 behind the end.
inline std::uint8_t nextByte() {
    const auto byte = take(1);
    return byte.empty() ? 0 : byte[0];
}
/// Writes the next bytes to a place.
inline void give(std::span<std::byte> into, std::size_t most) {
    const auto given = take(std::min(most, into.size()));
    if (!given.empty()) std::memcpy(into.data(), given.data(), given.size());
}
/// As many characters as the first byte says.
inline std::wstring nextText() {
    const auto letters = take(nextByte() & 63);
    return {letters.begin(), letters.end()};
}

namespace amd {

inline std::int32_t number() {
    std::int32_t value = 0;
    give(std::as_writable_bytes(std::span(&value, 1)), sizeof value);
    return value;
}
inline std::int32_t identify(platform::rc2::IdentifyBlock* block) {
    give(std::as_writable_bytes(std::span(block, 1)), nextByte());
    return nextByte() & 1;
}
inline std::int32_t smartData(std::uint32_t, std::uint8_t* data, std::uint32_t dataBytes,
                              std::uint8_t* thresholds, std::uint32_t thresholdBytes) {
    give(std::as_writable_bytes(std::span(data, dataBytes)), nextByte());
    give(std::as_writable_bytes(std::span(thresholds, thresholdBytes)), nextByte());
    return nextByte() & 1;
}

} // namespace amd

class AnsweringLibraries : public platform::Libraries {
  public:
    platform::Result<platform::Library> load(std::wstring_view) override { return {this}; }
    platform::Result<platform::LibraryFunction> function(platform::Library, const char* name) override {
        const std::string_view asked = name;
        const auto plain = [](auto* found) { return reinterpret_cast<platform::LibraryFunction>(found); };
        if (asked == "AMD_RC2_GetIdentify") return {plain(amd::identify)};
        if (asked == "AMD_RC2_GetSmartData") return {plain(amd::smartData)};
        return {asked == "AMD_RC2_Init" ? plain(+[]() -> std::int32_t { return 1; }) : plain(amd::number)};
    }
    platform::Result<std::wstring> publisher(std::wstring_view) override {
        return {L"Advanced Micro Devices, Inc."};
    }
};

/// Each device is a `File`.
template <class File>
class AnsweringFiles : public platform::DeviceFiles {
  public:
    platform::Result<std::unique_ptr<platform::DeviceFile>> open(std::wstring_view,
                                                                 const platform::DeviceOpening&) override {
        return {std::make_unique<File>(), platform::kSuccess};
    }
    std::uint32_t driveType(std::wstring_view) override { return platform::kNoRootFolder; }
    platform::ErrorCode defineDosDevice(std::wstring_view, std::wstring_view) override {
        return platform::kSuccess;
    }
};

template <class File>
class AnsweringMachine : public platform::PlatformOf<platform::MachineServices> {
  public:
    AnsweringMachine() : PlatformOf(platform::Node::parseText(R"({"name": "x"})", "machine")) {}
    platform::DeviceFiles& deviceFiles() override { return files_; }
    platform::Libraries& libraries() override { return libraries_; }

  private:
    AnsweringFiles<File> files_;
    AnsweringLibraries libraries_;
};

} // namespace orv::fuzz

// Of these two are the names of the targets.
using namespace orv;
using namespace orv::fuzz;
