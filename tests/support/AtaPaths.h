#pragma once

// Described drives on one path, the four ATA commands that the engine sends on it, and control codes.

#include "support/DescribedDrives.h"

namespace orv::test {

using Bytes = std::vector<std::byte>;

/// Blocks of drives: bytes that tell which block it is.
inline std::string block(unsigned byte, std::size_t bytes = 512) {
    return hexOf(std::vector(bytes, static_cast<std::uint8_t>(byte)));
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
    for (const char letter : paths)
        list += letter == ' ' ? std::string(R"(", ")") : std::string(1, letter);
    const bool nvme = paths.find("vm") != std::string_view::npos || paths.starts_with("samsung") ||
                      paths.starts_with("storage");
    static constexpr char described[] =
        R"({{"number": 0, "scsiAddress": {{"port": 2, "path": 1, "target": 3}}, "paths": ["{}"], {}{}{}}})";
    return fmt::format(described, list, nvme ? nvmeBlocks() : ataBlocks(), more.empty() ? "" : ", ", more);
}

inline std::unique_ptr<platform::Machine> machineOf(const std::string& drives, std::string_view more = "") {
    return platform::Machine::fromText(fmt::format(R"({{"name": "T", "drives": [{}]{}}})", drives, more));
}

template <class T>
Bytes bytesOf(const T& record, std::size_t size = sizeof(T)) {
    Bytes bytes(size);
    std::memcpy(bytes.data(), &record, std::min(size, sizeof record));
    return bytes;
}

constexpr const wchar_t* kDrive = LR"(\\.\PhysicalDrive0)";

struct Sent {
    platform::ErrorCode error;
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
inline Sent send(platform::Machine& machine, const wchar_t* device, std::uint32_t code, const Bytes& in,
                 std::size_t room) {
    const auto file = machine.deviceFiles().open(device);
    if (!file.ok()) return {file.error, 0, {}};
    Bytes out(room);
    const auto answer = file.value->control(code, in, out);
    return {answer.error, answer.value, std::move(out)};
}

enum Operation { identify, readData, readThresholds, enable };

constexpr std::uint8_t kKept = 0xEE; // what the record's blocks hold before

inline const std::string kOpenDrive = R"(openDevice \\.\PhysicalDrive0 attributes 0x0)";
inline const std::string kOpenPort = R"(openDevice \\.\Scsi2: attributes 0x0)";

/// A drive whose one path gives another answer than usual.
inline std::string answering(const std::string& path, const std::string& answer) {
    return drive(path, R"("answers": [{"path": ")" + path + R"(", )" + answer + "}]");
}

/// A machine with drives, and an engine whose record has the first one's address.
struct AtaPath : DriveOnMachine {
    explicit AtaPath(const std::string& drives, std::uint32_t commandType = 1, std::uint8_t target = 0xA0,
                     const std::string& more = "")
        : DriveOnMachine(drives, more) {
        asi.CommandType = commandType;
        asi.Target = target;
        asi.AttributeCount = 1; // as after a good read of the attributes
        for (const std::span<std::uint8_t> kept :
             {std::span<std::uint8_t>(asi.Identify), {asi.SmartReadData}, {asi.SmartReadThreshold}})
            std::ranges::fill(kept, kKept);
    }

    bool ask(Operation operation) {
        const std::span<std::uint8_t> data(asi.Identify, kIdentifyBytes);
        machine->requests().clearRecord();
        trace.clear();
        const bool plain = asi.CommandType == CMD_TYPE_PHYSICAL_DRIVE,
                   mini = asi.CommandType == CMD_TYPE_SCSI_MINIPORT;
        const auto [target, type] = std::pair(asi.Target, asi.CommandType);
        // clang-format off
        switch (operation) {
        case identify: return plain ? engine->DoIdentifyDevicePd(0, target, data) : mini ? engine->DoIdentifyDeviceScsi(2, 3, data) : engine->DoIdentifyDeviceSat(0, target, data, type);
        case readData: return plain ? engine->GetSmartAttributePd(0, target, asi) : mini ? engine->GetSmartAttributeScsi(2, 3, asi) : engine->GetSmartAttributeSat(0, target, asi);
        case enable: return plain ? engine->ControlSmartStatusPd(0, target, 0xD8) : mini ? engine->ControlSmartStatusScsi(2, 3, 0xD8) : engine->ControlSmartStatusSat(0, target, 0xD8, type);
        default: return plain ? engine->GetSmartThresholdPd(0, target, asi) : mini ? engine->GetSmartThresholdScsi(2, 3, asi) : engine->GetSmartThresholdSat(0, target, asi);
        }
        // clang-format on
    }

    std::vector<std::string> record() { return requestsOf(*machine); }
    std::span<const std::uint8_t> blockOf(Operation operation) const {
        return operation == identify   ? std::span(asi.Identify).first(kIdentifyBytes)
               : operation == readData ? std::span<const std::uint8_t>(asi.SmartReadData)
                                       : std::span<const std::uint8_t>(asi.SmartReadThreshold);
    }

    AtaSmartInfo asi;
};

/// A drive that answers on `path` alone, with SMART disabled: each operation works by one open and the one
/// control code in `sent`, in the order identify, data, thresholds, enable; an empty one is not compared.
inline void expectCommands(AtaPath& path, const std::string& opening,
                           const std::array<std::string, 4>& sent) {
    EXPECT_FALSE(path.ask(readData)) << "SMART is not enabled";
    for (const Operation operation : {identify, enable, readData, readThresholds}) {
        EXPECT_TRUE(path.ask(operation)) << operation;
        ASSERT_EQ(2U, path.record().size()) << operation;
        EXPECT_EQ(opening, path.record()[0]) << operation;
        if (!sent[operation].empty()) {
            EXPECT_EQ(sent[operation], path.record()[1]) << operation;
        }
    }
    EXPECT_THAT(path.blockOf(identify), testing::Each(1));
    EXPECT_THAT(path.blockOf(readData), testing::Each(2));
    EXPECT_THAT(path.blockOf(readThresholds), testing::Each(3));
    EXPECT_EQ(30U, path.asi.AttributeCount);
}

} // namespace orv::test
