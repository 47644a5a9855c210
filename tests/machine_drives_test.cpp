#include "platform/machine/Machine.h"
#include "platform/records/NvmeRecords.h"
#include "platform/records/StorageRecords.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <charconv>
#include <cstring>

namespace orv::platform {
namespace {

using Bytes = std::vector<std::byte>;
using testing::HasSubstr;

constexpr std::int64_t kSecond = 1'000'000'000;

/// Blocks of drives: bytes that tell which block it is.
std::string block(unsigned byte, std::size_t bytes = 512) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i)
        text += fmt::format("{:02x}", byte);
    return text;
}

std::string ataBlocks() {
    return R"("identify": ")" + block(1) + R"(", "smart": ")" + block(2) + R"(", "thresholds": ")" +
           block(3) + '"';
}
std::string nvmeBlocks() {
    return R"("identify": ")" + block(1, 4096) + R"(", "namespace": ")" + block(5, 100) +
           R"(", "health": ")" + block(4) + '"';
}

std::string drive(std::string_view paths, std::string_view more = "") {
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

std::unique_ptr<Machine> machineOf(const std::string& drives, std::string_view more = "") {
    return Machine::fromText(fmt::format(R"({{"name": "T", "drives": [{}]{}}})", drives, more));
}

template <class T>
Bytes bytesOf(const T& record, std::size_t size = sizeof(T)) {
    Bytes bytes(size);
    std::memcpy(bytes.data(), &record, std::min(size, sizeof record));
    return bytes;
}

/// A control code and where its answer has the data.
struct Control {
    const wchar_t* device;
    std::uint32_t code;
    Bytes in;
    std::size_t out;
    std::size_t dataAt;
};
constexpr const wchar_t* kDrive = LR"(\\.\PhysicalDrive0)";
constexpr const wchar_t* kPort = LR"(\\.\Scsi2:)";

IDEREGS registers(std::uint8_t command, std::uint8_t feature, std::uint8_t target) {
    const bool smart = command == 0xB0;
    return {feature,
            1,
            1,
            static_cast<std::uint8_t>(smart ? 0x4F : 0),
            static_cast<std::uint8_t>(smart ? 0xC2 : 0),
            target,
            command,
            0};
}

Control ata(std::uint8_t command, std::uint8_t feature, std::uint8_t target = 0xA0,
            std::uint32_t bytes = 512) {
    ATA_PASS_THROUGH_EX head{};
    head.Length = sizeof head;
    head.AtaFlags = bytes != 0 ? ATA_FLAGS_DATA_IN : 0;
    head.DataTransferLength = bytes;
    head.TimeOutValue = 2;
    head.DataBufferOffset = 44;
    head.CurrentTaskFile = registers(command, feature, target);
    return {kDrive, IOCTL_ATA_PASS_THROUGH, bytesOf(head, 44 + bytes), 44 + bytes, 44};
}

Control ide(std::uint8_t command, std::uint8_t feature) {
    Bytes in(12 + 512);
    const IDEREGS regs = registers(command, feature, 0xA0);
    const std::uint32_t size = 512;
    std::memcpy(in.data(), &regs, sizeof regs);
    std::memcpy(in.data() + 8, &size, sizeof size);
    return {kDrive, IOCTL_IDE_PASS_THROUGH, in, in.size(), 12};
}

Control smart(std::uint8_t command, std::uint8_t feature) {
    SENDCMDINPARAMS in{};
    in.cBufferSize = 512;
    in.irDriveRegs = registers(command, feature, 0xA0);
    return {kDrive, SMART_RCV_DRIVE_DATA, bytesOf(in, 33), 528, 16};
}

SRB_IO_CONTROL miniport(std::string_view signature, std::uint32_t code, std::uint32_t length) {
    SRB_IO_CONTROL head{sizeof head, {}, 2, code, 0, length};
    std::memcpy(head.Signature, signature.data(), sizeof head.Signature);
    return head;
}

Control scsiDisk(std::uint32_t code, std::uint8_t command, std::uint8_t feature, std::uint8_t target = 3) {
    Bytes in = bytesOf(miniport("SCSIDISK", code, 529), 60);
    SENDCMDINPARAMS parameters{};
    parameters.irDriveRegs = registers(command, feature, 0);
    parameters.bDriveNumber = target;
    std::memcpy(in.data() + 28, &parameters, sizeof parameters);
    return {kPort, IOCTL_SCSI_MINIPORT, in, 557, 44};
}

Control siliconImage(std::uint8_t bus, const wchar_t* device = kPort) {
    Bytes in = bytesOf(miniport("CMD_IDE ", 0x42008, 536), 564);
    in[28] = std::byte{bus};
    return {device, IOCTL_SCSI_MINIPORT, in, 564, 52};
}

Control scsi(std::string_view cdb, std::uint32_t bytes, std::uint8_t dataIn = 1, std::string_view data = "") {
    SCSI_PASS_THROUGH head{};
    head.Length = sizeof head;
    head.CdbLength = static_cast<std::uint8_t>((cdb.size() + 1) / 3);
    head.SenseInfoLength = 24;
    head.DataIn = dataIn;
    head.DataTransferLength = bytes;
    head.TimeOutValue = 2;
    head.DataBufferOffset = 80;
    head.SenseInfoOffset = 48;
    const auto hex = [](std::string_view text, std::size_t i) {
        std::uint8_t value = 0;
        std::from_chars(&text[3 * i], &text[3 * i] + 2, value, 16);
        return value;
    };
    for (std::size_t i = 0; i < head.CdbLength; ++i)
        head.Cdb[i] = hex(cdb, i);
    Bytes in = bytesOf(head, 80 + bytes);
    for (std::size_t i = 0; i < (data.size() + 1) / 3; ++i)
        in[80 + i] = std::byte{hex(data, i)};
    return {kDrive, IOCTL_SCSI_PASS_THROUGH, in, 80 + bytes, 80};
}

struct NvmeCommand {
    std::uint32_t opcode;
    std::uint32_t space;
    std::uint32_t dword10;
};
constexpr NvmeCommand kNamespace{6, 1, 0};
constexpr NvmeCommand kController{6, 0, 1};
constexpr NvmeCommand kHealth{2, 0xFFFFFFFF, 0x007F0002};

Control nvme(std::string_view signature, const NvmeCommand& command, std::uint32_t address = 0x86010300) {
    NvmeMiniportBlock in{};
    in.header = miniport(signature, 0xE0002000, 4220);
    in.header.ReturnCode = address;
    in.command[0] = command.opcode;
    in.command[1] = command.space;
    in.command[10] = command.dword10;
    in.dataLength = 4096;
    return {kPort, IOCTL_SCSI_MINIPORT, bytesOf(in), sizeof in, 152};
}

Control intel(const NvmeCommand& command, std::uint8_t path = 1) {
    IntelNvmBlock in{};
    in.header = miniport("IntelNvm", 0xF0002808, 4232);
    in.pathId = path;
    in.command[0] = command.opcode;
    in.command[1] = command.space;
    in.command[10] = command.dword10;
    in.dataOffset = 164;
    in.dataLength = 4096;
    return {kPort, IOCTL_SCSI_MINIPORT, bytesOf(in), sizeof in, 164};
}

Control query(std::uint32_t type, std::uint32_t value, std::uint32_t sub) {
    const STORAGE_PROPERTY_QUERY in{49, 0, 3, type, value, sub, 40, 4096, 0, {}};
    return {kDrive, IOCTL_STORAGE_QUERY_PROPERTY, bytesOf(in, 4144), 4144, 48};
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

Sent send(DeviceFile& file, const Control& control) {
    Bytes out(control.out);
    const auto answer = file.control(control.code, control.in, out);
    return {answer.error, answer.value, std::move(out)};
}

Sent send(Machine& machine, const Control& control) {
    const auto file = machine.deviceFiles().open(control.device);
    if (!file.ok()) return {file.error, 0, {}};
    return send(*file.value, control);
}

/// What tells one answer from another: the error, or the data's first byte.
std::string outcome(const Sent& sent, const Control& control) {
    if (sent.error != kSuccess) return fmt::format("error {}", sent.error);
    if (control.dataAt >= sent.out.size()) return fmt::format("{} bytes", sent.bytes);
    return fmt::format("{} bytes of {}", sent.bytes, sent.at(control.dataAt));
}

struct PathCase {
    const char* paths;
    Control control;
    const char* expected;
};

TEST(MachineDrivesTest, EachPathAnswersItsOwnBlocks) {
    const PathCase cases[] = {
        {"ataPassThrough", ata(0xEC, 0), "556 bytes of 1"},
        {"ataPassThrough", ata(0xB0, 0xD0), "556 bytes of 2"},
        {"ataPassThrough", ata(0xB0, 0xD1), "556 bytes of 3"},
        {"ataPassThrough", ata(0xB0, 0xD8, 0xA0, 0), "44 bytes"},
        {"ataPassThrough", ata(0xEC, 0, 0xB0), "error 1117"},
        {"ataPassThrough", ide(0xEC, 0), "error 1"},
        {"ataPassThrough", smart(0xEC, 0), "error 1"},
        {"ataPassThrough", scsi("A1 08 0E 00 01 00 00 00 A0 EC 00 00", 512), "error 1117"},
        {"idePassThrough", ide(0xEC, 0), "524 bytes of 1"},
        {"idePassThrough", ata(0xEC, 0), "error 1"},
        {"smartIoctl", smart(0xEC, 0), "528 bytes of 1"},
        {"smartIoctl", smart(0xB0, 0xD1), "528 bytes of 3"},
        {"scsiDisk", scsiDisk(0x1B0501, 0xEC, 0), "557 bytes of 1"},
        {"scsiDisk", scsiDisk(0x1B0503, 0xB0, 0xD1), "557 bytes of 3"},
        {"scsiDisk", scsiDisk(0x1B0501, 0xEC, 0, 4), "error 1117"},
        {"scsiDisk", siliconImage(1), "error 1"},
        {"siliconImage", siliconImage(1), "564 bytes of 1"},
        {"siliconImage", siliconImage(0), "error 1117"},
        {"predictFailure", {kDrive, IOCTL_STORAGE_PREDICT_FAILURE, {}, 516, 4}, "516 bytes of 2"},
        {"sat", {kDrive, IOCTL_STORAGE_PREDICT_FAILURE, {}, 516, 4}, "error 1"},
        {"storageQuery", query(1, 0, 1), "4144 bytes of 5"},
        {"storageQuery", query(1, 1, 0), "4144 bytes of 1"},
        {"storageQuery", query(2, 2, 0), "4144 bytes of 4"},
        {"nvmeMini", nvme("NvmeMini", kNamespace), "4248 bytes of 5"},
        {"nvmeMini", nvme("NvmeMini", kController), "4248 bytes of 1"},
        {"nvmeMini", nvme("NvmeMini", {2, 0xFFFFFFFF, 2}), "4248 bytes of 4"},
        {"nvmeMini", nvme("NvmeRAID", kController), "error 1"},
        {"nvmeRaid", nvme("NvmeRAID", kHealth), "4248 bytes of 4"},
        {"nvmeRaid", nvme("NvmeRAID", kHealth, 0x86010400), "error 1117"},
        {"intelNvm", intel(kNamespace), "4260 bytes of 5"},
        {"intelNvm", intel(kHealth, 2), "error 1117"},
    };
    for (const PathCase& test : cases) {
        const auto machine = machineOf(drive(test.paths));
        EXPECT_EQ(test.expected, outcome(send(*machine, test.control), test.control))
            << test.paths << " " << &test - cases;
    }
}

TEST(MachineDrivesTest, BridgesUnderstandTheirOwnDialect) {
    struct Dialect {
        const char* path;
        const char* identify;
        const char* smart;
        const char* thresholds;
        const char* control;
    };
    constexpr Dialect dialects[] = {
        {"sat", "A1 08 0E 00 01 00 00 00 A0 EC 00 00", "A1 08 0E D0 01 01 4F C2 A0 B0 00 00",
         "A1 08 0E D1 01 01 4F C2 A0 B0 00 00", "A1 06 0E D8 00 01 4F C2 A0 B0 00 00"},
        {"asm1352r", "A1 1C 0E 00 01 00 00 00 A0 EC 00 00", "A1 1C 0E D0 01 01 4F C2 A0 B0 00 00",
         "A1 1C 0E D1 01 01 4F C2 A0 B0 00 00", "A1 1C 0E D8 00 01 4F C2 A0 B0 00 00"},
        {"sunplus", "F8 00 22 10 01 00 01 00 00 00 A0 EC", "F8 00 22 10 01 D0 01 00 4F C2 A0 B0",
         "F8 00 22 10 01 D1 01 01 4F C2 A0 B0", "F8 00 22 10 01 D8 01 00 4F C2 A0 B0"},
        {"ioData", "E3 00 00 01 01 00 00 A0 EC 00 00 00", "E3 00 D0 00 00 4F C2 A0 B0 00 00 00",
         "E3 00 D1 00 00 4F C2 A0 B0 00 00 00", "E3 00 D8 00 00 4F C2 A0 B0 00 00 00"},
        {"logitec", "E0 00 00 00 00 00 00 A0 EC 4C", "E0 00 D0 00 00 4F C2 A0 B0 4C",
         "E0 00 D1 00 00 4F C2 A0 B0 4C", "E0 00 D8 00 00 4F C2 A0 B0 4C"},
        {"prolific", "D8 15 00 00 06 7B 00 00 02 00 01 00 00 00 A0 EC",
         "D8 15 00 D0 06 7B 00 00 02 00 01 00 4F C2 A0 B0", "D8 15 00 D1 06 7B 00 00 02 00 01 01 4F C2 A0 B0",
         "D8 15 00 D8 06 7B 00 00 02 00 01 00 4F C2 A0 B0"},
        {"jmicron", "DF 10 00 02 00 00 01 00 00 00 A0 EC", "DF 10 00 02 00 D0 01 01 4F C2 A0 B0",
         "DF 10 00 02 00 D1 01 01 4F C2 A0 B0", "DF 10 00 02 00 D8 01 01 4F C2 A0 B0"},
        {"cypress", "24 24 00 BE 01 00 00 01 00 00 00 A0 EC 00 00 00",
         "24 24 00 BE 01 00 D0 00 00 4F C2 A0 B0 00 00 00", "24 24 00 BE 01 00 D1 00 00 4F C2 A0 B0 00 00 00",
         "24 24 00 BE 00 00 D8 00 00 4F C2 A0 B0 00 00 00"},
    };
    for (const Dialect& own : dialects) {
        const auto machine = machineOf(drive(own.path, R"("smartEnabled": false)"));
        const auto told = [&](const char* cdb, std::uint32_t bytes = 512) {
            const Control control = scsi(cdb, bytes);
            return outcome(send(*machine, control), control);
        };
        EXPECT_EQ("error 1117", told(own.smart)) << own.path << ": SMART is not enabled";
        EXPECT_EQ("80 bytes", told(own.control, 0)) << own.path;
        EXPECT_EQ("592 bytes of 1", told(own.identify)) << own.path;
        EXPECT_EQ("592 bytes of 2", told(own.smart)) << own.path;
        EXPECT_EQ("592 bytes of 3", told(own.thresholds)) << own.path;
        for (const Dialect& other : dialects) {
            if (&other == &own) continue;
            EXPECT_EQ("error 1117", told(other.identify)) << own.path << " by " << other.path;
        }
    }
}

TEST(MachineDrivesTest, NvmeBridgesAnswerCommandsAndPairs) {
    const auto asmedia = machineOf(drive("asmediaNvme"));
    EXPECT_EQ(1U, send(*asmedia, scsi("E6 06 00 01 00 00 00 00 00 00 00 00 00 00 00 00", 4096)).at(80));
    EXPECT_EQ(4U, send(*asmedia, scsi("E6 02 00 02 00 00 00 7F 00 00 00 00 00 00 00 00", 512)).at(80));
    const auto realtek = machineOf(drive("realtekNvme"));
    EXPECT_EQ(1U, send(*realtek, scsi("E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00", 4096)).at(80));
    EXPECT_EQ(kIoDevice, send(*realtek, scsi("E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00", 512)).error);

    const auto samsung = machineOf(drive("samsung"));
    const Control back = scsi("A2 FE 00 06 00 00 00 00 01 00 00 00 00 00 00 00", 512);
    const Control out =
        scsi("B5 FE 00 06 00 00 00 00 00 40 00 00 00 00 00 00", 512, 0, "02 00 00 00 FF FF FF FF");
    EXPECT_EQ(kIoDevice, send(*samsung, back).error) << "nothing was asked for";
    EXPECT_EQ(kSuccess, send(*samsung, out).error);
    EXPECT_EQ("592 bytes of 4", outcome(send(*samsung, back), back));
    EXPECT_EQ(kIoDevice, send(*samsung, back).error) << "a request is answered once";

    std::string ask = "4E 56 4D 45 00 00 00 00 06";
    for (int i = 9; i < 48; ++i)
        ask += " 00";
    ask += " 01";
    const auto identifyBy = [&](const char* path, std::uint32_t bytes) {
        const auto machine = machineOf(drive(path));
        const Control answer = scsi("A1 82 00 00 02 00 00 00 00 00 00 00", bytes);
        send(*machine, scsi("A1 80 00 00 02 00 00 00 00 00 00 00", bytes, 0, ask));
        return outcome(send(*machine, answer), answer);
    };
    EXPECT_EQ("4176 bytes of 1", identifyBy("jmicronNvme", 4096));
    EXPECT_EQ("error 1117", identifyBy("jmicronNvme", 512));
    EXPECT_EQ("592 bytes of 1", identifyBy("jmicronNvmeUsb2", 512));
    EXPECT_EQ("error 1117", identifyBy("jmicronNvmeUsb2", 4096));
}

} // namespace
} // namespace orv::platform
