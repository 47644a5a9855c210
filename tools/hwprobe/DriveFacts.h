#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/CAtaSmart.h"
#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tool {

// What every surface tells of a drive, decided here once: which numbers of a record are known, whether they
// hold now, and why a drive has no record.

/// What comes of a drive's SMART data or health page; none where it does not tell.
struct DriveFacts {
    std::optional<double> temperature; // degrees Celsius
    std::optional<std::int32_t> powerOnHours;
    std::optional<std::uint32_t> powerCycles;
    std::optional<std::int32_t> life;                                      // per cent left
    std::optional<std::int32_t> hostReads, hostWrites, nandWrites, erased; // GiB
    std::optional<std::int32_t> wearLevelings;
    std::uint32_t health = orv::DISK_STATUS_UNKNOWN;
};

/// What a record says, whenever the drive told it.
DriveFacts recordedFacts(const orv::AtaSmartInfo& asi);
/// What holds now: nothing while the drive does not answer.
DriveFacts currentFacts(const orv::AtaSmartInfo& asi);

/// Whether a drive answers.
struct DriveAnswer {
    bool answers = false;
    std::optional<double> last; // seconds since 1970, on a described machine those of its clock; none: never
    std::string reason;         // of the silence; empty where nobody tells
};

/// `described`: the times are those of the machine's clock.
DriveAnswer answerOf(const orv::AtaSmartInfo& asi, bool described);
/// "2026-11-25T12:00:00Z", "8.001" of a described machine; empty for a drive that never answered.
std::string lastAnswerText(const DriveAnswer& answer, bool described);
/// "has not answered since 2026-11-25 12:00:00 UTC: REASON".
std::string silenceText(const DriveAnswer& answer, bool described);

/// "noAnswer", "twin" ...
const char* reasonWord(orv::UnreadDrive::Reason reason);
/// "gave no identify data that can be used"; of one drive or of several that share it.
std::string whyUnread(const orv::UnreadDrive& drive, bool one);
/// "access denied; run as root (on Windows as administrator)", "1 (Incorrect function.)".
std::string deviceErrorText(orv::platform::ErrorCode error);

/// Drives that no export reads anew, as one of them keeps the library's list from being made. Their records
/// are read anew here, as seldom as the library does it.
class UnlistedDrives {
  public:
    void renew(std::size_t index);

  private:
    std::map<std::size_t, std::int64_t> readAt_; // monotonic clock
};

} // namespace tool
