#include "Commands.h"
#include "Output.h"
#include "Readings.h"
#include "Terminal.h"

#include <fmt/format.h>

#include <chrono>
#include <thread>

namespace tool {

namespace {

constexpr char kHomeAndClear[] = "\x1b[H\x1b[2J";

/// One sample of the readings that move.
std::vector<Reading> sample(std::int32_t drives, std::int32_t batteries) {
    std::vector<Reading> readings;
    for (const Export& entry : allExports()) {
        const Presentation* form = presentationOf(entry.name);
        if (!form || !form->moves) continue;
        const std::int32_t entries = entry.name == "getBatteryAllMessage" ? batteries : drives;
        if (!entry.takesIndex()) readings.push_back({&entry, run(entry)});
        for (std::int32_t i = 0; entry.takesIndex() && i < entries; ++i)
            readings.push_back(
                {&entry, run(entry, static_cast<std::uint32_t>(i)), static_cast<std::uint32_t>(i)});
    }
    return readings;
}

void printScreen(const std::string& title, double seconds, const std::vector<Reading>& readings) {
    put(fmt::format("{}{}   {:.1f} s   Ctrl-C ends\n{}", kHomeAndClear, title, seconds,
                    asTable(readings, false)));
}

/// One line a reading: seconds, export (with its index), raw value; tabs between them.
void printLines(double seconds, const std::vector<Reading>& readings) {
    std::string lines;
    for (const Reading& reading : readings) {
        std::string name(reading.entry->name);
        if (reading.entry->takesIndex()) name += fmt::format(":{}", reading.index);
        lines += fmt::format("{:.3f}\t{}\t{}\n", seconds, name, onOneLine(reading.outcome.raw()));
    }
    put(lines);
}

} // namespace

int watch(const std::string& title, std::int64_t intervalMilliseconds, std::uint64_t count, bool described) {
    const bool screen = prepareScreen();
    const auto entriesOf = [](const char* name) {
        const Outcome outcome = run(*findExport(name));
        return outcome.failed ? 0 : std::get<std::int32_t>(outcome.value);
    };
    const std::int32_t drives = entriesOf("initDisk");
    const std::int32_t batteries = entriesOf("initBattery");
    sample(drives, batteries); // rates and loads count from here on
    for (std::uint64_t shown = 1; count == 0 || shown <= count; ++shown) {
        std::this_thread::sleep_for(std::chrono::milliseconds(intervalMilliseconds));
        if (described) waitMilliseconds(intervalMilliseconds);
        const auto readings = sample(drives, batteries);
        const double seconds =
            static_cast<double>(shown) * static_cast<double>(intervalMilliseconds) / 1000.0;
        if (screen)
            printScreen(title, seconds, readings);
        else
            printLines(seconds, readings);
    }
    return kExitOk;
}

} // namespace tool
