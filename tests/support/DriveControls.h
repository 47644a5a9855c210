#pragma once

// Described drives for tests, and the control codes that they are asked by.

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

/// A control code and the room for its answer.
struct Control {
    const wchar_t* device;
    std::uint32_t code;
    Bytes in;
    std::size_t out;
};
constexpr const wchar_t* kDrive = LR"(\\.\PhysicalDrive0)";

inline Control ataIdentify() {
    ATA_PASS_THROUGH_EX head{};
    head.Length = sizeof head;
    head.AtaFlags = ATA_FLAGS_DATA_IN;
    head.DataTransferLength = 512;
    head.TimeOutValue = 2;
    head.DataBufferOffset = 44;
    head.CurrentTaskFile = {0, 1, 1, 0, 0, 0xA0, 0xEC, 0};
    return {kDrive, IOCTL_ATA_PASS_THROUGH, bytesOf(head, 44 + 512), 44 + 512};
}

inline Control smartIdentify() {
    SENDCMDINPARAMS in{};
    in.cBufferSize = 512;
    in.irDriveRegs = {0, 1, 1, 0, 0, 0xA0, 0xEC, 0};
    return {kDrive, SMART_RCV_DRIVE_DATA, bytesOf(in, 33), 528};
}

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

inline Sent send(Machine& machine, const Control& control) {
    const auto file = machine.deviceFiles().open(control.device);
    if (!file.ok()) return {file.error, 0, {}};
    Bytes out(control.out);
    const auto answer = file.value->control(control.code, control.in, out);
    return {answer.error, answer.value, std::move(out)};
}

} // namespace orv::platform::drives
