#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// What the series of one name have in common.
struct MetricFamily {
    enum class Type { gauge, counter, info };
    std::string_view name; // without the _total of a counter and the _info of an info
    std::string_view unit; // the last part of the name; empty where it has none
    Type type;
    std::string_view help;
};

using MetricLabels = std::vector<std::pair<std::string_view, std::string>>;

/// One reading of the machine as series, and their text.
class Exposition {
  public:
    enum class Format { text, openMetrics };

    /// A value that is no finite number is unknown, and the series is left out. `family` outlives this
    /// object.
    void add(const MetricFamily& family, const MetricLabels& labels, double value);

    std::string in(Format format) const;
    static const char* contentType(Format format);

  private:
    struct Group {
        const MetricFamily* family;
        std::vector<std::pair<std::string, double>> series; // labels as text, value
    };
    std::vector<Group> groups_;
};

} // namespace tool
