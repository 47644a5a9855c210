#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/dialects/Explanation.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

// What a drive itself says, beside what its dialect's rule says. The record keeps the rule's values, which
// the exports tell; on some drives they are wrong or silent, and a person who must decide about a drive reads
// these. Nothing here talks to a device, and no export uses it. docs/drive-readings.md tells the rules of
// trust.

/// A value, if anybody tells it, and who does: a log and its bytes, a page, or a fact about such drives.
template <class T>
struct Told {
    std::optional<T> value;
    std::string basis; ///< empty where nobody tells the value

    explicit operator bool() const { return value.has_value(); }
};

/// From best to worst but for the first.
enum class Verdict : std::uint8_t {
    unknown,
    good,
    caution, ///< something to look at; the drive works
    wornOut, ///< it has used the writes that it was made for
    failing, ///< it says itself that it fails, or an attribute that tells of failures has reached its
             ///< threshold
};

struct DriveReading {
    Told<std::int32_t> life;              ///< percent left, 0 to 100
    Told<std::uint64_t> powerOnHours;     ///< hours
    Told<std::uint64_t> powerCycles;      ///< times
    Told<std::uint64_t> hostReadBytes;    ///< bytes
    Told<std::uint64_t> hostWrittenBytes; ///< bytes
    Told<double> temperature;             ///< degrees Celsius
    Told<bool> solidState;
    Verdict health = Verdict::unknown;
    std::string healthReason;
    std::vector<std::string> disagreements; ///< where two sources differ beyond rounding, a sentence each
};

/// What the drive's standard logs and status say, as far as they were read.
struct StandardLogs {
    /// General purpose log 04h (ACS-4, 9.5): its pages one behind the other, 512 bytes each, page 0 the list.
    std::span<const std::uint8_t> deviceStatistics;
    std::optional<bool> saysItFails; ///< SMART RETURN STATUS: a threshold has been exceeded
};

/// `why` tells the rules that gave the record its values. `unixNow` (seconds; 0: unknown) bounds a drive's
/// age.
DriveReading readingOf(const AtaSmartInfo& asi, const Explanation& why, const StandardLogs& logs = {},
                       std::int64_t unixNow = 0);

/// The values in which the reading differs from the record beyond rounding, by their names in DriveReading
/// ("life", "health", "powerOnHours", "powerCycles", "hostReadBytes", "hostWrittenBytes", "temperature").
std::vector<std::string> differencesFromRule(const DriveReading& reading, const AtaSmartInfo& asi);

/// "good", "caution", "worn out", "failing", "unknown".
const char* verdictWord(Verdict verdict);

} // namespace orv
