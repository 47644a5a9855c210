#include "platform/machine/drives/MachineBridges.h"

#include <algorithm>
#include <charconv>

namespace orv::platform {

namespace {

using enum DriveOperation;
using Way = DriveWay;

constexpr std::uint8_t kReadData = 0xD0;
constexpr std::uint8_t kReadThresholds = 0xD1;
constexpr std::size_t kNvmeBlockBytes = 4096;

/// A command block of a bridge: bytes in hexadecimal, "tt" the device byte, "ff" the feature of a control,
/// "ll" the address of a log, "pp" the low byte of its page and "PP" the high one.
struct CommandBlock {
    Way way;
    DriveOperation operation;
    std::string_view bytes;
};

constexpr CommandBlock kCommandBlocks[] = {
    {Way::sat, identify, "A1 08 0E 00 01 00 00 00 tt EC 00 00"},
    {Way::sat, smart, "A1 08 0E D0 01 01 4F C2 tt B0 00 00"},
    {Way::sat, thresholds, "A1 08 0E D1 01 01 4F C2 tt B0 00 00"},
    {Way::sat, control, "A1 06 0E ff 00 01 4F C2 tt B0 00 00"},
    {Way::sat, status, "A1 06 20 DA 00 01 4F C2 tt B0 00 00"},
    {Way::sat, log, "85 09 0E 00 00 00 01 00 ll PP pp 00 00 tt 2F 00"},
    {Way::asm1352r, identify, "A1 1C 0E 00 01 00 00 00 tt EC 00 00"},
    {Way::asm1352r, smart, "A1 1C 0E D0 01 01 4F C2 tt B0 00 00"},
    {Way::asm1352r, thresholds, "A1 1C 0E D1 01 01 4F C2 tt B0 00 00"},
    {Way::asm1352r, control, "A1 1C 0E ff 00 01 4F C2 tt B0 00 00"},
    {Way::sunplus, identify, "F8 00 22 10 01 00 01 00 00 00 tt EC"},
    {Way::sunplus, smart, "F8 00 22 10 01 D0 01 00 4F C2 tt B0"},
    {Way::sunplus, thresholds, "F8 00 22 10 01 D1 01 01 4F C2 tt B0"},
    {Way::sunplus, control, "F8 00 22 10 01 ff 01 00 4F C2 tt B0"},
    {Way::ioData, identify, "E3 00 00 01 01 00 00 tt EC 00 00 00"},
    {Way::ioData, smart, "E3 00 D0 00 00 4F C2 tt B0 00 00 00"},
    {Way::ioData, thresholds, "E3 00 D1 00 00 4F C2 tt B0 00 00 00"},
    {Way::ioData, control, "E3 00 ff 00 00 4F C2 tt B0 00 00 00"},
    {Way::logitec, identify, "E0 00 00 00 00 00 00 tt EC 4C"},
    {Way::logitec, smart, "E0 00 D0 00 00 4F C2 tt B0 4C"},
    {Way::logitec, thresholds, "E0 00 D1 00 00 4F C2 tt B0 4C"},
    {Way::logitec, control, "E0 00 ff 00 00 4F C2 tt B0 4C"},
    {Way::prolific, identify, "D8 15 00 00 06 7B 00 00 02 00 01 00 00 00 tt EC"},
    {Way::prolific, smart, "D8 15 00 D0 06 7B 00 00 02 00 01 00 4F C2 tt B0"},
    {Way::prolific, thresholds, "D8 15 00 D1 06 7B 00 00 02 00 01 01 4F C2 tt B0"},
    {Way::prolific, control, "D8 15 00 ff 06 7B 00 00 02 00 01 00 4F C2 tt B0"},
    {Way::jmicron, identify, "DF 10 00 02 00 00 01 00 00 00 tt EC"},
    {Way::jmicron, smart, "DF 10 00 02 00 D0 01 01 4F C2 tt B0"},
    {Way::jmicron, thresholds, "DF 10 00 02 00 D1 01 01 4F C2 tt B0"},
    {Way::jmicron, control, "DF 10 00 02 00 ff 01 01 4F C2 tt B0"},
    {Way::cypress, identify, "24 24 00 BE 01 00 00 01 00 00 00 tt EC 00 00 00"},
    {Way::cypress, smart, "24 24 00 BE 01 00 D0 00 00 4F C2 tt B0 00 00 00"},
    {Way::cypress, thresholds, "24 24 00 BE 01 00 D1 00 00 4F C2 tt B0 00 00 00"},
    {Way::cypress, control, "24 24 00 BE 00 00 ff 00 00 4F C2 tt B0 00 00 00"},
    {Way::asmediaNvme, identify, "E6 06 00 01 00 00 00 00 00 00 00 00 00 00 00 00"},
    {Way::asmediaNvme, health, "E6 02 00 02 00 00 00 7F 00 00 00 00 00 00 00 00"},
    {Way::realtekNvme, identify, "E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00"},
    {Way::realtekNvme, health, "E4 00 02 02 00 00 00 00 00 00 00 00 00 00 00 00"},
};

struct Placed {
    std::size_t at;
    std::uint8_t value;
};

/// A pair: the request's block and data, both zero but for what is named, and the answer's block.
struct CommandPair {
    Way way;
    DriveOperation operation;
    std::string_view request;
    std::vector<Placed> data;
    std::string_view answer;
};

const std::vector<CommandPair>& commandPairs() {
    static const std::vector<Placed> jmicronIdentify = {{0, 'N'}, {1, 'V'}, {2, 'M'},
                                                        {3, 'E'}, {8, 6},   {48, 1}};
    static const std::vector<Placed> jmicronHealth = {
        {0, 'N'},   {1, 'V'},   {2, 'M'},   {3, 'E'},   {8, 2},     {10, 0x56}, {12, 0xFF},
        {13, 0xFF}, {14, 0xFF}, {15, 0xFF}, {33, 0x40}, {34, 0x7A}, {48, 2},    {50, 0x7F}};
    constexpr std::string_view out = "A1 80 00 00 02 00 00 00 00 00 00 00";
    constexpr std::string_view back = "A1 82 00 00 02 00 00 00 00 00 00 00";
    static const std::vector<CommandPair> pairs = {
        {Way::samsung,
         identify,
         "B5 FE 00 05 00 00 00 00 00 40 00 00 00 00 00 00",
         {{0, 1}},
         "A2 FE 00 05 00 00 00 00 01 00 00 00 00 00 00 00"},
        {Way::samsung,
         health,
         "B5 FE 00 06 00 00 00 00 00 40 00 00 00 00 00 00",
         {{0, 2}, {4, 0xFF}, {5, 0xFF}, {6, 0xFF}, {7, 0xFF}},
         "A2 FE 00 06 00 00 00 00 01 00 00 00 00 00 00 00"},
        {Way::jmicronNvme, identify, out, jmicronIdentify, back},
        {Way::jmicronNvme, health, out, jmicronHealth, back},
        {Way::jmicronNvmeUsb2, identify, out, jmicronIdentify, back},
        {Way::jmicronNvmeUsb2, health, out, jmicronHealth, back},
    };
    return pairs;
}

/// Compares a block with its description, and takes out of it what the description leaves open.
bool matches(std::string_view described, const DriveRequest& request, DriveCommand& command) {
    if (request.cdbLength != (described.size() + 1) / 3) return false;
    for (std::size_t i = 0; i < request.cdbLength; ++i) {
        const std::string_view byte = described.substr(3 * i, 2);
        const std::uint8_t sent = request.cdb[i];
        if (byte == "tt") {
            command.target = sent;
        } else if (byte == "ff") {
            command.feature = sent;
            if (sent == kReadData || sent == kReadThresholds) return false;
        } else if (byte == "ll") {
            command.log = sent;
        } else if (byte == "pp" || byte == "PP") {
            command.page = static_cast<std::uint16_t>(command.page | sent << (byte == "PP" ? 8 : 0));
        } else {
            unsigned wanted = 0;
            std::from_chars(byte.data(), byte.data() + byte.size(), wanted, 16);
            if (sent != wanted) return false;
        }
    }
    return true;
}

/// The data that a command moves, which a bridge insists on.
std::size_t dataBytes(Way way, DriveOperation operation) {
    if (operation == control || operation == status) return 0;
    return isNvmeWay(way) && operation == identify && way != Way::jmicronNvmeUsb2 ? kNvmeBlockBytes
                                                                                  : kAtaBlockBytes;
}

bool carries(const DriveRequest& request, std::span<const std::byte> in, const std::vector<Placed>& wanted) {
    DriveBlock data(request.dataBytes);
    for (const Placed& byte : wanted)
        data[byte.at] = byte.value;
    return std::ranges::equal(in.subspan(request.dataAt, request.dataBytes), data, {},
                              [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
}

std::optional<DriveCommand> readPair(const CommandPair& pair, const MachineDrive& drive,
                                     const DriveRequest& request, std::span<const std::byte> in) {
    DriveCommand command{pair.way, pair.operation, {}, 0, {}};
    if (request.dataBytes != dataBytes(pair.way, pair.operation)) return std::nullopt;
    if (request.toDevice) {
        if (!matches(pair.request, request, command) || !carries(request, in, pair.data)) return std::nullopt;
        command.operation = DriveOperation::request;
        command.asked = pair.operation;
        return command;
    }
    if (!matches(pair.answer, request, command)) return std::nullopt;
    if (drive.pending != std::pair(pair.way, pair.operation)) return std::nullopt;
    return command;
}

} // namespace

std::optional<DriveCommand> readBridgeCommand(const MachineDrive& drive, const DriveRequest& request,
                                              std::span<const std::byte> in) {
    for (const CommandBlock& block : kCommandBlocks) {
        DriveCommand command{block.way, block.operation, {}, 0, {}};
        if (drive.ways.contains(block.way) && matches(block.bytes, request, command) &&
            request.dataBytes == dataBytes(block.way, block.operation) &&
            (!request.toDevice || request.dataBytes == 0))
            return command;
    }
    for (const CommandPair& pair : commandPairs())
        if (drive.ways.contains(pair.way))
            if (auto command = readPair(pair, drive, request, in)) return command;
    return std::nullopt;
}

} // namespace orv::platform
