#include "Drives.h"

#include "CurrentReading.h"
#include "ReadingText.h"
#include "disk_engine/CAtaSmart.h"
#include "disk_engine/record/DriveRecord.h"
#include "platform/Platform.h"
#include "platform/text.h"
#include "state/ProcessState.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <tuple>

namespace tool {

namespace {

using namespace orv;
using Json = nlohmann::ordered_json;
using Lines = std::vector<std::string>;
using Reason = UnreadDrive::Reason;

constexpr char kUnknown[] = "unknown";
constexpr std::size_t kModelRoom = 32; // characters

std::string narrow(const std::wstring& text) {
    return platform::wideToUtf8(text);
}

Json orNull(std::int32_t value, std::int32_t none) {
    return value == none ? Json() : Json(value);
}

template <class Number>
Json orNull(const std::optional<Number>& value) {
    return value ? Json(*value) : Json();
}
/// Whole degrees without a point, as most drives count them.
Json degrees(const std::optional<double>& value) {
    if (!value || std::trunc(*value) != *value) return orNull(value);
    return static_cast<std::int32_t>(*value);
}

template <class Number>
std::string known(const std::optional<Number>& value, const char* unit) {
    return value ? fmt::format("{} {}", *value, unit) : kUnknown;
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

/// Read and write speed of the drive at an index of the library's list.
std::pair<std::string, std::string> speedsOf(const std::vector<Reading>& readings, std::size_t index) {
    for (const Reading& reading : readings) {
        if (reading.entry->name != "getDiskReadWriteSpeed" || reading.index != index ||
            reading.outcome.failed)
            continue;
        const auto report = Json::parse(std::get<std::string>(reading.outcome.value), nullptr, false);
        if (!report.is_object()) break;
        return {rateText(report.value("read", 0.0)), rateText(report.value("write", 0.0))};
    }
    return {kUnknown, kUnknown};
}

constexpr std::array kHeads = {"Place", "Model", "Kind",   "Size", "Temp",
                               "Hours", "Life",  "Health", "Read", "Write"};
using Row = std::array<std::string, kHeads.size()>;

/// The columns that a drive tells itself.
Row readingRow(const DriveReading& reading) {
    Row row;
    row[4] = known(reading.temperature.value, "\u00B0C");
    row[5] = known(reading.powerOnHours.value, "h");
    row[6] = known(reading.life.value, "%");
    row[7] = verdictWord(reading.health);
    return row;
}

Row rowOf(const AtaSmartInfo& asi, const std::vector<Reading>& readings, std::size_t index) {
    const auto [read, write] = speedsOf(readings, index);
    Row row = readingRow(currentReading(asi));
    row[0] = placeOf(asi);
    row[1] = printable(asi.Model.substr(0, kModelRoom));
    row[2] = kindOf(asi);
    row[3] = sizeText(asi.TotalDiskSize);
    row[8] = read;
    row[9] = write;
    return row;
}

/// A disk without a record. No export counts its bytes.
Row rowOf(const ScsiDisk& disk) {
    Row row = readingRow(disk.reading);
    row[0] = placeOf(disk);
    row[1] = modelOf(disk).substr(0, kModelRoom);
    row[2] = kindOf(disk);
    row[3] = sizeText(static_cast<std::uint32_t>(disk.sizeBytes / 1'000'000));
    row[8] = row[9] = kUnknown;
    return row;
}

/// Columns as wide as their widest entry; a character counts one, whatever its bytes.
Lines aligned(const std::vector<Row>& rows) {
    const auto width = [](const std::string& text) {
        return std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; });
    };
    std::array<std::ptrdiff_t, kHeads.size()> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], width(row[i]));
    Lines lines;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += row[i] + std::string(static_cast<std::size_t>(widths[i] - width(row[i]) + 2), ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string nameOf(const UnreadDrive& drive) {
    const std::string model = printable(drive.model);
    if (drive.physicalDriveId < 0) return model.empty() ? "one behind a port" : model;
    return fmt::format("drive {}{}", drive.physicalDriveId, model.empty() ? "" : " " + model);
}

/// The library's list wants the byte counters of every drive.
bool givesCounters(const AtaSmartInfo& asi) {
    platform::DISK_PERFORMANCE counters{};
    if (asi.PhysicalDriveId < 0) return false;
    const auto drive = platform::current().deviceFiles().open(physicalDrivePath(asi.PhysicalDriveId));
    return drive.ok() && drive.value
                             ->control(platform::IOCTL_DISK_PERFORMANCE, {},
                                       std::as_writable_bytes(std::span(&counters, 1)))
                             .ok();
}

/// Which drive the list failed at, when it did.
Lines culprit(const std::vector<Reading>& readings, const std::vector<AtaSmartInfo>& vars) {
    const auto list = std::ranges::find(readings, "initDisk", [](const Reading& r) { return r.entry->name; });
    if (list == readings.end() || !list->outcome.failed) return {};
    const auto drive = std::ranges::find_if_not(vars, givesCounters);
    if (drive == vars.end()) return {};
    return {fmt::format("the library's list fails at {} ({}), which gives no byte counters",
                        printable(drive->Model), placeOf(*drive))};
}

/// Drives of the table that are silent, each with its reason.
Lines silentDriveLines(const std::vector<AtaSmartInfo>& vars, bool described) {
    Lines lines;
    for (const AtaSmartInfo& asi : vars)
        if (const DriveAnswer answer = answerOf(asi, described); !answer.answers)
            lines.push_back(
                fmt::format("{} {} {}", placeOf(asi), printable(asi.Model), silenceText(answer, described)));
    return lines;
}

/// A drive without a record that stands among the disks.
bool isAmong(const std::vector<ScsiDisk>& disks, const UnreadDrive& drive) {
    return drive.physicalDriveId >= 0 &&
           std::ranges::find(disks, drive.physicalDriveId, &ScsiDisk::physicalDriveId) != disks.end();
}

Lines scsiDiskLines() {
    Lines lines;
    for (const ScsiDisk& disk : scsiDisks())
        lines.push_back(fmt::format("{} {}: no record: a SCSI disk{}{}", placeOf(disk), modelOf(disk),
                                    disk.fault.empty() ? "" : "; ", printable(disk.fault)));
    return lines;
}

} // namespace

Json scsiDiskJson(const ScsiDisk& disk) {
    Json errors = Json::object();
    constexpr const char* names[] = {"read", "write", "verify"};
    for (std::size_t i = 0; i < disk.uncorrectedErrors.size(); ++i)
        errors[names[i]] = orNull(disk.uncorrectedErrors[i]);
    return {{"physicalDriveId", orNull(disk.physicalDriveId, -1)},
            {"vendor", disk.vendor},
            {"model", disk.product},
            {"firmware", disk.revision},
            {"serialNumber", disk.serialNumber},
            {"sizeBytes", disk.sizeBytes == 0 ? Json() : Json(disk.sizeBytes)},
            {"isSsd", disk.solidState},
            {"uncorrectedErrors", std::move(errors)},
            {"reading", readingJson(disk.reading, nullptr)},
            {"reason", "no record: a SCSI disk"},
            {"fault", orNull(disk.fault)}};
}

namespace {

Json jsonOf(const AtaSmartInfo& asi, const DriveFacts& facts) {
    return {
        {"model", narrow(asi.Model)},
        {"serialNumber", narrow(asi.SerialNumber)},
        {"firmware", narrow(asi.FirmwareRev)},
        {"physicalDriveId", orNull(asi.PhysicalDriveId, -1)},
        {"letters", narrow(asi.DriveMap)},
        {"isNvme", asi.IsNVMe != 0},
        {"isSsd", asi.IsSsd != 0},
        {"sizeMB", asi.TotalDiskSize == 0 ? Json() : Json(asi.TotalDiskSize)},
        {"interface", narrow(asi.Interface)},
        {"commandPath", orNull(narrow(asi.CommandTypeString))},
        {"currentTransferMode", narrow(asi.CurrentTransferMode)},
        {"maxTransferMode", narrow(asi.MaxTransferMode)},
        {"version", narrow(asi.MajorVersion)},
        {"dialect", narrow(asi.SsdVendorString)},
        {"dialectKey", narrow(asi.SmartKeyName)},
        {"temperature", degrees(facts.temperature)},
        {"powerOnHours", orNull(facts.powerOnHours)},
        {"powerOnCount", orNull(facts.powerCycles)},
        {"life", orNull(facts.life)},
        {"health", healthWord(facts.health)},
        {"hostReads", orNull(facts.hostReads)},
        {"hostWrites", orNull(facts.hostWrites)},
        {"nandWrites", orNull(facts.nandWrites)},
        {"gbytesErased", orNull(facts.erased)},
        {"wearLevelingCount", orNull(facts.wearLevelings)},
    };
}

} // namespace

const char* healthWord(std::uint32_t status) {
    constexpr const char* words[] = {kUnknown, "good", "caution", "bad"};
    return status < std::size(words) ? words[status] : words[0];
}

std::string placeOf(const AtaSmartInfo& asi) {
    if (!asi.DriveMap.empty()) return narrow(asi.DriveMap);
    if (asi.PhysicalDriveId >= 0) return fmt::format("drive {}", asi.PhysicalDriveId);
    constexpr std::size_t portIdentifier = 28; // of the CSMI_SAS_PHY_ENTITY
    if (asi.ScsiTargetId < 0)
        return fmt::format("port {} phy {}", asi.ScsiPort, asi.sasPhyEntity[portIdentifier]);
    return fmt::format("port {} target {}", asi.ScsiPort, asi.ScsiTargetId);
}

std::string sizeText(std::uint32_t megabytes) {
    if (megabytes == 0) return kUnknown;
    if (megabytes < 1000) return fmt::format("{} MB", megabytes);
    if (megabytes < 1'000'000) return fmt::format("{:.0f} GB", megabytes / 1e3);
    return fmt::format("{:.1f} TB", megabytes / 1e6);
}

const char* kindOf(const AtaSmartInfo& asi) {
    return asi.IsNVMe ? "NVMe SSD" : asi.IsSsd ? "SSD" : "hard disk";
}

Lines unreadDriveLines(const std::vector<ScsiDisk>& told) {
    std::map<std::tuple<Reason, platform::ErrorCode, std::int32_t>, std::vector<const UnreadDrive*>> groups;
    for (const UnreadDrive& drive : processWide<CAtaSmart>().unreadDrives)
        if (!isAmong(told, drive)) groups[{drive.reason, drive.error, drive.twinOf}].push_back(&drive);
    Lines lines;
    for (const auto& [why, drives] : groups) {
        Lines names;
        std::ranges::transform(drives, std::back_inserter(names),
                               [](const UnreadDrive* drive) { return nameOf(*drive); });
        lines.push_back(fmt::format("{} drive{} {} ({})", drives.size(), drives.size() == 1 ? "" : "s",
                                    whyUnread(*drives.front(), drives.size() == 1), fmt::join(names, ", ")));
    }
    return lines;
}

Lines driveTable(const std::vector<Reading>& readings, bool described) {
    const auto& engine = processWide<CAtaSmart>();
    std::vector<Row> rows;
    for (const AtaSmartInfo& asi : engine.vars) {
        if (rows.empty()) std::ranges::copy(kHeads, rows.emplace_back().begin());
        rows.push_back(rowOf(asi, readings, rows.size() - 1));
    }
    for (const ScsiDisk& disk : scsiDisks()) {
        if (rows.empty()) std::ranges::copy(kHeads, rows.emplace_back().begin());
        rows.push_back(rowOf(disk));
    }
    Lines lines = aligned(rows);
    if (rows.empty()) lines.emplace_back(engine.unreadDrives.empty() ? "no drive" : "no drive gave a record");
    std::ranges::move(silentDriveLines(engine.vars, described), std::back_inserter(lines));
    std::ranges::move(scsiDiskLines(), std::back_inserter(lines));
    std::ranges::move(unreadDriveLines(scsiDisks()), std::back_inserter(lines));
    std::ranges::move(culprit(readings, engine.vars), std::back_inserter(lines));
    return lines;
}

Json recordJson(const AtaSmartInfo& asi) {
    return jsonOf(asi, recordedFacts(asi));
}

Json drivesJson(bool described) {
    const auto& engine = processWide<CAtaSmart>();
    Json drives = Json::array();
    for (const AtaSmartInfo& asi : engine.vars) {
        Json& drive = drives.emplace_back(jsonOf(asi, currentFacts(asi)));
        const DriveAnswer answer = answerOf(asi, described);
        drive["answering"] = answer.answers;
        drive["lastAnswer"] = orNull(lastAnswerText(answer, described));
        drive["reason"] = orNull(answer.reason);
        drive["reading"] = readingJson(currentReading(asi), answer.answers ? &asi : nullptr);
    }
    Json scsi = Json::array();
    for (const ScsiDisk& disk : scsiDisks())
        scsi.push_back(scsiDiskJson(disk));
    Json unread = Json::array();
    for (const UnreadDrive& drive : engine.unreadDrives)
        unread.push_back({{"physicalDriveId", orNull(drive.physicalDriveId, -1)},
                          {"model", narrow(drive.model)},
                          {"reason", reasonWord(drive.reason)},
                          {"error", drive.error},
                          {"twinOf", orNull(drive.twinOf, -1)}});
    return {
        {"drives", std::move(drives)}, {"scsiDisks", std::move(scsi)}, {"unreadDrives", std::move(unread)}};
}

} // namespace tool
