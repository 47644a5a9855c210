#include "Explain.h"

#include "Commands.h"
#include "CurrentReading.h"
#include "Drives.h"
#include "Output.h"
#include "ReadingText.h"
#include "disk_engine/CAtaSmart.h"
#include "disk_engine/ManagementSession.h"
#include "disk_engine/dialects/AttributeNames.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/dialects/KnownValues.h"
#include "disk_engine/record/DriveRecord.h"
#include "disk_engine/search/SearchStages.h"
#include "drive_logs/AtaLogs.h"
#include "drive_logs/ScsiLogs.h"
#include "platform/Platform.h"
#include "platform/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

namespace tool {

namespace {

using namespace orv;
using Json = nlohmann::ordered_json;

std::string narrow(const std::wstring& text) {
    return platform::wideToUtf8(text);
}

struct Explained {
    AtaSmartInfo asi;
    Explanation why;
    bool isRead = false; ///< over a command path, not from files
    std::vector<std::uint8_t> statistics = {};
    std::optional<bool> saysItFails = {};

    DriveReading reading() const { return readingOf(asi, why, {statistics, saysItFails}, unixNow()); }
};

/// The open of a pipe would wait for its other end.
bool isOpenable(const std::string& path, const char* what) {
    std::error_code problem;
    const auto status = std::filesystem::status(path, problem);
    if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) return true;
    fmt::print(stderr, "{}: no regular file; save the drive's {} to one\n", path, what);
    return false;
}

bool tellUnreadable(const std::string& path, const char* what) {
    fmt::print(stderr, "{}: cannot be read; give a file with the drive's {}\n", path, what);
    return false;
}

/// Reads a block of exactly this size; false, with the reason on standard error.
bool readBlock(const std::string& path, const char* what, std::span<std::uint8_t> into) {
    if (!isOpenable(path, what)) return false;
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes(into.size() + 1);
    if (file) file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.is_open() || file.bad()) return tellUnreadable(path, what);
    if (static_cast<std::size_t>(file.gcount()) != into.size()) {
        fmt::print(stderr, "{}: {} bytes, but the {} has {}; save it anew, raw and whole\n", path,
                   file.gcount() > static_cast<std::streamsize>(into.size())
                       ? "more than " + std::to_string(into.size())
                       : std::to_string(file.gcount()),
                   what, into.size());
        return false;
    }
    std::copy_n(bytes.begin(), into.size(), into.begin());
    return true;
}

/// Reads whole pages. What is in them readDeviceStatistics judges.
bool readStatistics(const std::string& path, std::vector<std::uint8_t>& into) {
    constexpr char what[] = "device statistics";
    constexpr std::size_t pageBytes = 512, mostPages = 256;
    if (!isOpenable(path, what)) return false;
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes(mostPages * pageBytes + 1);
    if (file) file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.is_open() || file.bad()) return tellUnreadable(path, what);
    const auto count = static_cast<std::size_t>(file.gcount());
    if (count == 0 || count % pageBytes != 0) {
        fmt::print(stderr, "{}: {} bytes are no whole pages of {}, at most {}; save the log anew\n", path,
                   count == bytes.size() ? "more than " + std::to_string(count - 1) : std::to_string(count),
                   pageBytes, mostPages);
        return false;
    }
    into.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    return true;
}

/// For a block of which the engine makes no record.
std::nullopt_t refuse(const std::string& path, const char* why) {
    fmt::print(stderr, "{}: the library would not read this drive: {}\n", path, why);
    return std::nullopt;
}

/// All three ATA blocks end in a byte that makes their sum 0 modulo 256.
void tellCheckSum(const std::string& path, std::span<const std::uint8_t> block) {
    if (std::accumulate(block.begin(), block.end(), 0U) % 256 != 0)
        fmt::print(stderr,
                   "{}: the check sum is off, so some bytes may be wrong; read the block again if you can\n",
                   path);
}

const Explanation kNvmeRules = {.dialect = "NVMe",
                                .temperature = "bytes 1 and 2 of the health page, kelvin",
                                .powerOnHours = "bytes 128 to 131 of the health page",
                                .powerOnCount = "bytes 112 to 115 of the health page",
                                .life = "100 less the percentage used, byte 5 of the health page",
                                .health = nullptr};

std::optional<Explained> explainAta(const DriveBlocks& files) {
    std::array<std::uint8_t, kIdentifyBytes> identify{};
    Explained drive;
    drive.asi = startRecord({.commandType = CMD_TYPE_PHYSICAL_DRIVE});
    AtaSmartInfo& asi = drive.asi;
    if (!readBlock(files.identify, "IDENTIFY DEVICE block", identify) ||
        !readBlock(files.smart, "SMART READ DATA block", asi.SmartReadData))
        return std::nullopt;
    tellCheckSum(files.identify, identify);
    tellCheckSum(files.smart, asi.SmartReadData);
    if (!readIdentifyTexts(asi, identify))
        return refuse(files.identify,
                      "no readable model and firmware in it; is it the answer to IDENTIFY DEVICE?");
    interpretIdentify(asi, identify);
    if (asi.IsIdInfoIncorrect)
        return refuse(files.identify,
                      "words 1, 3 and 6 tell more cylinders, heads or sectors than a drive can have");
    if (!asi.IsSmartSupported && !asi.Is9126MB)
        return refuse(files.identify, "word 82 tells that it has no SMART data");

    // As the engine meets a drive: read, classify, and read again with the dialect known.
    if (FillSmartData(asi)) {
        asi.IsSmartEnabled = asi.IsSmartCorrect = 1;
        ClassifyDrive(asi, &drive.why);
    }
    if (!files.thresholds.empty()) {
        if (!readBlock(files.thresholds, "SMART READ THRESHOLDS block", asi.SmartReadThreshold))
            return std::nullopt;
        tellCheckSum(files.thresholds, asi.SmartReadThreshold);
        if (std::ranges::equal(asi.SmartReadData, asi.SmartReadThreshold) &&
            asi.DiskVendorId != VENDOR_INDILINX)
            return refuse(files.thresholds, "the thresholds are the SMART data once more");
        asi.IsThresholdCorrect = FillSmartThreshold(asi) ? 1 : 0;
    }
    if (!files.statistics.empty() && !readStatistics(files.statistics, drive.statistics)) return std::nullopt;
    finishRecord(asi);
    if (asi.IsSmartCorrect) FillSmartData(asi, &drive.why);
    asi.DiskStatus = CheckDiskStatus(asi, &drive.why);
    return drive;
}

std::optional<Explained> explainNvme(const DriveBlocks& files) {
    std::array<std::uint8_t, kNvmeIdentifyBytes> identify{};
    Explained drive;
    drive.asi = startRecord({.commandType = CMD_TYPE_NVME_STORAGE_QUERY});
    if (!readBlock(files.identify, "Identify Controller block", identify) ||
        !readBlock(files.smart, "SMART / Health Information log page", drive.asi.SmartReadData))
        return std::nullopt;
    if (!readNvmeIdentify(drive.asi, identify, nvmeCapacityOf(identify)))
        return refuse(files.identify, "no model in it; is it the answer to Identify with CNS 1?");
    interpretNvmeHealth(drive.asi, kHottestNewNvme);
    takeNvmeHealth(drive.asi, kHottestRefreshedNvme); // as the library reads a new drive anew at once
    drive.why = kNvmeRules;
    drive.asi.DiskStatus = CheckDiskStatus(drive.asi, &drive.why);
    return drive;
}

/// Why a drive gave no record, and what its reader can do.
std::string refusal(const CAtaSmart& engine, std::int32_t number) {
    const auto drive = std::ranges::find(engine.unreadDrives, number, &UnreadDrive::physicalDriveId);
    if (drive != engine.unreadDrives.end() && drive->reason != UnreadDrive::Reason::noAnswer)
        return narrow(whyUnread(*drive));
    const platform::ErrorCode error = engine.probeFailure();
    if (error == platform::kAccessDenied) return deviceErrorText(error);
    if (error == platform::kFileNotFound) return "there is no such drive";
    if (error == platform::kTimedOut) return "it did not answer in time";
    // Nothing failed, or what came had not the form of an answer.
    if (error == platform::kSuccess || error == platform::kInvalidData)
        return "no command path gives its identify data; what it answered was none";
    return "no command path gives its identify data; the last one failed with " + deviceErrorText(error);
}

/// The drive's record as the library has it: made, and read anew at once. Null when there is none; `why`
/// tells.
const AtaSmartInfo* recordOf(CAtaSmart& engine, std::int32_t number, std::string& why) {
    const ComOnThread com;
    engine.UseStandardPaths();
    if (!engine.SearchPhysicalDrive(number)) {
        why = refusal(engine, number);
        engine.AddDiskAMD_RC2(); // which has numbers of its own
        if (std::ranges::count(engine.vars, number, &AtaSmartInfo::PhysicalDriveId) == 0) return nullptr;
    }
    const auto found = std::ranges::find(engine.vars, number, &AtaSmartInfo::PhysicalDriveId);
    engine.UpdateSmartInfo(static_cast<std::size_t>(found - engine.vars.begin()));
    return &*found;
}

Explained readDrive(CAtaSmart& engine, const AtaSmartInfo& record) {
    Explained drive{record, {}, true};
    if (drive.asi.IsNVMe) {
        if (drive.asi.TotalDiskSize == 0) drive.asi.TotalDiskSize = nvmeCapacityOf(drive.asi.Identify);
        if (drive.asi.AttributeCount != 0) drive.why = kNvmeRules;
    } else {
        drive.why = rulesOf(drive.asi);
        AtaLogReader reader;
        const AtaLogs& logs = reader.read(engine, drive.asi, 0);
        drive.statistics = logs.deviceStatistics;
        drive.saysItFails = logs.saysItFails;
        if (!logs.note.empty()) fmt::print(stderr, "{}\n", printable(logs.note));
    }
    drive.asi.DiskStatus = CheckDiskStatus(drive.asi, &drive.why);
    return drive;
}

Json orNull(const char* text) {
    return text ? Json(text) : Json();
}

bool hasThreshold(const AtaSmartInfo& asi, std::uint32_t i) {
    return asi.IsThresholdCorrect && asi.Threshold[i].ThresholdId == asi.Attribute[i].Id;
}

Json attributesOf(const AtaSmartInfo& asi) {
    Json list = Json::array();
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i) {
        const SMART_ATTRIBUTE& entry = asi.Attribute[i];
        list.push_back({{"id", entry.Id},
                        {"name", AttributeName(asi, entry)},
                        {"current", asi.IsNVMe ? Json() : Json(entry.CurrentValue)},
                        {"worst", asi.IsNVMe ? Json() : Json(entry.WorstValue)},
                        {"threshold", hasThreshold(asi, i) ? Json(asi.Threshold[i].ThresholdValue) : Json()},
                        {"raw", entry.raw()}});
    }
    return list;
}

std::string asJson(const Explained& drive) {
    const AtaSmartInfo& asi = drive.asi;
    const Explanation& why = drive.why;
    Json object = recordJson(asi);
    if (!drive.isRead) object["commandPath"] = nullptr;
    object.update({{"dialectRow", orNull(why.dialect)},
                   {"temperatureRule", orNull(why.temperature)},
                   {"powerOnHoursRule", orNull(why.powerOnHours)},
                   {"powerOnCountRule", orNull(why.powerOnCount)},
                   {"lifeRule", orNull(why.life)},
                   {"healthRule", orNull(why.health)},
                   {"attributes", attributesOf(asi)},
                   {"reading", readingJson(drive.reading(), &asi)}});
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// "  LABEL   VALUE   RULE"; a value that the record has none of is told as unknown.
std::string row(const char* label, const std::string& value, const char* rule = nullptr) {
    if (!rule) return fmt::format("  {:<16}{}\n", label, value);
    return fmt::format("  {:<16}{:<26}  {}\n", label, value, rule);
}
template <class Number>
std::string known(const std::optional<Number>& value, const char* unit = "") {
    return value ? fmt::format("{}{}", *value, unit) : "unknown";
}
std::string known(std::int32_t value, const char* unit = "") {
    return known(value < 0 ? std::nullopt : std::optional(value), unit);
}

std::string joined(std::initializer_list<std::string> parts) {
    std::string text;
    for (const std::string& part : parts)
        if (!part.empty()) text += (text.empty() ? "" : ", ") + part;
    return text;
}

std::string attributeTable(const AtaSmartInfo& asi) {
    if (asi.AttributeCount == 0) return "\nNo attribute in the SMART block.\n";
    std::string text = fmt::format("\n  {:>3}  {:<38}", "Id", "Attribute");
    if (!asi.IsNVMe) text += fmt::format("{:>8}{:>7}{:>11}", "Current", "Worst", "Threshold");
    text += fmt::format("{:>17}\n", "Raw value");
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i) {
        const SMART_ATTRIBUTE& entry = asi.Attribute[i];
        text += fmt::format("  {:>3}  {:<38}", entry.Id, AttributeName(asi, entry));
        if (!asi.IsNVMe)
            text += fmt::format("{:>8}{:>7}{:>11}", entry.CurrentValue, entry.WorstValue,
                                hasThreshold(asi, i) ? std::to_string(asi.Threshold[i].ThresholdValue) : "-");
        text += fmt::format("{:>17}\n", entry.raw());
    }
    return text;
}

std::string asText(const Explained& drive) {
    const AtaSmartInfo& asi = drive.asi;
    const Explanation& why = drive.why;
    std::string text = printable(asi.Model) + "\n";
    text += row("serial number", printable(asi.SerialNumber));
    text += row("firmware", printable(asi.FirmwareRev));
    const std::string kind = !asi.IsSsd && asi.NominalMediaRotationRate > 1
                                 ? fmt::format("hard disk, {} rpm", asi.NominalMediaRotationRate)
                                 : kindOf(asi);
    const std::string best = asi.MaxTransferMode.empty() ? "" : "up to " + narrow(asi.MaxTransferMode);
    text += row("kind", joined({kind, narrow(asi.DeviceNominalFormFactor),
                                asi.IsNVMe ? "" : narrow(asi.Interface), best, narrow(asi.MajorVersion)}));
    if (drive.isRead) text += row("command path", narrow(asi.CommandTypeString));
    text += row("size", asi.TotalDiskSize == 0 ? "unknown" : fmt::format("{} MB", asi.TotalDiskSize));
    text += row("dialect", joined({narrow(asi.SsdVendorString), narrow(asi.SmartKeyName)}),
                why.dialect ? why.dialect : "no attributes to tell it by");
    text += row("health", healthWord(asi.DiskStatus), why.health);
    text += row("life left", known(asi.Life, " %"), why.life);
    text += row("temperature", known(temperatureOf(asi), " \u00B0C"), why.temperature);
    text += row("power-on hours", known(asi.DetectedPowerOnHours), why.powerOnHours);
    text += row("power-on count", known(powerCyclesOf(asi)), why.powerOnCount);
    const struct {
        const char* label;
        std::int32_t value;
        const char* unit;
    } counters[] = {{"host reads", asi.HostReads, " GiB"},
                    {"host writes", asi.HostWrites, " GiB"},
                    {"NAND writes", asi.NandWrites, " GiB"},
                    {"erased", asi.GBytesErased, " GiB"},
                    {"wear leveling", asi.WearLevelingCount, " cycles"}};
    for (const auto& [label, value, unit] : counters)
        if (value != kNone) text += row(label, known(trafficOf(value), unit));
    return text + attributeTable(asi) + readingText(drive.reading(), &asi);
}

std::string scsiDiskText(const ScsiDisk& disk) {
    std::string text = modelOf(disk) + "\n";
    text += row("serial number", printable(disk.serialNumber));
    text += row("firmware", printable(disk.revision));
    text += row("kind", disk.rotationRate > 1 ? fmt::format("{}, {} rpm", kindOf(disk), disk.rotationRate)
                                              : kindOf(disk));
    text += row("size", disk.sizeBytes == 0 ? "unknown" : bytesText(disk.sizeBytes));
    text += row("record", "none: a SCSI disk");
    constexpr const char* errors[] = {"read errors", "write errors", "verify errors"};
    for (std::size_t i = 0; i < disk.uncorrectedErrors.size(); ++i)
        if (disk.uncorrectedErrors[i])
            text += row(errors[i], fmt::format("{} uncorrected", *disk.uncorrectedErrors[i]));
    if (!disk.fault.empty()) text += row("not read", printable(disk.fault));
    return text + readingText(disk.reading, nullptr);
}

} // namespace

int explain(const DriveBlocks& files, bool json) {
    const auto drive = files.nvme ? explainNvme(files) : explainAta(files);
    if (!drive) return kExitUsage;
    put(json ? asJson(*drive) : asText(*drive));
    return kExitOk;
}

int explainDrive(std::int32_t number, bool json) {
    CAtaSmart engine;
    std::string why;
    if (const AtaSmartInfo* const record = recordOf(engine, number, why)) {
        const Explained drive = readDrive(engine, *record);
        put(json ? asJson(drive) : asText(drive));
        return kExitOk;
    }
    ScsiDiskReader reader;
    for (const ScsiDisk& disk : reader.read(engine, 0)) {
        if (disk.physicalDriveId != number) continue;
        put(json ? scsiDiskJson(disk).dump(2, ' ', false, Json::error_handler_t::replace) + "\n"
                 : scsiDiskText(disk));
        return kExitOk;
    }
    fmt::print(stderr, "drive {}: {}\n", number, why);
    return kExitFailedCall;
}

} // namespace tool
