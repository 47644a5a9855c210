#include "platform/machine/drives/MachineDriveLogs.h"

#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDriveFile.h"
#include "platform/servers/DriveRequests.h"

#include <array>
#include <string_view>

namespace orv::platform {

namespace {

constexpr std::uint8_t kDirectory = 0, kDeviceStatistics = 4; // addresses of logs
constexpr std::size_t kPages = 8;                             // of the statistics that are made of values
constexpr std::size_t kMostPages = 255;

void put(DriveBlock& block, std::size_t at, std::uint64_t value, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i)
        block[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// A statistic of the standard (ACS-4, 9.5) and its place.
struct StatisticKey {
    std::string_view key;
    std::size_t page, at, bytes;
};
constexpr StatisticKey kStatistics[] = {
    {"powerOnResets", 1, 8, 4},       {"powerOnHours", 1, 16, 4}, {"logicalSectorsWritten", 1, 24, 6},
    {"logicalSectorsRead", 1, 40, 6}, {"temperature", 5, 8, 1},   {"percentageUsed", 7, 8, 1},
};

/// Eight pages, of which those are listed that have a value.
DriveBlock statisticsOf(const Node& values) {
    constexpr std::size_t countAt = 8;
    constexpr std::uint8_t supportedAndValid = 0xC0;
    constexpr std::int64_t coldest = -128, hottest = 127;
    DriveBlock log(kPages * kAtaBlockBytes);
    put(log, 0, 1, 2); // revision
    log[countAt] = 1;  // the list itself
    for (const StatisticKey& row : kStatistics) {
        if (!values.has(row.key)) continue;
        const std::uint64_t value =
            row.key == "temperature"
                ? static_cast<std::uint64_t>(values.signedNumber(row.key, coldest, hottest))
                : values.number(row.key, (std::uint64_t{1} << 8 * row.bytes) - 1);
        const std::size_t page = row.page * kAtaBlockBytes;
        if (log[page] == 0) {
            log[countAt + 1 + log[countAt]] = static_cast<std::uint8_t>(row.page);
            ++log[countAt];
        }
        put(log, page, 1, 2);
        log[page + 2] = static_cast<std::uint8_t>(row.page);
        put(log, page + row.at, value, row.bytes);
        log[page + row.at + 7] = supportedAndValid;
    }
    values.done();
    return log;
}

} // namespace

void readDriveLogs(const Node& node, bool nvme, DriveFacts& facts) {
    for (const char* key : {"deviceStatistics", "returnStatus"})
        if (nvme && node.has(key)) node.at(key).fail("an NVMe drive has none");
    if (node.has("deviceStatistics")) {
        const Node value = node.at("deviceStatistics");
        const bool isBlock = value.isText() || (value.isObject() && value.has("file"));
        facts.deviceStatistics = isBlock ? readDriveBlock(node, "deviceStatistics") : statisticsOf(value);
        const std::size_t bytes = facts.deviceStatistics.size();
        if (bytes == 0 || bytes % kAtaBlockBytes != 0 || bytes > kMostPages * kAtaBlockBytes)
            value.fail("must be 1 to 255 pages of 512 bytes, not " + std::to_string(bytes) + " bytes");
    }
    if (!node.has("returnStatus")) return;
    const std::string status = node.text("returnStatus");
    if (status != "good" && status != "exceeded" && status != "none")
        node.at("returnStatus").fail(R"(must be "good", "exceeded" or "none")");
    facts.status = status == "good"       ? DriveStatus::good
                   : status == "exceeded" ? DriveStatus::exceeded
                                          : DriveStatus::none;
}

void tellOfLogs(DriveBlock& identify) {
    constexpr std::size_t supported = 84 * 2, enabled = 87 * 2;
    constexpr std::uint8_t generalPurposeLogs = 0x20; // bit 5
    for (const std::size_t at : {supported, enabled}) {
        identify[at] |= generalPurposeLogs;
        identify[at + 1] = static_cast<std::uint8_t>((identify[at + 1] & 0x3F) | 0x40); // the word counts
    }
}

DriveBlock logPage(const DriveBlock& deviceStatistics, std::uint8_t log, std::uint16_t page) {
    const std::size_t pages = deviceStatistics.size() / kAtaBlockBytes;
    if (log == kDirectory && page == 0 && pages > 0) {
        DriveBlock directory(kAtaBlockBytes);
        put(directory, 0, 1, 2); // revision
        put(directory, kDeviceStatistics * std::size_t{2}, pages, 2);
        return directory;
    }
    if (log != kDeviceStatistics || page >= pages) return {};
    const auto from = deviceStatistics.begin() + static_cast<std::ptrdiff_t>(page * kAtaBlockBytes);
    return {from, from + kAtaBlockBytes};
}

std::optional<IDEREGS> registersOf(DriveStatus status) {
    constexpr IDEREGS good = {0, 0, 0, 0x4F, 0xC2, 0, kEndedWell.bCommandReg, 0};
    constexpr IDEREGS exceeded = {0, 0, 0, 0xF4, 0x2C, 0, kEndedWell.bCommandReg, 0};
    if (status == DriveStatus::none) return std::nullopt;
    return status == DriveStatus::good ? good : exceeded;
}

} // namespace orv::platform
