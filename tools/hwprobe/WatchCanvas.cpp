#include "WatchCanvas.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tool {

namespace {

/// Characters of a text, byte ranges of it.
std::vector<std::string_view> charactersOf(std::string_view text) {
    std::vector<std::string_view> all;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            ++end;
        all.push_back(text.substr(at, end - at));
        at = end;
    }
    return all;
}

/// Levels 0 (nothing) to 8 (full) of a cell.
constexpr const char* kUnicodeLevels[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kAsciiLevels[] = {" ", "_", ".", ",", "-", "+", "=", "*", "#"};
constexpr int kFullCell = 8;

struct Corners {
    const char *horizontal, *vertical, *topLeft, *topRight, *bottomLeft, *bottomRight;
};
constexpr Corners kUnicodeCorners = {"─", "│", "╭", "╮", "╰", "╯"};
constexpr Corners kAsciiCorners = {"-", "|", "+", "+", "+", "+"};

std::string repeated(std::string_view text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

} // namespace

int widthOf(std::string_view text) {
    return static_cast<int>(charactersOf(text).size());
}

std::string elided(std::string_view text, int width, const Look& look) {
    const auto characters = charactersOf(text);
    const bool fits = static_cast<int>(characters.size()) <= width;
    const std::string_view ellipsis = fits ? "" : look.unicode ? "…" : "~";
    std::string shown;
    const int kept = fits ? static_cast<int>(characters.size()) : width - 1;
    for (int i = 0; i < kept; ++i) {
        const std::string_view character = characters[static_cast<std::size_t>(i)];
        if (look.unicode || character.size() == 1)
            shown += character;
        else
            shown += character == "°" ? "" : "?";
    }
    return width < 1 ? "" : shown + std::string(ellipsis);
}

std::vector<std::string> wrapped(std::string_view text, int width, const Look& look) {
    std::vector<std::string> lines(1);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string_view word = text.substr(at, end - at);
        if (!lines.back().empty() && widthOf(lines.back()) + 1 + widthOf(word) > width) lines.emplace_back();
        lines.back() += (lines.back().empty() ? "" : " ") + std::string(word);
        at = end + 1;
    }
    for (std::string& line : lines)
        line = elided(line, width, look);
    return lines;
}

LineWriter& LineWriter::put(int column, std::string_view text, int width, Style style, bool right) {
    std::string shown = elided(text, width, look_);
    const int columns = widthOf(shown);
    if (columns == 0) return *this;
    line_.push_back({right ? column + width - columns : column, std::move(shown), columns, style});
    return *this;
}

Style Scale::styleOf(double number) const {
    if (bad == 0) return flat;
    if (number >= bad) return Style::bad;
    if (number >= hot) return Style::hot;
    if (number >= warm) return Style::warm;
    return number >= mild ? Style::mild : Style::good;
}

Scale roundScale(const std::deque<double>& numbers, int latest, Style style) {
    double highest = 1000; // below a kilobyte a second there is nothing to see
    const std::size_t shown = std::min(numbers.size(), static_cast<std::size_t>(std::max(latest, 0)));
    for (std::size_t i = numbers.size() - shown; i < numbers.size(); ++i)
        if (numbers[i] > highest) highest = numbers[i];
    const double power = std::pow(10.0, std::floor(std::log10(highest)));
    const double lead = highest / power;
    Scale scale;
    scale.highest = power * (lead <= 1.0 ? 1.0 : lead <= 2.0 ? 2.0 : lead <= 5.0 ? 5.0 : 10.0);
    scale.flat = style;
    return scale;
}

void plot(LineWriter& to, int column, int width, const std::deque<double>& numbers, const Scale& scale,
          int row, int rows) {
    const auto* levels = to.look().unicode ? kUnicodeLevels : kAsciiLevels;
    std::string run;
    int begin = column;
    int end = column;
    Style style = Style::plain;
    const auto flush = [&] {
        if (!run.empty()) to.put(begin, run, end - begin, style);
        run.clear();
    };
    for (int i = 0; i < width; ++i) {
        const int back = width - i;
        if (back > static_cast<int>(numbers.size())) continue;
        const double number = numbers[numbers.size() - static_cast<std::size_t>(back)];
        if (std::isnan(number)) continue;
        const double share = (number - scale.lowest) / (scale.highest - scale.lowest);
        const int whole = rows * kFullCell;
        // What is known has a line at the bottom at least.
        const int height = std::clamp(static_cast<int>(std::lround(share * whole)), 1, whole);
        const int level = std::clamp(height - (rows - 1 - row) * kFullCell, 0, kFullCell);
        if (level == 0) continue;
        const Style here = share <= 0 ? Style::faint : scale.styleOf(number);
        if (end != column + i || here != style) {
            flush();
            begin = column + i;
            style = here;
        }
        run += levels[level];
        end = column + i + 1;
    }
    flush();
}

void meter(LineWriter& to, int column, int width, double share, Style style) {
    if (width <= 0) return;
    const int filled = std::clamp(static_cast<int>(std::lround(share * width)), 0, width);
    const bool unicode = to.look().unicode;
    to.put(column, repeated(unicode ? "■" : "#", filled), width, style);
    to.put(column + filled, repeated(unicode ? "·" : ".", width - filled), width, Style::faint);
}

Picture framed(std::string_view title, std::string_view subject, Picture lines, int width, const Look& look) {
    const Corners& corners = look.unicode ? kUnicodeCorners : kAsciiCorners;
    const auto edge = [&](const char* left, const char* right) {
        LineWriter line(look);
        line.put(0, left, 1, Style::faint);
        line.put(1, repeated(corners.horizontal, width - 2), width - 2, Style::faint);
        line.put(width - 1, right, 1, Style::faint);
        return line.take();
    };
    LineWriter top(look);
    const int titleWidth = widthOf(title);
    const std::string about = elided(subject, width - titleWidth - 9, look);
    top.put(0, std::string(corners.topLeft) + corners.horizontal, 2, Style::faint);
    top.put(3, title, titleWidth, Style::title);
    int at = 4 + titleWidth;
    if (!about.empty()) {
        top.put(at, repeated(corners.horizontal, 1), 1, Style::faint);
        top.put(at + 2, about, widthOf(about));
        at += 3 + widthOf(about);
    }
    top.put(at, repeated(corners.horizontal, width - 1 - at), width - 1 - at, Style::faint);
    top.put(width - 1, corners.topRight, 1, Style::faint);

    Picture picture = {top.take()};
    for (PictureLine& line : lines) {
        line.insert(line.begin(), {0, corners.vertical, 1, Style::faint});
        line.push_back({width - 1, corners.vertical, 1, Style::faint});
        picture.push_back(std::move(line));
    }
    picture.push_back(edge(corners.bottomLeft, corners.bottomRight));
    return picture;
}

Picture beside(Picture left, const Picture& right, int column) {
    left.resize(std::max(left.size(), right.size()));
    for (std::size_t i = 0; i < right.size(); ++i)
        for (Span span : right[i]) {
            span.column += column;
            left[i].push_back(std::move(span));
        }
    return left;
}

} // namespace tool
