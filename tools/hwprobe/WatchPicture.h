#pragma once

#include "WatchSample.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace tool {

/// What the screen can show.
struct Look {
    int columns = 80;
    int rows = 24;
    bool unicode = true;
};

enum class Style { plain, title, faint, good, mild, warm, hot, bad, in, out };

/// A text on a line of the picture, from a column on.
struct Span {
    int column;
    std::string text;
    int width; // in columns; a character counts one
    Style style;
};
using PictureLine = std::vector<Span>;
using Picture = std::vector<PictureLine>;

/// What the readings were, oldest first; NaN where there was none.
class History {
  public:
    void add(const Sample& sample);
    /// Of the column of a series; empty for one that never was.
    const std::deque<double>& of(const std::string& column) const;

  private:
    struct Past {
        std::string of;
        std::deque<double> numbers;
    };
    std::map<std::string, Past> past_; // by column
};

struct Heading {
    std::string title;
    std::int64_t interval; // milliseconds
};

/// Lines of the body that stand above the first one that is shown, and the most that may.
struct Scroll {
    int from = 0;
    int most = 0;
};

/// Fits a width of 20 or more: no text stands on another. `scroll` tells what is passed over below the
/// heading where there is more than fits; it is put right.
Picture pictureOf(const Heading& heading, const Sample& sample, const History& history, const Look& look,
                  Scroll& scroll);

} // namespace tool
