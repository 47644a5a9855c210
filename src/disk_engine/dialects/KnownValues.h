#pragma once

#include "disk_engine/dialects/AttributeRules.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

namespace orv {

// What a record's numbers tell a person. The record, like the exports, has a number also where the drive told
// none; here such a number is none.

/// How often the drive was switched on. Unknown where nothing that it gave tells it: a record starts at 0.
inline std::optional<std::uint32_t> powerCyclesOf(const AtaSmartInfo& asi) {
    const auto tells = [&](const SMART_ATTRIBUTE& attribute) {
        if (asi.IsNVMe) return true; // every health page does
        const AttributeRule* rule = findAttributeRule(asi, attribute, Holds::onRead);
        return rule && rule->action.meaning == Meaning::powerOnCount;
    };
    // A count stays when its attribute is gone from a later read.
    const bool isTold = asi.PowerOnCount != 0 ||
                        (asi.IsSmartCorrect &&
                         std::ranges::any_of(std::span(asi.Attribute).first(asi.AttributeCount), tells));
    return isTold ? std::optional(asi.PowerOnCount) : std::nullopt;
}

/// A counter of data, GiB. Counters keep 32 bits: below 0 it is none or has run over, and at the limit an
/// NVMe drive counts more than fits.
inline std::optional<std::int32_t> trafficOf(std::int32_t value) {
    const bool isCount = value >= 0 && value != std::numeric_limits<std::int32_t>::max();
    return isCount ? std::optional(value) : std::nullopt;
}

/// Degrees Celsius that the drive means. `Temperature` holds them already: the rule that reads the attribute
/// applies TemperatureMultiplier. The exports multiply once more, which is their contract.
inline std::optional<double> temperatureOf(const AtaSmartInfo& asi) {
    return asi.Temperature == kNoTemperature ? std::nullopt : std::optional<double>(asi.Temperature);
}

} // namespace orv
