#pragma once

#include "Exports.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// The outcome of one export, or of one entry of the list that it indexes.
struct Reading {
    const Export* entry;
    Outcome outcome;
    std::uint32_t index = 0;
    bool isListFailure = false; // there is no list to index; the outcome is that of the export that makes it
};

/// Every export once, in the table's order; an indexed one for each entry of its list. Readings that need two
/// samples get them `gapMilliseconds` apart.
std::vector<Reading> readAll(std::int64_t gapMilliseconds);

inline constexpr std::string_view kLibraryGroup = "Library";

/// How a person reads an export's answer.
struct Presentation {
    std::string_view name; // of the export
    std::string_view group;
    std::string_view label;
    /// Lines of text with units, from a good outcome.
    std::vector<std::string> (*lines)(const Outcome& outcome);
};

/// Null for an unknown name.
const Presentation* presentationOf(std::string_view name);

/// A rate in bytes per millisecond with the unit that keeps it short.
std::string rateText(double bytesPerMillisecond);

/// A line or more a reading below the heading of its group; a failed one with its reason, or the name of the
/// one above that failed for the same. Also what no export gives. `described`: times are those of the
/// machine's clock.
std::string asTable(const std::vector<Reading>& readings, bool described);

} // namespace tool
