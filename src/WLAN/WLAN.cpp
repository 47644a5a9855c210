#include "WLAN/WLAN.h"

#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "json/value.h"
#include "log/log.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

#include <algorithm>

namespace orv::wlan {

namespace {

constexpr std::int64_t kTicksPerMillisecond = 10000; // a tick is 100 ns

struct WlanState {
    OnceCell<std::vector<Connection>> connections;
    std::vector<platform::InterfaceRow> rows; // kept, so that a poll reuses its memory
};

std::int64_t clockTicks() {
    return platform::current().clock().monotonicNs() / 100;
}

void readInterfaceRows(std::vector<platform::InterfaceRow>& rows) {
    const auto error = platform::current().networkTables().interfaceRows(rows);
    if (error != platform::kSuccess) throwHW(L"GetIfTable failed: {}", getSystemErrorText(error));
}

/// A description ends at its first NUL, whatever the system's record holds behind it.
std::string_view upToNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

void bindToRow(Connection& connection, const std::vector<platform::InterfaceRow>& table) {
    connection.row = rowOf(connection.description, table);
    connection.time = connection.lastTime = clockTicks();
    if (connection.row >= table.size()) return; // an empty table has not even a row 0
    const platform::InterfaceRow& row = table[connection.row];
    connection.inOctets = connection.lastInOctets = row.inOctets;
    connection.outOctets = connection.lastOutOctets = row.outOctets;
    connection.ifDescription = upToNul(row.description);
}

/// Two samples in the same millisecond have no rate: the record keeps its rates and its earlier sample, so
/// the next call covers the whole interval and no byte is lost. So does a record whose row is gone.
void sample(Connection& connection, const std::vector<platform::InterfaceRow>& table) {
    if (connection.row >= table.size()) return;
    const std::int64_t now = clockTicks();
    const std::int64_t elapsed = (now - connection.time) / kTicksPerMillisecond;
    if (elapsed < 1) return;

    const platform::InterfaceRow& row = table[connection.row];
    connection.lastInOctets = std::exchange(connection.inOctets, row.inOctets);
    connection.lastOutOctets = std::exchange(connection.outOctets, row.outOctets);
    connection.lastTime = std::exchange(connection.time, now);
    const auto milliseconds = static_cast<double>(elapsed);
    // Unsigned differences: a counter that wrapped once still gives the right amount.
    connection.download = (connection.inOctets - connection.lastInOctets) / milliseconds;
    connection.upload = (connection.outOctets - connection.lastOutOctets) / milliseconds;
}

} // namespace

std::vector<Connection> GetAllNetWorkConnection() {
    log::entry(wlanLogger, L"orv::wlan::GetAllNetWorkConnection");
    auto adapters = platform::current().networkTables().adapters();
    if (!adapters.ok()) throwHW(L"GetAdaptersInfo failed: {}", getSystemErrorText(adapters.error));

    std::vector<Connection> connections;
    connections.reserve(adapters.value.size());
    for (platform::AdapterRecord& adapter : adapters.value) {
        Connection& connection = connections.emplace_back();
        connection.description = upToNul(adapter.description);
        connection.ipAddress = std::move(adapter.ipAddress);
        connection.ipMask = std::move(adapter.ipMask);
        connection.gateway = std::move(adapter.gateway);
    }

    std::vector<platform::InterfaceRow> table;
    readInterfaceRows(table);
    for (Connection& connection : connections)
        if (!connection.description.empty()) bindToRow(connection, table);
    log::info(wlanLogger, L"GetAllNetWorkConnection: Ok, size: {}", connections.size());
    return connections;
}

void GetInternetSpeed(std::vector<Connection>& connections) {
    log::entry(wlanLogger, L"orv::wlan::GetInternetSpeed");
    auto& table = processWide<WlanState>().rows;
    readInterfaceRows(table);
    log::Lines lines(wlanLogger, log::Level::info);
    for (Connection& connection : connections) {
        if (connection.description.empty()) continue;
        sample(connection, table);
        lines.add(L"GetInternetSpeed: Ok, name: {}, download: {}, upload: {}",
                  EncodedText(connection.description).wide, connection.download, connection.upload);
    }
}

std::uint32_t rowOf(std::string_view description, const std::vector<platform::InterfaceRow>& table) {
    for (std::uint32_t row = 0; row < table.size(); ++row)
        if (upToNul(table[row].description) == description) return row;
    return findIfRow(description, table);
}

std::uint32_t findIfRow(std::string_view description, const std::vector<platform::InterfaceRow>& table) {
    for (std::uint32_t row = 0; row < table.size(); ++row) {
        const std::string_view candidate = upToNul(table[row].description);
        const bool candidateIsLonger = candidate.size() > description.size();
        const std::string_view text = candidateIsLonger ? candidate : description;
        const std::string_view pattern = candidateIsLonger ? description : candidate;
        if (text.find(pattern) != text.npos) return row;
    }
    std::uint32_t chosen = 0;
    double best = 0.0;
    for (std::uint32_t row = 0; row < table.size(); ++row) {
        const double similarity = stringSimilarity(upToNul(table[row].description), description);
        if (similarity > best) {
            best = similarity;
            chosen = row;
        }
    }
    return chosen;
}

double stringSimilarity(std::string_view a, std::string_view b) {
    if (a.empty() || b.empty()) return 0.0;
    // One row of the distance matrix at a time: distances[j] is the cost of turning the part of `a` seen so
    // far into the first j bytes of `b`.
    std::vector<std::size_t> distances(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        distances[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(distances[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = distances[j];
            distances[j] = std::min({substituted, distances[j] + 1, distances[j - 1] + 1});
        }
    }
    const auto longer = static_cast<double>(std::max(a.size(), b.size()));
    return 1.0 - static_cast<double>(distances.back()) / longer;
}

std::string currentSpeedReport() {
    auto& connections = processWide<WlanState>().connections.get(GetAllNetWorkConnection);
    GetInternetSpeed(connections);
    json::value report;
    for (const Connection& connection : connections) {
        json::value entry;
        entry["down"] = connection.download;
        entry["model"] = connection.description;
        entry["up"] = connection.upload;
        report.push_back(std::move(entry));
    }
    return json::dump(report);
}

} // namespace orv::wlan
