#pragma once

#include "WatchPicture.h"

#include <string_view>

namespace tool {

/// Columns of a text; a character counts one.
int widthOf(std::string_view text);
/// The text, or its beginning with an ellipsis where it is wider.
std::string elided(std::string_view text, int width, const Look& look);
/// Lines of at most that width, broken at blanks where there are some.
std::vector<std::string> wrapped(std::string_view text, int width, const Look& look);

/// Writes a line of a picture from left to right.
class LineWriter {
  public:
    explicit LineWriter(const Look& look) : look_(look) {}

    /// The text at a column, elided to a width; `right`: at the end of that width.
    LineWriter& put(int column, std::string_view text, int width, Style style = Style::plain,
                    bool right = false);
    PictureLine take() { return std::move(line_); }

    const Look& look() const { return look_; }

  private:
    Look look_;
    PictureLine line_;
};

/// Where the numbers of a plot lie, and how a number is coloured.
struct Scale {
    double lowest = 0;
    double highest = 100;
    /// From these on a number is mild, warm, hot, bad. All 0: `flat` everywhere.
    double mild = 0, warm = 0, hot = 0, bad = 0;
    Style flat = Style::plain;

    Style styleOf(double number) const;
};

/// A scale up to a round number over all of them, for rates.
Scale roundScale(const std::deque<double>& numbers, int latest, Style style);

/// The latest numbers, the newest at the right; row 0 of `rows` is the top one.
void plot(LineWriter& to, int column, int width, const std::deque<double>& numbers, const Scale& scale,
          int row = 0, int rows = 1);
/// A bar that is filled up to a share of 1.
void meter(LineWriter& to, int column, int width, double share, Style style);

/// Lines with a frame around them and a title in it, all of a width. The lines begin at column 2.
Picture framed(std::string_view title, std::string_view subject, Picture lines, int width, const Look& look);
/// Puts `right` beside `left`, from a column on.
Picture beside(Picture left, const Picture& right, int column);

} // namespace tool
