#include "MetricsText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tool {

namespace {

using Type = MetricFamily::Type;

std::string escaped(std::string_view value) {
    std::string text;
    for (const char letter : value) {
        if (letter == '\\' || letter == '"') text += '\\';
        if (letter == '\n')
            text += "\\n";
        else
            text += letter;
    }
    return text;
}

std::string textOf(const MetricLabels& labels) {
    std::string text;
    for (const auto& [name, value] : labels)
        text += fmt::format("{}{}=\"{}\"", text.empty() ? "" : ",", name, escaped(value));
    return text.empty() ? text : "{" + text + "}";
}

std::string_view suffixOf(Type type) {
    return type == Type::counter ? "_total" : type == Type::info ? "_info" : "";
}

/// The plain form knows no info, and names a counter with its suffix.
void appendHead(std::string& text, const MetricFamily& family, Exposition::Format format) {
    const auto to = std::back_inserter(text);
    if (format == Exposition::Format::openMetrics) {
        const char* const type = family.type == Type::counter ? "counter"
                                 : family.type == Type::info  ? "info"
                                                              : "gauge";
        fmt::format_to(to, "# TYPE {} {}\n", family.name, type);
        if (!family.unit.empty()) fmt::format_to(to, "# UNIT {} {}\n", family.name, family.unit);
        fmt::format_to(to, "# HELP {} {}\n", family.name, family.help);
        return;
    }
    const std::string_view suffix = suffixOf(family.type);
    fmt::format_to(to, "# HELP {}{} {}\n", family.name, suffix, family.help);
    fmt::format_to(to, "# TYPE {}{} {}\n", family.name, suffix,
                   family.type == Type::counter ? "counter" : "gauge");
}

} // namespace

void Exposition::add(const MetricFamily& family, const MetricLabels& labels, double value) {
    if (!std::isfinite(value)) return;
    auto group = std::ranges::find(groups_, &family, &Group::family);
    if (group == groups_.end()) group = groups_.insert(groups_.end(), {&family, {}});
    group->series.emplace_back(textOf(labels), value);
}

std::string Exposition::in(Format format) const {
    std::string text;
    for (const Group& group : groups_) {
        appendHead(text, *group.family, format);
        for (const auto& [labels, value] : group.series)
            fmt::format_to(std::back_inserter(text), "{}{}{} {}\n", group.family->name,
                           suffixOf(group.family->type), labels, value);
    }
    if (format == Format::openMetrics) text += "# EOF\n";
    return text;
}

const char* Exposition::contentType(Format format) {
    return format == Format::openMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                         : "text/plain; version=0.0.4; charset=utf-8";
}

} // namespace tool
