#include "Drives.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DriveRecord.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "platform/text.h"
#include "state/ProcessState.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <span>

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

std::string temperatureText(const AtaSmartInfo& asi) {
    if (asi.Temperature == kNoTemperature) return kUnknown;
    return fmt::format("{} \u00B0C", asi.Temperature);
}

std::string known(std::int32_t value, const char* unit) {
    return value == kNone ? kUnknown : fmt::format("{} {}", value, unit);
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

Row rowOf(const AtaSmartInfo& asi, const std::vector<Reading>& readings, std::size_t index) {
    const auto [read, write] = speedsOf(readings, index);
    return {placeOf(asi),
            printable(asi.Model.substr(0, kModelRoom)),
            kindOf(asi),
            sizeText(asi.TotalDiskSize),
            temperatureText(asi),
            known(asi.DetectedPowerOnHours, "h"),
            known(asi.Life, "%"),
            healthWord(asi.DiskStatus),
            read,
            write};
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

/// What is said of `count` drives.
std::string whyUnread(Reason reason, platform::ErrorCode error, bool one) {
    switch (reason) {
    case Reason::noAttributes:
        return one ? "has no SMART data" : "have no SMART data";
    case Reason::raidVolume:
        return one ? "is a RAID volume by its name" : "are RAID volumes by their names";
    case Reason::noAnswer:
        break;
    }
    if (error == platform::kSuccess || error == platform::kInvalidData)
        return "gave no identify data that can be used";
    if (error == platform::kInvalidFunction || error == platform::kNotSupported)
        return one ? "understands no drive commands" : "understand no drive commands";
    return "could not be read: " + deviceErrorText(error);
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

const char* reasonWord(Reason reason) {
    return reason == Reason::noAttributes ? "noSmartData"
           : reason == Reason::raidVolume ? "raidVolume"
                                          : "noAnswer";
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

std::string printable(const std::wstring& text) {
    std::wstring shown = text;
    for (wchar_t& letter : shown)
        if (letter < 0x20 || (letter >= 0x7F && letter < 0xA0)) letter = L'.';
    return narrow(shown);
}

std::string deviceErrorText(platform::ErrorCode error) {
    if (error == platform::kAccessDenied) return "access denied; run as root (on Windows as administrator)";
    const std::string text = onOneLine(narrow(platform::current().systemFacts().errorText(error)));
    return text.empty() ? std::to_string(error) : fmt::format("{} ({})", error, text);
}

Lines unreadDriveLines() {
    std::map<std::pair<Reason, platform::ErrorCode>, std::vector<std::string>> groups;
    for (const UnreadDrive& drive : processWide<CAtaSmart>().unreadDrives)
        groups[{drive.reason, drive.error}].push_back(nameOf(drive));
    Lines lines;
    for (const auto& [why, names] : groups)
        lines.push_back(fmt::format("{} drive{} {} ({})", names.size(), names.size() == 1 ? "" : "s",
                                    whyUnread(why.first, why.second, names.size() == 1),
                                    fmt::join(names, ", ")));
    return lines;
}

Lines driveTable(const std::vector<Reading>& readings) {
    const auto& engine = processWide<CAtaSmart>();
    std::vector<Row> rows;
    for (const AtaSmartInfo& asi : engine.vars) {
        if (rows.empty()) std::ranges::copy(kHeads, rows.emplace_back().begin());
        rows.push_back(rowOf(asi, readings, rows.size() - 1));
    }
    Lines lines = aligned(rows);
    if (engine.vars.empty())
        lines.emplace_back(engine.unreadDrives.empty() ? "no drive" : "no drive gave a record");
    std::ranges::move(unreadDriveLines(), std::back_inserter(lines));
    std::ranges::move(culprit(readings, engine.vars), std::back_inserter(lines));
    return lines;
}

Json recordJson(const AtaSmartInfo& asi) {
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
        {"commandPath", asi.CommandTypeString.empty() ? Json() : Json(narrow(asi.CommandTypeString))},
        {"currentTransferMode", narrow(asi.CurrentTransferMode)},
        {"maxTransferMode", narrow(asi.MaxTransferMode)},
        {"version", narrow(asi.MajorVersion)},
        {"dialect", narrow(asi.SsdVendorString)},
        {"dialectKey", narrow(asi.SmartKeyName)},
        {"temperature", orNull(asi.Temperature, kNoTemperature)},
        {"powerOnHours", orNull(asi.DetectedPowerOnHours, kNone)},
        {"powerOnCount", asi.PowerOnCount},
        {"life", orNull(asi.Life, kNone)},
        {"health", healthWord(asi.DiskStatus)},
        {"hostReads", orNull(asi.HostReads, kNone)},
        {"hostWrites", orNull(asi.HostWrites, kNone)},
        {"nandWrites", orNull(asi.NandWrites, kNone)},
        {"gbytesErased", orNull(asi.GBytesErased, kNone)},
        {"wearLevelingCount", orNull(asi.WearLevelingCount, kNone)},
    };
}

Json drivesJson() {
    const auto& engine = processWide<CAtaSmart>();
    Json drives = Json::array();
    for (const AtaSmartInfo& asi : engine.vars)
        drives.push_back(recordJson(asi));
    Json unread = Json::array();
    for (const UnreadDrive& drive : engine.unreadDrives)
        unread.push_back({{"physicalDriveId", orNull(drive.physicalDriveId, -1)},
                          {"model", narrow(drive.model)},
                          {"reason", reasonWord(drive.reason)},
                          {"error", drive.error}});
    return {{"drives", std::move(drives)}, {"unreadDrives", std::move(unread)}};
}

} // namespace tool
