#include "DriveFacts.h"

#include "Exports.h"
#include "disk_engine/dialects/KnownValues.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "platform/text.h"
#include "state/ProcessState.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cmath>
#include <exception>

namespace tool {

namespace {

using namespace orv;
using Reason = UnreadDrive::Reason;
using platform::ErrorCode;

constexpr double kNsPerSecond = 1e9;
constexpr std::int64_t kReadAgainNs = 5'000'000'000; // as the library

std::optional<std::int32_t> unless(std::int32_t none, std::int32_t value) {
    return value == none ? std::nullopt : std::optional(value);
}

/// Where the monotonic clock is for whoever reads a time.
double secondsAt(std::int64_t ns, bool described) {
    const auto at = static_cast<double>(ns) / kNsPerSecond;
    if (described) return at;
    const std::chrono::duration<double> wall = std::chrono::system_clock::now().time_since_epoch();
    const auto now = static_cast<double>(platform::current().clock().monotonicNs()) / kNsPerSecond;
    return std::round(wall.count() - (now - at)); // whole, so that it is the same when it is told again
}

std::string silenceReason(ErrorCode failure) {
    if (failure == platform::kSuccess) return {};
    if (failure == platform::kFileNotFound || failure == platform::kNoSuchDevice) return "it is gone";
    if (failure == platform::kInvalidData) return "what it gives is no SMART data";
    return deviceErrorText(failure);
}

constexpr char kNoRoom[] = "found no room in the list, which takes 80";
static_assert(kMaxDrives == 80);

struct ReasonForm {
    Reason reason;
    const char* word;  // in JSON and metrics
    const char* ofOne; // null: more is said than by the reason alone
    const char* ofMany;
};

constexpr std::array kReasonForms = {
    ReasonForm{Reason::noAnswer, "noAnswer", nullptr, nullptr},
    ReasonForm{Reason::noAttributes, "noSmartData", "has no SMART data", "have no SMART data"},
    ReasonForm{Reason::raidVolume, "raidVolume", "is a RAID volume by its name",
               "are RAID volumes by their names"},
    ReasonForm{Reason::twin, "twin", nullptr, nullptr},
    ReasonForm{Reason::listFull, "listFull", kNoRoom, kNoRoom},
    ReasonForm{Reason::removable, "removable", "is left out, as its medium can be taken out",
               "are left out, as their media can be taken out"},
    ReasonForm{Reason::tieredStorage, "tieredStorage", "is left out, as a volume of tiered storage",
               "are left out, as volumes of tiered storage"},
    ReasonForm{Reason::noAtaCommands, "noAtaCommands", "is a SCSI disk, which has no ATA commands",
               "are SCSI disks, which have no ATA commands"},
};

const ReasonForm& formOf(Reason reason) {
    for (const ReasonForm& form : kReasonForms)
        if (form.reason == reason) return form;
    return kReasonForms.front();
}

} // namespace

DriveFacts recordedFacts(const AtaSmartInfo& asi) {
    return {.temperature = temperatureOf(asi),
            .powerOnHours = trafficOf(asi.DetectedPowerOnHours),
            .powerCycles = powerCyclesOf(asi),
            .life = unless(kNone, asi.Life),
            .hostReads = trafficOf(asi.HostReads),
            .hostWrites = trafficOf(asi.HostWrites),
            .nandWrites = trafficOf(asi.NandWrites),
            .erased = trafficOf(asi.GBytesErased),
            .wearLevelings = trafficOf(asi.WearLevelingCount),
            .health = asi.DiskStatus};
}

DriveFacts currentFacts(const AtaSmartInfo& asi) {
    return asi.answering.answers ? recordedFacts(asi) : DriveFacts{};
}

DriveAnswer answerOf(const AtaSmartInfo& asi, bool described) {
    DriveAnswer answer{asi.answering.answers, std::nullopt, {}};
    if (asi.answering.lastAnswerNs >= 0) answer.last = secondsAt(asi.answering.lastAnswerNs, described);
    if (!answer.answers) answer.reason = silenceReason(asi.answering.failure);
    return answer;
}

std::string lastAnswerText(const DriveAnswer& answer, bool described) {
    if (!answer.last) return {};
    if (described) return fmt::format("{:.3f}", *answer.last);
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(*answer.last)));
}

std::string silenceText(const DriveAnswer& answer, bool described) {
    std::string text = "has not answered";
    if (answer.last && described) text += fmt::format(" since {:.3f} s", *answer.last);
    if (answer.last && !described)
        text += fmt::format(" since {:%Y-%m-%d %H:%M:%S} UTC",
                            fmt::gmtime(static_cast<std::time_t>(*answer.last)));
    return answer.reason.empty() ? text : text + ": " + answer.reason;
}

const char* reasonWord(Reason reason) {
    return formOf(reason).word;
}

std::string whyUnread(const UnreadDrive& drive, bool one) {
    if (drive.reason == Reason::twin)
        return drive.twinOf < 0
                   ? fmt::format("{} listed already by model and serial number", one ? "is" : "are")
                   : fmt::format("{} the same as drive {} by model and serial number", one ? "is" : "are",
                                 drive.twinOf);
    if (drive.reason == Reason::noAttributes && drive.error != platform::kSuccess)
        return "gave no SMART data: " + deviceErrorText(drive.error);
    const ReasonForm& form = formOf(drive.reason);
    if (form.ofOne) return one ? form.ofOne : form.ofMany;

    switch (drive.error) {
    case platform::kSuccess:
    case platform::kInvalidData:
        return "gave no identify data that can be used";
    case platform::kInvalidFunction:
    case platform::kNotSupported:
        return one ? "understands no drive commands" : "understand no drive commands";
    case platform::kTimedOut:
        return "did not answer in time";
    default:
        return "could not be read: " + deviceErrorText(drive.error);
    }
}

std::string deviceErrorText(ErrorCode error) {
    if (error == platform::kAccessDenied) return "access denied; run as root (on Windows as administrator)";
    if (error == platform::kTimedOut) return "it did not answer in time";
    const std::string text =
        onOneLine(platform::wideToUtf8(platform::current().systemFacts().errorText(error)));
    return text.empty() ? std::to_string(error) : fmt::format("{} ({})", error, text);
}

void UnlistedDrives::renew(std::size_t index) {
    const std::int64_t now = platform::current().clock().monotonicNs();
    const auto [known, isNew] = readAt_.try_emplace(index, now); // the search has just read it
    if (isNew || now - known->second <= kReadAgainNs) return;
    known->second = now;
    try {
        processWide<CAtaSmart>().UpdateSmartInfo(index);
    } catch (const std::exception&) {
        // Its record tells that it does not answer, or stays.
    }
}

} // namespace tool
