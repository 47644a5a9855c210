#pragma once

#include "platform/Result.h"
#include "platform/records/BatteryRecords.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv::platform {

/// What a battery can tell. A level without a value is not supported.
struct BatteryFacts {
    std::uint32_t tag = 1; ///< 0: the bay is empty
    BATTERY_INFORMATION information{};
    BATTERY_STATUS status{};
    std::optional<std::uint32_t> temperature; ///< tenths of a kelvin
    std::optional<std::uint32_t> estimatedTime;
    std::optional<BATTERY_MANUFACTURE_DATE> manufactureDate;
    std::optional<std::wstring> deviceName;
    std::optional<std::wstring> manufactureName;
    std::optional<std::string> uniqueId; ///< answered as plain bytes
    std::optional<std::wstring> serialNumber;
    ErrorCode statusError = kSuccess;

    /// Levels that answer with these bytes, or fail with this code, whatever stands above.
    std::map<std::int32_t, std::vector<std::byte>> rawAnswers;
    std::map<std::int32_t, ErrorCode> levelErrors;
};

/// Answers a battery's control codes from facts, for the sides that have no driver to ask.
Result<std::uint32_t> answerBattery(const BatteryFacts& facts, std::uint32_t code,
                                    std::span<const std::byte> in, std::span<std::byte> out);

} // namespace orv::platform
