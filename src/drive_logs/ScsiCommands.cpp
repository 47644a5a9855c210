#include "drive_logs/ScsiCommands.h"

#include "disk_engine/CAtaSmart.h"
#include "drive_reading/ScsiReading.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace orv {

namespace {

constexpr std::uint32_t kSeconds = 10;
constexpr std::uint8_t kAnswerBytes = 252; // fits the one byte of the old commands, and is a multiple of four

// The block of IOCTL_SCSI_PASS_THROUGH: its head, then these.
constexpr std::size_t kSenseAt = 48, kSenseBytes = 24, kDataAt = 80;

constexpr std::uint8_t kGood = 0, kCheckCondition = 2; // SCSI status

platform::SCSI_PASS_THROUGH headOf(const ScsiCommand& command) {
    platform::SCSI_PASS_THROUGH head{};
    head.Length = sizeof head;
    head.CdbLength = static_cast<std::uint8_t>(command.cdb.size());
    head.SenseInfoLength = kSenseBytes;
    head.DataIn = platform::SCSI_IOCTL_DATA_IN;
    head.DataTransferLength = static_cast<std::uint32_t>(command.bytes);
    head.TimeOutValue = kSeconds;
    head.DataBufferOffset = kDataAt;
    head.SenseInfoOffset = kSenseAt;
    std::ranges::copy(command.cdb, head.Cdb);
    return head;
}

ScsiBytes bytesAt(std::span<const std::byte> block, std::size_t at, std::size_t count) {
    ScsiBytes bytes;
    std::ranges::transform(block.subspan(at, count), std::back_inserter(bytes),
                           [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    return bytes;
}

} // namespace

ScsiCommand inquiryCommand() {
    return {"INQUIRY", {0x12, 0, 0, 0, kAnswerBytes, 0}, kAnswerBytes, Support::every};
}

ScsiCommand productDataCommand(std::uint8_t page) {
    return {fmt::format("vital product data {:02X}h", page),
            {0x12, 1, page, 0, kAnswerBytes, 0},
            kAnswerBytes,
            Support::some};
}

ScsiCommand readCapacity16Command() {
    constexpr std::uint8_t bytes = 32;
    return {"READ CAPACITY (16)",
            {0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, bytes, 0, 0},
            bytes,
            Support::some};
}

ScsiCommand readCapacity10Command() {
    return {"READ CAPACITY (10)", {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8};
}

ScsiCommand requestSenseCommand() {
    return {"REQUEST SENSE", {0x03, 0, 0, 0, kAnswerBytes, 0}, kAnswerBytes};
}

ScsiCommand logSenseCommand(std::uint8_t page, std::size_t bytes) {
    constexpr std::uint8_t cumulative = 1 << 6;
    return {fmt::format("log page {:02X}h", page),
            {0x4D, 0, static_cast<std::uint8_t>(cumulative | page), 0, 0, 0, 0,
             static_cast<std::uint8_t>(bytes >> 8), static_cast<std::uint8_t>(bytes), 0},
            bytes,
            bytes > kLogPageBytes ? Support::some : Support::expected};
}

ScsiEnding ScsiDrivePath::send(const ScsiCommand& command) {
    constexpr std::uint8_t noSense = 0, recovered = 1; // keys of commands that gave their data
    auto head = headOf(command);
    std::vector<std::byte> block(kDataAt + command.bytes);
    const auto answer =
        drive_.control(platform::IOCTL_SCSI_PASS_THROUGH, std::as_bytes(std::span(&head, 1)), block);
    ScsiEnding ending;
    ending.error = answer.error;
    if (!answer.ok()) return ending;
    const std::size_t told = std::max<std::size_t>(answer.value, kDataAt) - kDataAt;
    std::memcpy(&head, block.data(), sizeof head);
    const bool fits = answer.value >= sizeof head && told <= command.bytes;
    if (!fits || (head.ScsiStatus != kGood && head.ScsiStatus != kCheckCondition)) {
        ending.error = fits ? platform::kIoDevice : platform::kInvalidData;
        return ending;
    }
    if (head.ScsiStatus == kCheckCondition)
        ending.sense = bytesAt(block, kSenseAt, std::min<std::size_t>(head.SenseInfoLength, kSenseBytes));
    const auto sense = scsiSenseOf(ending.sense);
    ending.good = head.ScsiStatus == kGood || (sense && (sense->key == noSense || sense->key == recovered));
    if (ending.good)
        ending.data = bytesAt(block, kDataAt, std::min<std::size_t>(told, head.DataTransferLength));
    return ending;
}

bool ScsiDrivePath::hasOtherBus() {
    constexpr std::uint32_t ieee1394 = 4, sd = 12, mmc = 13, spaces = 16; // STORAGE_BUS_TYPE
    constexpr std::uint32_t others[] = {ieee1394, platform::kBusTypeUsb, sd, mmc,
                                        spaces,   platform::kBusTypeNvme};
    constexpr std::size_t room = 4096;
    constexpr std::uint32_t query[] = {0, 0, 0}; // property 0, query type 0, padding
    std::vector<std::byte> block(room);
    const auto answer =
        drive_.control(platform::IOCTL_STORAGE_QUERY_PROPERTY, std::as_bytes(std::span(query)), block);
    platform::STORAGE_DEVICE_DESCRIPTOR head;
    if (!answer.ok() || answer.value < sizeof head) return false;
    std::memcpy(&head, block.data(), sizeof head);
    return std::ranges::find(others, head.BusType) != std::end(others);
}

ScsiEnding ScsiMegaRaidPath::send(const ScsiCommand& command) {
    ScsiEnding ending;
    ending.data.resize(command.bytes);
    ending.good = engine_.SendPassThroughMegaRaid(disk_.scsiPort, disk_.deviceId, ending.data, command.cdb);
    ending.maybeRefused = !ending.good;
    if (!ending.good) ending.data.clear();
    return ending;
}

} // namespace orv
