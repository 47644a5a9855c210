#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace tool {

/// What one call of an export gave.
struct Outcome {
    std::variant<std::monostate, double, std::int32_t, std::string> value; // monostate: a void call
    bool failed = false;
    std::string reason;             // of a failed call, without its line end
    std::optional<double> bySystem; // in place of a failed reading (SystemCounters.h)

    /// The value on one line, as a program reads it: doubles with 17 digits, texts as they came.
    std::string raw() const;
};

using Call = std::variant<double (*)(), std::int32_t (*)(), const char* (*)(), void (*)(),
                          double (*)(std::uint32_t), const char* (*)(std::uint32_t)>;

struct Export {
    std::string_view name;
    Call call;
    bool needsTwoSamples = false;     // its first answer is not a reading yet
    const char* zeroReason = nullptr; // why it failed when it gives 0; null where 0 is a reading

    bool takesIndex() const { return call.index() >= 4; }
};

/// The 19 exports.
std::span<const Export> allExports();
const Export* findExport(std::string_view name);

/// Calls an export; `index` matters where it takes one.
Outcome run(const Export& entry, std::uint32_t index = 0);

/// Runs before a hardware fault ends the tool: a screen gives the terminal back.
void beforeFaultEnd(void (*action)());

/// Waits; on a described machine its clock moves instead.
void waitMilliseconds(std::int64_t milliseconds);

/// Text on one line: line breaks inside become blanks, those at the end go.
std::string onOneLine(std::string text);

} // namespace tool
