#include "drive_logs/AtaLogs.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/AtaTask.h"
#include "drive_reading/DeviceStatistics.h"
#include "log/log.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

namespace orv {

namespace {

using Page = std::array<std::uint8_t, 512>;

constexpr std::uint8_t kDirectory = 0, kDeviceStatistics = 4; // addresses of logs
constexpr std::uint16_t kDirectoryRevision = 1;

std::uint16_t wordOf(std::span<const std::uint8_t> block, std::size_t number) {
    return static_cast<std::uint16_t>(block[2 * number] | block[2 * number + 1] << 8);
}

/// Identify words 84 and 87, bit 5 of the one that counts (ACS-4, 7.13.6.39).
bool hasGeneralPurposeLogs(const AtaSmartInfo& asi) {
    constexpr std::uint16_t counts = 0xC000, whenCounting = 0x4000, logs = 0x0020;
    return std::ranges::any_of(std::array<std::size_t, 2>{84, 87}, [&](std::size_t number) {
        const std::uint16_t word = wordOf(asi.Identify, number);
        return (word & counts) == whenCounting && (word & logs) != 0;
    });
}

/// What only grows while a drive works, in the order of being told.
template <class Take>
void forEachCount(Take&& take) {
    take("power-on resets", &DeviceStatistics::powerOnResets);
    take("power-on hours", &DeviceStatistics::powerOnHours);
    take("sectors written", &DeviceStatistics::logicalSectorsWritten);
    take("sectors read", &DeviceStatistics::logicalSectorsRead);
    take("percentage used", &DeviceStatistics::percentageUsed);
}

std::wstring wide(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

/// A failure that says nothing of the drive's commands: it could not be opened, or is gone.
bool isPassing(platform::ErrorCode error) {
    constexpr platform::ErrorCode tooManyOpenFiles = 4;
    constexpr platform::ErrorCode passing[] = {platform::kFileNotFound, tooManyOpenFiles,
                                               platform::kAccessDenied, platform::kNoSuchDevice};
    return std::ranges::find(passing, error) != std::end(passing);
}

/// What is kept of one drive: its latest logs, and what it is not asked again.
class Kept {
  public:
    AtaLogs logs;
    std::int64_t askedNs = -1; ///< -1: never

    void ask(CAtaSmart& engine, const AtaSmartInfo& asi);

  private:
    using Answer = TaskAnswer;
    Answer send(const char* what, const AtaTask& task, std::span<std::uint8_t> data = {});
    std::optional<Page> page(const char* what, std::uint8_t log, std::uint16_t number);
    std::uint16_t pagesOfStatistics();
    void readStatistics();
    void readStatus();
    void stepBack();
    void giveUp(const char* what, std::string why);

    CAtaSmart* engine_ = nullptr; // while asking, as the record
    const AtaSmartInfo* asi_ = nullptr;
    std::map<std::string, std::string> missing_; // what is not asked again, and why
    bool silent_ = false;                        // it let a command run out of time
    std::optional<std::uint16_t> pages_;         // of the statistics, by the directory
    std::optional<Page> list_;                   // their page 0, which stays
    DeviceStatistics last_;
    std::string passing_; // what is missing this time
};

void Kept::giveUp(const char* what, std::string why) {
    log::warn(diskLogger, L"{}: {}; not asked again", asi_->ModelSerial,
              wide(fmt::format("{}: {}", what, why)));
    missing_.emplace(what, std::move(why));
}

Kept::Answer Kept::send(const char* what, const AtaTask& task, std::span<std::uint8_t> data) {
    if (silent_ || missing_.contains(what)) return Answer::failed(platform::kNotSupported);
    Answer answer = engine_->sendAtaTask(*asi_, task, data);
    if (answer.ok()) return answer;
    if (isPassing(answer.error)) {
        passing_ = fmt::format("{} could not be read: error {}", what, answer.error);
    } else if (answer.error == platform::kTimedOut) {
        silent_ = true; // at the end of the time the system resets what does not let go of the command
        giveUp(what, "the drive did not answer in time");
    } else {
        giveUp(what, fmt::format("refused with error {}", answer.error));
    }
    return answer;
}

std::optional<Page> Kept::page(const char* what, std::uint8_t log, std::uint16_t number) {
    Page data{};
    return send(what, readLogExt(log, number), data).ok() ? std::optional(data) : std::nullopt;
}

std::uint16_t Kept::pagesOfStatistics() {
    constexpr const char* what = "log directory";
    if (pages_) return *pages_;
    const auto directory = page(what, kDirectory, 0);
    if (!directory) return 0;
    if (const std::uint16_t revision = wordOf(*directory, 0); revision != kDirectoryRevision) {
        giveUp(what, fmt::format("it has revision {}", revision));
        return 0;
    }
    pages_ = wordOf(*directory, kDeviceStatistics);
    return *pages_;
}

void Kept::readStatistics() {
    static constexpr std::pair<std::uint8_t, const char*> kNames[] = {
        {1, "device statistics, page 1"}, {5, "device statistics, page 5"}, {7, "device statistics, page 7"}};
    if (!hasGeneralPurposeLogs(*asi_) || !carriesAtaTask(asi_->CommandType, readLogExt(kDirectory, 0)))
        return;
    const std::uint16_t pages = pagesOfStatistics();
    if (pages == 0) return;
    if (!list_) list_ = page("device statistics", kDeviceStatistics, 0);
    if (!list_) return;
    auto& log = logs.deviceStatistics;
    log.assign(list_->begin(), list_->end());
    const auto listed = listedPages(*list_);
    for (const auto& [number, what] : kNames) {
        if (std::ranges::find(listed, number) == listed.end()) continue;
        if (number >= pages) {
            if (!missing_.contains(what))
                giveUp(what, fmt::format("it is listed, and the directory tells of {} pages", pages));
        } else if (const auto data = page(what, kDeviceStatistics, number)) {
            log.insert(log.end(), data->begin(), data->end());
        }
    }
    stepBack();
}

/// A count that has become smaller makes the log as a whole doubtful, this time.
void Kept::stepBack() {
    const DeviceStatistics now = readDeviceStatistics(logs.deviceStatistics);
    forEachCount([&](const char* name, auto count) {
        const auto before = last_.*count, after = now.*count;
        if (!before || !after || *after >= *before) return;
        passing_ = fmt::format("device statistics: {} stepped back from {} to {}", name, *before, *after);
        logs.deviceStatistics.clear();
    });
    last_ = now;
}

/// Two pairs of values of the two middle registers; others, as of a bridge that makes them up, tell nothing.
void Kept::readStatus() {
    constexpr const char* what = "SMART status";
    const AtaTask task = smartReturnStatus();
    if (!asi_->IsSmartSupported || !asi_->IsSmartEnabled || !carriesAtaTask(asi_->CommandType, task)) return;
    const Answer answer = send(what, task);
    if (!answer.ok()) return;
    if (!answer.value) return giveUp(what, "the path does not tell it");
    const std::pair middle(answer.value->bCylLowReg, answer.value->bCylHighReg);
    if (middle == std::pair<std::uint8_t, std::uint8_t>(0x4F, 0xC2))
        logs.saysItFails = false;
    else if (middle == std::pair<std::uint8_t, std::uint8_t>(0xF4, 0x2C))
        logs.saysItFails = true;
    else
        giveUp(what,
               fmt::format("registers {:02X} and {:02X}, which mean nothing", +middle.first, +middle.second));
}

void Kept::ask(CAtaSmart& engine, const AtaSmartInfo& asi) {
    engine_ = &engine;
    asi_ = &asi;
    logs = {};
    passing_.clear();
    readStatistics();
    readStatus();
    const auto tell = [&](const std::string& why) { logs.note += (logs.note.empty() ? "" : "; ") + why; };
    for (const auto& [what, why] : missing_)
        tell(what + ": " + why);
    if (!passing_.empty()) tell(passing_);
}

} // namespace

struct AtaLogReader::Drives {
    using Key = std::tuple<std::wstring, std::uint32_t, std::int32_t, std::int32_t, std::int32_t>;
    std::map<Key, Kept> kept;
    AtaLogs none;
};

AtaLogReader::AtaLogReader() : drives_(std::make_unique<Drives>()) {}
AtaLogReader::~AtaLogReader() = default;

const AtaLogs& AtaLogReader::read(CAtaSmart& engine, const AtaSmartInfo& asi, std::int64_t atMostEveryNs) {
    if (asi.IsNVMe) return drives_->none;
    Kept& kept =
        drives_
            ->kept[{asi.ModelSerial, asi.CommandType, asi.PhysicalDriveId, asi.ScsiPort, asi.ScsiTargetId}];
    const std::int64_t now = platform::current().clock().monotonicNs();
    if (kept.askedNs >= 0 && atMostEveryNs > 0 && now - kept.askedNs < atMostEveryNs) return kept.logs;
    kept.askedNs = now;
    kept.ask(engine, asi);
    return kept.logs;
}

} // namespace orv
