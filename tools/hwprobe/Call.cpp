#include "Commands.h"
#include "Drives.h"
#include "Exports.h"
#include "Output.h"
#include "Suggestion.h"

#include <charconv>
#include <cstdio>
#include <optional>

namespace tool {

namespace {

struct Step {
    const Export* entry = nullptr; // null: a pause
    std::uint32_t number = 0;      // index, or milliseconds
};

/// Null, with the reason on standard error, when the text is no CALL.
std::optional<Step> parse(const std::string& text) {
    const auto colon = text.find(':');
    const std::string name = text.substr(0, colon);
    Step step;
    const bool hasNumber = colon != text.npos;
    if (hasNumber) {
        const char* end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data() + colon + 1, end, step.number);
        if (parsed.ec != std::errc() || parsed.ptr != end) {
            std::fprintf(stderr, "%s: a whole number from 0 to 4294967295 must follow the colon\n",
                         text.c_str());
            return std::nullopt;
        }
    }
    if (name == "sleep" && hasNumber) return step;
    step.entry = findExport(name);
    if (!step.entry) {
        std::vector<std::string> names;
        for (const Export& entry : allExports())
            names.emplace_back(entry.name);
        std::fprintf(stderr, "%s: not an export%s; the names are:\n", text.c_str(),
                     suggestion(name, names).c_str());
        for (const Export& entry : allExports())
            std::fprintf(stderr, "  %s%s\n", entry.name.data(), entry.takesIndex() ? ":INDEX" : "");
        std::fprintf(stderr, "  sleep:MS\n");
        return std::nullopt;
    }
    if (step.entry->takesIndex() != hasNumber) {
        std::fprintf(stderr, hasNumber ? "%s: this export takes no index\n" : "%s: write it as %s:INDEX\n",
                     text.c_str(), name.c_str());
        return std::nullopt;
    }
    return step;
}

} // namespace

int call(const std::vector<std::string>& calls) {
    std::vector<Step> steps;
    for (const std::string& text : calls) {
        const auto step = parse(text);
        if (!step) return kExitUsage;
        steps.push_back(*step);
    }
    int status = kExitOk;
    for (const Step& step : steps) {
        if (!step.entry) {
            waitMilliseconds(step.number);
            continue;
        }
        const Outcome outcome = run(*step.entry, step.number);
        put(outcome.raw() + "\n");
        if (outcome.failed) {
            std::fprintf(stderr, "%s\n", printable(outcome.reason).c_str());
            status = kExitFailedCall;
        }
    }
    // What a search for drives left out, and the right that it lacked; asking SCSI disks is no part of a
    // call.
    for (const std::string& line : unreadDriveLines({}))
        std::fprintf(stderr, "%s\n", line.c_str());
    return status;
}

} // namespace tool
