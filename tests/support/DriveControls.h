#pragma once

// Described drives for tests, and control codes that are sent to them.

#include "platform/machine/Machine.h"
#include "platform/records/StorageRecords.h"

#include <fmt/format.h>

#include <cstring>

namespace orv::platform::drives {

using Bytes = std::vector<std::byte>;

inline constexpr std::int64_t kSecond = 1'000'000'000;

/// Blocks of drives: bytes that tell which block it is.
inline std::string block(unsigned byte, std::size_t bytes = 512) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i)
        text += fmt::format("{:02x}", byte);
    return text;
}

inline std::string ataBlocks() {
    return R"("identify": ")" + block(1) + R"(", "smart": ")" + block(2) + R"(", "thresholds": ")" +
           block(3) + '"';
}
inline std::string nvmeBlocks() {
    return R"("identify": ")" + block(1, 4096) + R"(", "namespace": ")" + block(5, 100) +
           R"(", "health": ")" + block(4) + '"';
}

inline std::string drive(std::string_view paths, std::string_view more = "") {
    std::string list;
    for (std::size_t at = 0; at <= paths.size();) {
        const std::size_t end = std::min(paths.find(' ', at), paths.size());
        list += fmt::format(R"({}"{}")", list.empty() ? "" : ", ", paths.substr(at, end - at));
        at = end + 1;
    }
    const bool nvme = paths.find("vm") != std::string_view::npos || paths.starts_with("samsung") ||
                      paths.starts_with("storage");
    return fmt::format(
        R"({{"number": 0, "scsiAddress": {{"port": 2, "path": 1, "target": 3}}, "paths": [{}], {}{}{}}})",
        list, nvme ? nvmeBlocks() : ataBlocks(), more.empty() ? "" : ", ", more);
}

inline std::unique_ptr<Machine> machineOf(const std::string& drives, std::string_view more = "") {
    return Machine::fromText(fmt::format(R"({{"name": "T", "drives": [{}]{}}})", drives, more));
}

template <class T>
Bytes bytesOf(const T& record, std::size_t size = sizeof(T)) {
    Bytes bytes(size);
    std::memcpy(bytes.data(), &record, std::min(size, sizeof record));
    return bytes;
}

constexpr const wchar_t* kDrive = LR"(\\.\PhysicalDrive0)";

struct Sent {
    ErrorCode error;
    std::uint32_t bytes;
    Bytes out;
    unsigned at(std::size_t place) const { return std::to_integer<unsigned>(out.at(place)); }
    template <class T>
    T as() const {
        T record;
        std::memcpy(&record, out.data(), sizeof record);
        return record;
    }
};

/// A control code with as much room for its answer.
inline Sent send(Machine& machine, const wchar_t* device, std::uint32_t code, const Bytes& in,
                 std::size_t room) {
    const auto file = machine.deviceFiles().open(device);
    if (!file.ok()) return {file.error, 0, {}};
    Bytes out(room);
    const auto answer = file.value->control(code, in, out);
    return {answer.error, answer.value, std::move(out)};
}

} // namespace orv::platform::drives
