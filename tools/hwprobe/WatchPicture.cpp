#include "WatchPicture.h"

#include "Readings.h"
#include "SystemCounters.h"
#include "WatchCanvas.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <span>

namespace tool {

namespace {

constexpr std::size_t kMostKept = 512; // samples, more than a screen is wide
constexpr int kTwoColumns = 80;        // from here on frames stand side by side
constexpr int kRoomyLine = 66;         // of a frame inside: a drive or an adapter needs but one line
constexpr int kRateCell = 13;          // columns: below, rates stand one under the other
constexpr int kMostPlotRows = 8;
constexpr int kMostRateRows = 3;

constexpr Scale kLoadScale = {0, 100, 40, 60, 80, 92};
constexpr Scale kDegreesScale = {20, 100, 50, 65, 75, 85};
constexpr Scale kDriveDegreesScale = {20, 80, 40, 48, 55, 62};
/// Of a charge or a life, for which little is bad.
Style leftStyle(double percent) {
    return percent <= 10 ? Style::bad : percent <= 25 ? Style::warm : Style::good;
}

struct Painter {
    const Sample& sample;
    const History& history;
    const Look& look;
    int width;                    // inside a frame
    std::set<std::string> told{}; // reasons in this frame: one cause, one line

    LineWriter line() const { return LineWriter(look); }

    std::string text(const Value& value, int digits, const char* unit) const {
        if (value.state == Value::State::measuring) return look.unicode ? "measuring …" : "measuring ...";
        return value.known() ? fmt::format("{:.{}f} {}", value.number, digits, unit) : "unknown";
    }
    std::string rateOf(const Value& value) const {
        return value.known() ? rateText(value.number / 1000.0) : text(value, 0, "");
    }
    static Style style(const Value& value, Style known = Style::plain) {
        return value.known() ? known : Style::faint;
    }

    /// Below a reading that is unknown, why, once a frame.
    void reason(Picture& to, const Value& value) {
        if (value.known() || value.reason.empty() || !told.insert(value.reason).second) return;
        for (const std::string& part : wrapped(value.reason, width - 2, look))
            to.push_back(line().put(4, part, width - 2, Style::faint).take());
    }

    static constexpr int kLabel = 12;
    static constexpr int kNumber = 8;

    /// Label, number and what it was before, over some rows.
    void row(Picture& to, const char* label, const Value& value, int digits, const char* unit,
             const char* column, const Scale& scale, int rows = 1) {
        const std::deque<double>& past = history.of(column);
        const int labelled = std::clamp(width - kNumber, 0, kLabel);
        const int at = 2 + kLabel + kNumber + 2;
        for (int i = 0; i < (value.known() && at < width + 2 ? rows : 1); ++i) {
            LineWriter writer = line();
            if (i == 0) {
                writer.put(2, label, labelled - 1);
                writer.put(
                    2 + labelled, text(value, digits, unit), value.known() ? kNumber : width - labelled,
                    style(value, scale.bad == 0 ? Style::plain : scale.styleOf(value.number)), value.known());
            }
            if (value.known()) plot(writer, at, width + 2 - at, past, scale, i, rows);
            to.push_back(writer.take());
        }
        reason(to, value);
    }

    struct Rate {
        const char* mark;
        const Value& value;
        std::string series;
        Style style;
    };

    /// A rate with its mark, and its plot over some lines, between two columns.
    void rateCell(std::span<LineWriter> to, int column, int room, const Rate& rate) const {
        constexpr int number = 10;
        const Value& value = rate.value;
        const std::deque<double>& past = history.of(rate.series);
        to[0].put(column, rate.mark, 1, rate.style);
        to[0].put(column + 2, rateOf(value), value.known() ? std::min(number, room - 2) : room - 2,
                  Painter::style(value), value.known());
        const int plotRoom = room - number - 4;
        if (!value.known() || plotRoom <= 0) return;
        const Scale scale = roundScale(past, plotRoom, rate.style);
        const int rows = static_cast<int>(to.size());
        for (int row = 0; row < rows; ++row)
            plot(to[static_cast<std::size_t>(row)], column + number + 3, plotRoom, past, scale, row, rows);
    }

    /// Two rates from a column to the end of the frame; the first of the lines may have something before it.
    void rates(Picture& to, std::vector<LineWriter> lines, int column, const Rate& first,
               const Rate& second) const {
        const int room = width + 2 - column;
        const bool stacked = room / 2 < kRateCell;
        rateCell(lines, column, stacked ? room : room / 2, first);
        std::vector<LineWriter> below;
        if (stacked) below.assign(lines.size(), line());
        rateCell(stacked ? below : lines, stacked ? column : column + room / 2,
                 stacked ? room : room - room / 2, second);
        for (std::vector<LineWriter>* each : {&lines, &below})
            for (LineWriter& writer : *each)
                to.push_back(writer.take());
    }
};

Picture processorFrame(Painter paint, int plotRows, int width) {
    const ProcessorSample& processor = paint.sample.processor;
    Picture lines;
    paint.row(lines, "Load", processor.load, 1, "%", "cpu_load_%", kLoadScale, plotRows);
    paint.row(lines, "Temperature", processor.temperature, 1, "°C", "cpu_temp_C", kDegreesScale);
    Scale clock;
    clock.flat = Style::in;
    for (const double past : paint.history.of("cpu_clock_MHz"))
        clock.highest = std::max(clock.highest, past * 1.2);
    if (processor.baseClock.known()) clock.highest = std::max(clock.highest, processor.baseClock.number);
    paint.row(lines, "Clock", processor.clock, 0, "MHz", "cpu_clock_MHz", clock);
    if (processor.bySystem)
        for (const std::string& part :
             wrapped(fmt::format("load and clock by {}", kBySystem), paint.width - 2, paint.look))
            lines.push_back(paint.line().put(4, part, paint.width - 2, Style::faint).take());
    return framed("Processor", processor.name, std::move(lines), width, paint.look);
}

Picture memoryFrame(Painter paint, int width) {
    const Value& load = paint.sample.memoryLoad;
    const Value& total = paint.sample.memoryBytes;
    Picture lines;
    paint.row(lines, "In use", load, 0, "%", "mem_used_%", kLoadScale);
    if (load.known()) {
        LineWriter bar = paint.line();
        const double gib = total.number / 1073741824.0;
        const std::string sizes =
            total.known() ? fmt::format("{:.1f} of {:.1f} GiB", gib * load.number / 100.0, gib) : "";
        const int room = std::min(widthOf(sizes), paint.width);
        bar.put(2, sizes, room);
        const int at = 2 + std::max(room + 2, Painter::kLabel + Painter::kNumber + 2);
        meter(bar, at, paint.width + 2 - at, load.number / 100.0, kLoadScale.styleOf(load.number));
        lines.push_back(bar.take());
    }
    return framed("Memory", "", std::move(lines), width, paint.look);
}

Picture graphicsFrame(Painter paint, int width) {
    Picture lines;
    const Value& load = paint.sample.gpuLoad;
    const Value& heat = paint.sample.gpuTemperature;
    if (load.state == Value::State::unknown && !load.reason.empty() && load.reason == heat.reason) {
        for (const std::string& part : wrapped("unknown: " + load.reason, paint.width, paint.look))
            lines.push_back(paint.line().put(2, part, paint.width, Style::faint).take());
    } else {
        paint.row(lines, "Load", load, 1, "%", "gpu_load_%", kLoadScale);
        paint.row(lines, "Temperature", heat, 1, "°C", "gpu_temp_C", kDegreesScale);
    }
    return framed("Graphics", "", std::move(lines), width, paint.look);
}

/// What stands in a frame in place of a list: that it is being made, why there is none, or what it lacks.
void listLine(Painter& paint, Picture& to, const Value& list, const char* none) {
    if (list.known() && list.number > 0) return;
    const std::string said =
        list.known() ? none : paint.text(list, 0, "") + (list.reason.empty() ? "" : ": " + list.reason);
    for (const std::string& part : wrapped(said, paint.width, paint.look))
        to.push_back(paint.line().put(2, part, paint.width, Style::faint).take());
}

/// With plots of so many rows.
Picture networkFrame(Painter paint, int plotRows, int width) {
    Picture lines;
    listLine(paint, lines, paint.sample.adapterList, "no adapter");
    const bool roomy = paint.width >= kRoomyLine;
    const int model = roomy ? std::min(40, paint.width / 3) : 0;
    const char* down = paint.look.unicode ? "↓" : "v";
    const char* up = paint.look.unicode ? "↑" : "^";
    for (std::size_t i = 0; i < paint.sample.adapters.size(); ++i) {
        const AdapterSample& adapter = paint.sample.adapters[i];
        std::vector<LineWriter> rows(static_cast<std::size_t>(plotRows), paint.line());
        if (roomy)
            rows[0].put(2, adapter.model, model - 2);
        else
            lines.push_back(paint.line().put(2, adapter.model, paint.width).take());
        paint.rates(lines, std::move(rows), 2 + model,
                    {down, adapter.down, fmt::format("net{}_down_B/s", i), Style::in},
                    {up, adapter.up, fmt::format("net{}_up_B/s", i), Style::out});
    }
    return framed("Network", "", std::move(lines), width, paint.look);
}

/// What is known besides the charge.
std::vector<std::string> factsOf(const BatterySample& battery) {
    std::vector<std::string> facts = {battery.power.known() ? fmt::format("{:+.1f} W", battery.power.number)
                                                            : "power unknown"};
    if (battery.minutesLeft.known())
        facts.push_back(fmt::format("{:.0f}:{:02.0f} h left", std::floor(battery.minutesLeft.number / 60),
                                    std::floor(std::fmod(battery.minutesLeft.number, 60))));
    if (battery.health.known()) facts.push_back(fmt::format("health {:.0f} %", battery.health.number));
    if (battery.temperature.known()) facts.push_back(fmt::format("{:.0f} °C", battery.temperature.number));
    return facts;
}

/// Nothing on a machine without one.
Picture batteriesFrame(Painter paint, int width) {
    if (paint.sample.batteryList.known() && paint.sample.batteries.empty()) return {};
    Picture lines;
    listLine(paint, lines, paint.sample.batteryList, "no battery");
    for (const BatterySample& battery : paint.sample.batteries) {
        const std::string charge = paint.text(battery.charge, 0, "%");
        LineWriter first = paint.line();
        const int states = widthOf(battery.states);
        first.put(2, battery.name, paint.width - states - 1);
        first.put(2, battery.states, paint.width, Style::plain, true);
        lines.push_back(first.take());
        LineWriter second = paint.line();
        const int bar = std::max(paint.width / 3, 8);
        int at = 9;
        if (battery.charge.known()) {
            const Style style = leftStyle(battery.charge.number);
            second.put(2, charge, 5, style, true);
            meter(second, at, bar, battery.charge.number / 100.0, style);
            at += bar + 2;
        } else {
            second.put(2, charge, paint.width, Style::faint);
        }
        if (battery.charge.known() || battery.charge.reason.empty())
            for (const std::string& fact : factsOf(battery)) {
                if (at + widthOf(fact) > paint.width + 2) {
                    lines.push_back(second.take());
                    second = paint.line();
                    at = 4;
                }
                second.put(at, fact, paint.width + 2 - at);
                at += widthOf(fact) + 3;
            }
        lines.push_back(second.take());
        paint.reason(lines, battery.charge);
    }
    return framed("Batteries", "", std::move(lines), width, paint.look);
}

Style healthStyle(const std::string& health) {
    return health == "good"      ? Style::good
           : health == "caution" ? Style::warm
           : health == "bad"     ? Style::bad
                                 : Style::faint;
}

/// Where the columns of the drives begin, for all drives alike. 0: there is no room for it.
struct DriveColumns {
    int place, model, kind, degrees, health, life, rates;
    bool stacked; // degrees and health on a line of their own
};

DriveColumns driveColumns(const Painter& paint) {
    int place = 2;
    for (const DriveSample& drive : paint.sample.drives)
        place = std::max(place, widthOf(drive.place));
    const bool roomy = paint.width >= kRoomyLine;
    const int width = paint.width;
    DriveColumns columns{2, 2 + std::min(place, roomy ? 18 : 10) + 1, 0, 0, 0, 0, 0, false};
    constexpr int leastModel = 8;
    columns.stacked = !roomy && width - 14 < columns.model + leastModel;
    int at = columns.stacked ? 2 : roomy ? columns.model + std::clamp(width / 5, 14, 34) : width - 14;
    if (width >= 120) {
        columns.kind = at;
        at += 18;
    }
    columns.degrees = at;
    at += (columns.stacked ? 8 : 7) + (width >= 110 ? width / 14 : 0);
    columns.health = at;
    at += 9;
    if (width >= 90) {
        columns.life = at;
        at += 9;
    }
    columns.rates = roomy ? at : columns.stacked ? 2 : 4;
    return columns;
}

void driveLines(Painter& paint, Picture& to, const DriveColumns& columns, std::size_t index) {
    const DriveSample& drive = paint.sample.drives[index];
    const auto series = [&](const char* what) { return fmt::format("drive{}_{}", index, what); };
    const bool roomy = paint.width >= kRoomyLine;
    const int end = paint.width + 2;
    LineWriter line = paint.line();
    const auto room = static_cast<std::size_t>(columns.model - columns.place - 1);
    std::string place = drive.place; // its end tells drives apart
    if (place.size() > room) place = (paint.look.unicode ? "…" : "~") + place.substr(place.size() - room + 1);
    line.put(columns.place, place, static_cast<int>(room), Style::title);
    const int modelEnd = columns.stacked ? end + 1 : columns.kind ? columns.kind : columns.degrees;
    line.put(columns.model, drive.model, modelEnd - columns.model - 1);
    const auto newLine = [&] {
        to.push_back(line.take());
        line = paint.line();
    };
    if (columns.stacked) newLine();
    if (columns.kind) line.put(columns.kind, drive.kind, 17, Style::faint);
    const Value& degrees = drive.temperature;
    line.put(columns.degrees, degrees.known() ? fmt::format("{:.0f} °C", degrees.number) : "unknown",
             columns.health - columns.degrees,
             Painter::style(degrees, kDriveDegreesScale.styleOf(degrees.number)));
    const int plotRoom = columns.health - columns.degrees - 8;
    if (plotRoom > 0 && degrees.known())
        plot(line, columns.degrees + 6, plotRoom, paint.history.of(series("temp_C")), kDriveDegreesScale);
    line.put(columns.health, drive.health, 8, healthStyle(drive.health));
    if (columns.life)
        line.put(columns.life, drive.life.known() ? fmt::format("{:.0f} %", drive.life.number) : "unknown", 8,
                 Painter::style(drive.life, leftStyle(drive.life.number)));
    if (!roomy) newLine();
    paint.rates(to, {line}, columns.rates, {"R", drive.read, series("read_B/s"), Style::in},
                {"W", drive.write, series("write_B/s"), Style::out});
    paint.reason(to, degrees);
    paint.reason(to, drive.read);
}

Picture drivesFrame(Painter paint, int width) {
    Picture lines;
    const auto& unread = paint.sample.unreadDrives;
    if (unread.empty() || !paint.sample.driveList.known())
        listLine(paint, lines, paint.sample.driveList, "no drive");
    const DriveColumns columns = driveColumns(paint);
    if (columns.life && !paint.sample.drives.empty()) {
        LineWriter heads = paint.line();
        heads.put(columns.model, "Model", 10, Style::faint);
        if (columns.kind) heads.put(columns.kind, "Kind", 10, Style::faint);
        heads.put(columns.degrees, "Temp", 4, Style::faint);
        heads.put(columns.health, "Health", 8, Style::faint);
        heads.put(columns.life, "Life", 8, Style::faint);
        heads.put(columns.rates + 2, "Read", 10, Style::faint);
        heads.put(columns.rates + (paint.width + 2 - columns.rates) / 2 + 2, "Written", 10, Style::faint);
        lines.push_back(heads.take());
    }
    for (std::size_t i = 0; i < paint.sample.drives.size(); ++i)
        driveLines(paint, lines, columns, i);
    for (const std::string& reason : unread)
        for (const std::string& part : wrapped(reason, paint.width, paint.look))
            lines.push_back(paint.line().put(2, part, paint.width, Style::faint).take());
    return framed("Drives", "", std::move(lines), width, paint.look);
}

void append(Picture& to, Picture more) {
    std::ranges::move(more, std::back_inserter(to));
}

/// Empty lines at the foot of the last frame, until it ends where the neighbour does.
void padTo(Picture& frames, std::size_t rows, int width, const Look& look) {
    if (frames.size() >= rows) return;
    const char* side = look.unicode ? "│" : "|";
    const PictureLine empty = {{0, side, 1, Style::faint}, {width - 1, side, 1, Style::faint}};
    frames.insert(frames.end() - 1, rows - frames.size(), empty);
}

/// Frames side by side, of about the same height: graphics stand where there is room, and the plots take what
/// is left.
Picture twoColumns(const Painter& paint, int plotRows, int width) {
    Painter narrow = paint;
    narrow.width = width - 4;
    const Picture graphics = graphicsFrame(narrow, width);
    bool graphicsLeft = true;
    const auto leftOf = [&](int rows) {
        Picture left = processorFrame(narrow, rows, width);
        append(left, memoryFrame(narrow, width));
        if (graphicsLeft) append(left, graphics);
        return left;
    };
    const auto rightOf = [&](int rows) {
        Picture right = networkFrame(narrow, rows, width);
        append(right, batteriesFrame(narrow, width));
        if (!graphicsLeft) append(right, graphics);
        return right;
    };
    graphicsLeft = leftOf(1).size() - graphics.size() <= rightOf(1).size();
    Picture left = leftOf(plotRows);
    Picture right = rightOf(1);
    const auto missing = static_cast<int>(left.size()) - static_cast<int>(right.size());
    const auto adapters = static_cast<int>(paint.sample.adapters.size());
    if (missing < 0) left = leftOf(plotRows - missing);
    if (missing > 0 && adapters > 0) right = rightOf(std::min(1 + missing / adapters, kMostRateRows));
    padTo(right, left.size(), width, paint.look);
    padTo(left, right.size(), width, paint.look);
    return beside(std::move(left), right, width);
}

/// Everything below the heading, with a load plot of so many rows.
Picture bodyOf(const Sample& sample, const History& history, const Look& look, int plotRows) {
    const int width = look.columns >= kTwoColumns ? look.columns / 2 * 2 : look.columns;
    const Painter paint{sample, history, look, width - 4};
    if (width >= kTwoColumns) {
        Picture body = twoColumns(paint, plotRows, width / 2);
        append(body, drivesFrame(paint, width));
        return body;
    }
    Picture body = processorFrame(paint, plotRows, width);
    append(body, memoryFrame(paint, width));
    append(body, graphicsFrame(paint, width));
    append(body, drivesFrame(paint, width));
    append(body, networkFrame(paint, 1, width));
    append(body, batteriesFrame(paint, width));
    return body;
}

PictureLine headingLine(const Heading& heading, const Sample& sample, const Look& look) {
    std::string right = sample.shownTime;
    if (look.columns >= 60)
        right += heading.interval % 1000 == 0 ? fmt::format("   every {} s", heading.interval / 1000)
                                              : fmt::format("   every {} ms", heading.interval);
    right += "   q ends ";
    LineWriter line(look);
    const int room = widthOf(right);
    line.put(1, heading.title, look.columns - room - 3, Style::title);
    line.put(0, right, look.columns, Style::faint, true);
    return line.take();
}

} // namespace

void History::add(const Sample& sample) {
    for (const Series& series : seriesOf(sample)) {
        Past& past = past_[series.column];
        if (past.of != series.of) past = {series.of, {}}; // another adapter has taken its place
        past.numbers.push_back(series.value->known() ? series.value->number : std::nan(""));
        if (past.numbers.size() > kMostKept) past.numbers.pop_front();
    }
}

const std::deque<double>& History::of(const std::string& column) const {
    static const std::deque<double> none;
    const auto found = past_.find(column);
    return found == past_.end() ? none : found->second.numbers;
}

Picture pictureOf(const Heading& heading, const Sample& sample, const History& history, const Look& look,
                  Scroll& scroll) {
    Picture picture = {headingLine(heading, sample, look)};
    const auto room = static_cast<std::size_t>(std::max(look.rows - 1, 1));
    Picture body = bodyOf(sample, history, look, 1);
    if (body.size() < room) { // more for the load, as far as it helps
        const int spare = static_cast<int>(room - body.size());
        Picture higher = bodyOf(sample, history, look, 1 + std::min(spare, kMostPlotRows - 1));
        if (higher.size() <= room) body = std::move(higher);
    }
    const int hidden = std::max(static_cast<int>(body.size()) - static_cast<int>(room) + 1, 0);
    const bool fits = body.size() <= room;
    scroll.most = fits ? 0 : hidden;
    scroll.from = std::clamp(scroll.from, 0, scroll.most);
    for (std::size_t i = 0; i < (fits ? body.size() : room - 1); ++i)
        picture.push_back(std::move(body[i + static_cast<std::size_t>(scroll.from)]));
    if (!fits) {
        LineWriter foot(look);
        foot.put(1,
                 fmt::format("{} of {} lines; arrow keys scroll", scroll.from + look.rows - 2, body.size()),
                 look.columns - 2, Style::faint);
        picture.push_back(foot.take());
    }
    return picture;
}

} // namespace tool
