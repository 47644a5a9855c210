#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/AtaBridges.h"
#include "disk_engine/paths/AtaCommands.h"
#include "disk_engine/paths/AtaTask.h"
#include "platform/records/MegaRaidRecords.h"

#include <algorithm>
#include <cstring>

namespace orv {

namespace {

using namespace platform; // NOLINT(google-build-using-namespace): the whole file is on its records

constexpr std::size_t kDataAt = sizeof(MegaRaidHead);
constexpr std::size_t kBlockBytes = 4284; // of a request whose data are no more
constexpr std::size_t kLeastAnswer = 68;
constexpr std::uint8_t kUnanswered = 0xFF; // status that the firmware has to overwrite

constexpr std::size_t kFirstListBytes = 1024;
constexpr std::size_t kMostListBytes =
    sizeof(MegaRaidListHead) + std::size_t{0x10000} * sizeof(MegaRaidListEntry); // one for each device id
constexpr int kMostQuestions = 4;                                                // about a list that grows
constexpr std::uint8_t kDisk = 0;                                                // SCSI device type

using Cdb = std::array<std::uint8_t, 12>;

/// ATA PASS-THROUGH (12); every SMART command but the control ones moves a sector.
constexpr Cdb smartCdb(std::uint8_t feature) {
    return {0xA1, 8, 0x0E, feature, 1, 0, kSmartLbaMid, kSmartLbaHigh, 0, kSmart, 0, 0};
}
constexpr Cdb controlCdb(std::uint8_t feature) {
    return {0xA1, 8, 0x0E, feature, 0, 1, kSmartLbaMid, kSmartLbaHigh, 0, kSmart, 0, 0};
}
constexpr Cdb kIdentifyCdb = {0xA1, 8, 0x0E, 0, 1, 0, 0, 0, 0, kIdentifyDevice, 0, 0};

MegaRaidHead startHead(std::uint8_t command, std::size_t dataBytes) {
    MegaRaidHead head{};
    head.header.HeaderLength = sizeof head.header;
    kMegaRaidSignature.copy(head.header.Signature, sizeof head.header.Signature);
    head.header.Length = static_cast<std::uint32_t>(dataBytes + kDataAt);
    head.frame.command = command;
    head.frame.dataBytes = static_cast<std::uint32_t>(dataBytes);
    return head;
}

MegaRaidHead listRequest(std::size_t dataBytes) {
    MegaRaidHead head = startHead(kMegaRaidFirmware, dataBytes);
    head.frame.firmwareCommand = kMegaRaidDriveList;
    return head;
}

template <class Record>
Record recordAt(std::span<const std::byte> data, std::size_t at) {
    Record record;
    std::memcpy(&record, data.data() + at, sizeof record);
    return record;
}

/// The data of a good answer, which are no more than the request has room for.
std::optional<std::vector<std::byte>> askMegaRaid(DeviceAccess& devices, DeviceFile& port,
                                                  const MegaRaidHead& request) {
    const std::size_t most = request.frame.dataBytes;
    std::vector<std::byte> question(std::max(kBlockBytes, kDataAt + most));
    std::memcpy(question.data(), &request, sizeof request);
    std::vector<std::byte> block = question;
    const auto answer = devices.control(port, IOCTL_SCSI_MINIPORT, question, block);
    if (!answer.ok()) return std::nullopt;
    const auto head = recordAt<MegaRaidHead>(block, 0);
    const std::size_t bytes = head.frame.dataBytes;
    const bool good = answer.value >= kLeastAnswer && answer.value <= block.size() &&
                      head.frame.status == 0 && bytes <= most && answer.value >= kDataAt + bytes;
    if (!good) {
        devices.noteFailure(kInvalidData);
        return std::nullopt;
    }
    return std::vector(block.begin() + kDataAt, block.begin() + static_cast<std::ptrdiff_t>(kDataAt + bytes));
}

std::optional<std::vector<std::byte>> readMegaRaidList(DeviceAccess& devices, DeviceFile& port) {
    std::size_t bytes = kFirstListBytes;
    for (int question = 1;; ++question) {
        auto list = askMegaRaid(devices, port, listRequest(bytes));
        if (!list || list->size() < sizeof(MegaRaidListHead)) return std::nullopt;
        const std::size_t total = recordAt<MegaRaidListHead>(*list, 0).totalBytes;
        // What fits of a list that never does is a list too.
        if (total <= bytes || total > kMostListBytes || question == kMostQuestions) return list;
        bytes = total;
    }
}

/// The data that one SCSI command gave, which are `dataBytes` at most.
std::optional<std::vector<std::byte>> passThroughMegaRaid(DeviceAccess& devices, std::int32_t scsiPort,
                                                          std::int32_t deviceId, std::size_t dataBytes,
                                                          std::span<const std::uint8_t> cdb) {
    if (cdb.empty() || cdb.size() > kMegaRaidCdbBytes) return std::nullopt;
    const auto port = devices.open(scsiPath(scsiPort), kCommandOpening);
    if (!port) return std::nullopt;
    MegaRaidHead head = startHead(kMegaRaidPassThrough, dataBytes);
    head.frame.status = kUnanswered;
    head.frame.deviceId = static_cast<std::uint8_t>(deviceId);
    head.frame.cdbLength = static_cast<std::uint8_t>(cdb.size());
    head.frame.flags = kMegaRaidRead;
    std::ranges::copy(cdb, head.frame.cdb);
    return askMegaRaid(devices, *port, head);
}

bool readSmartMegaRaid(CAtaSmart& engine, std::int32_t scsiPort, std::int32_t deviceId, std::uint8_t feature,
                       AtaSmartInfo& asi) {
    AtaBlock table{};
    return engine.SendPassThroughMegaRaid(scsiPort, deviceId, table, smartCdb(feature)) &&
           keepSmart(asi, feature, table);
}

} // namespace

bool CAtaSmart::AddDiskMegaRaid(std::int32_t scsiPort) {
    if (CsmiMode == 0) return false;
    const auto port = devices.open(scsiPath(scsiPort), kCommandOpening);
    if (!port) return false;
    const auto list = readMegaRaidList(devices, *port);
    if (!list) return false;
    const auto head = recordAt<MegaRaidListHead>(*list, 0);
    const std::size_t bytes = std::min<std::size_t>(list->size(), head.totalBytes);
    for (std::size_t i = 0; i < head.count; ++i) {
        const std::size_t at = sizeof head + i * sizeof(MegaRaidListEntry);
        if (at + sizeof(MegaRaidListEntry) > bytes) break;
        const auto entry = recordAt<MegaRaidListEntry>(*list, at);
        AtaBlock identify{};
        if (entry.deviceType != kDisk) continue;
        if (!DoIdentifyDeviceMegaRaid(scsiPort, entry.deviceId, identify)) {
            silentMegaRaidDisks.push_back({scsiPort, entry.deviceId});
            continue;
        }
        AddDisk({.scsiPort = scsiPort,
                 .scsiTargetId = entry.deviceId,
                 .commandType = CMD_TYPE_MEGARAID,
                 .siliconImageType = -1},
                identify);
    }
    return true;
}

bool CAtaSmart::SendPassThroughMegaRaid(std::int32_t scsiPort, std::int32_t deviceId,
                                        std::span<std::uint8_t> data, std::span<const std::uint8_t> cdb) {
    const auto answer = passThroughMegaRaid(devices, scsiPort, deviceId, data.size(), cdb);
    if (!answer) return false;
    if (!answer->empty()) std::memcpy(data.data(), answer->data(), answer->size());
    return true;
}

bool CAtaSmart::DoIdentifyDeviceMegaRaid(std::int32_t scsiPort, std::int32_t deviceId,
                                         std::span<std::uint8_t> data) {
    return data.size() >= kAtaBytes &&
           SendPassThroughMegaRaid(scsiPort, deviceId, data.first(kAtaBytes), kIdentifyCdb);
}

bool CAtaSmart::GetSmartAttributeMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, AtaSmartInfo& asi) {
    return readSmartMegaRaid(*this, scsiPort, deviceId, kSmartReadData, asi);
}

bool CAtaSmart::GetSmartThresholdMegaRaid(std::int32_t scsiPort, std::int32_t deviceId, AtaSmartInfo& asi) {
    return readSmartMegaRaid(*this, scsiPort, deviceId, kSmartReadThresholds, asi);
}

bool CAtaSmart::ControlSmartStatusMegaRaid(std::int32_t scsiPort, std::int32_t deviceId,
                                           std::uint8_t subCommand) {
    return SendPassThroughMegaRaid(scsiPort, deviceId, {}, controlCdb(subCommand));
}

TaskAnswer sendTaskMegaRaid(CAtaSmart& engine, const AtaSmartInfo& asi, const AtaTask& task,
                            std::span<std::uint8_t> data) {
    constexpr std::uint8_t noTarget = 0; // the device id names the drive
    const BridgeCdb cdb = passThroughCdb(task, noTarget);
    const auto answer = passThroughMegaRaid(engine.devices, asi.ScsiPort, asi.ScsiTargetId, data.size(),
                                            std::span(cdb.bytes).first(cdb.length));
    if (!answer || answer->size() != data.size()) return TaskAnswer::failed(kIoDevice);
    std::memcpy(data.data(), answer->data(), data.size());
    return {};
}

} // namespace orv
