// The text of a 16-row report, beside RapidJSON's writer and nlohmann-json on the same value. The peers write
// a float with all its digits, so their outputs differ in that alone.

#include "json/value.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string>
#include <vector>

namespace {

struct Row {
    std::string model;
    double down = 0;
    double up = 0;
    int index = 0;
};

/// Idle rows with whole rates and busy rows with fractions, as a poll of the network cards gives them.
std::vector<Row> rowsOf(const std::string& model) {
    std::vector<Row> rows;
    for (int i = 0; i < 16; ++i) {
        const bool busy = i % 2 == 0;
        rows.push_back({model + " #" + std::to_string(i), busy ? 1234.567 * (i + 1) : 0.0,
                        busy ? 17.125 * (i + 1) : 0.0, i});
    }
    return rows;
}

orv::json::value ownReport(const std::vector<Row>& rows) {
    orv::json::value report;
    for (const Row& row : rows) {
        orv::json::value entry;
        entry["down"] = row.down;
        entry["index"] = row.index;
        entry["model"] = row.model;
        entry["up"] = row.up;
        report.push_back(std::move(entry));
    }
    return report;
}

nlohmann::json nlohmannReport(const std::vector<Row>& rows) {
    nlohmann::json report;
    for (const Row& row : rows)
        report.push_back({{"down", row.down}, {"index", row.index}, {"model", row.model}, {"up", row.up}});
    return report;
}

rapidjson::Document rapidReport(const std::vector<Row>& rows) {
    rapidjson::Document report(rapidjson::kArrayType);
    auto& memory = report.GetAllocator();
    for (const Row& row : rows) {
        rapidjson::Value entry(rapidjson::kObjectType);
        entry.AddMember("down", row.down, memory);
        entry.AddMember("index", row.index, memory);
        entry.AddMember("model", rapidjson::Value(row.model.c_str(), memory), memory);
        entry.AddMember("up", row.up, memory);
        report.PushBack(entry, memory);
    }
    return report;
}

constexpr const char* kAscii = "Realtek PCIe GbE Family Controller";
constexpr const char* kUtf8 = "Intel\xC2\xAE Wi\xE2\x80\x91"
                              "Fi 6 Netzwerkger\xC3\xA4t";

void dumpOwn(benchmark::State& state, const char* model) {
    const auto report = ownReport(rowsOf(model));
    for (auto _ : state)
        benchmark::DoNotOptimize(orv::json::dump(report));
}
BENCHMARK_CAPTURE(dumpOwn, ascii, kAscii);
BENCHMARK_CAPTURE(dumpOwn, utf8, kUtf8);

/// The writer alone: its text stays in its buffer and is not copied to a string. As it comes it writes any
/// bytes; with validation it refuses what is not UTF-8, where ours leaves it out.
template <unsigned Flags>
void dumpRapidJson(benchmark::State& state, const char* model) {
    using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                     rapidjson::CrtAllocator, Flags>;
    const auto report = rapidReport(rowsOf(model));
    for (auto _ : state) {
        rapidjson::StringBuffer text;
        Writer writer(text);
        if (!report.Accept(writer)) state.SkipWithError("the text is not UTF-8");
        benchmark::DoNotOptimize(text.GetString());
    }
}
constexpr auto dumpRapidPlain = dumpRapidJson<rapidjson::kWriteNoFlags>;
constexpr auto dumpRapidValidating = dumpRapidJson<rapidjson::kWriteValidateEncodingFlag>;
BENCHMARK_CAPTURE(dumpRapidPlain, ascii, kAscii);
BENCHMARK_CAPTURE(dumpRapidPlain, utf8, kUtf8);
BENCHMARK_CAPTURE(dumpRapidValidating, ascii, kAscii);
BENCHMARK_CAPTURE(dumpRapidValidating, utf8, kUtf8);

void dumpNlohmann(benchmark::State& state, const char* model) {
    const auto report = nlohmannReport(rowsOf(model));
    for (auto _ : state)
        benchmark::DoNotOptimize(report.dump());
}
BENCHMARK_CAPTURE(dumpNlohmann, ascii, kAscii);
BENCHMARK_CAPTURE(dumpNlohmann, utf8, kUtf8);

} // namespace
