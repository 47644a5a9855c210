#include "platform/machine/MachineNetwork.h"

#include "platform/machine/Node.h"

#include <limits>

namespace orv::platform {

namespace {

constexpr std::uint64_t kLargestCounter = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kLargestRate = 100'000'000'000; // bytes a second; far above any link
constexpr std::int64_t kNsPerMicrosecond = 1000;
constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

std::uint32_t moved(std::uint32_t start, std::uint64_t perSecond, std::int64_t nanoseconds) {
    const auto microseconds = static_cast<std::uint64_t>(nanoseconds / kNsPerMicrosecond);
    const std::uint64_t seconds = microseconds / kMicrosecondsPerSecond;
    const std::uint64_t rest = microseconds % kMicrosecondsPerSecond;
    return static_cast<std::uint32_t>(start + perSecond * seconds +
                                      perSecond * rest / kMicrosecondsPerSecond);
}

} // namespace

MachineNetworkTables::MachineNetworkTables(const Node& root, Requests& requests, const MachineClock& clock)
    : requests_(requests), clock_(clock) {
    const auto network = root.find("network");
    if (!network) return;
    for (const Node& entry : network->list("adapters")) {
        adapters_.push_back({entry.text("description"), entry.text("ipAddress", "0.0.0.0"),
                             entry.text("ipMask", "0.0.0.0"), entry.text("gateway", "0.0.0.0")});
        entry.done();
    }
    for (const Node& entry : network->list("interfaces")) {
        MovingRow row;
        row.start.description = entry.text("description");
        row.start.inOctets = static_cast<std::uint32_t>(entry.number("inOctets", kLargestCounter, 0));
        row.start.outOctets = static_cast<std::uint32_t>(entry.number("outOctets", kLargestCounter, 0));
        row.inPerSecond = entry.number("inPerSecond", kLargestRate, 0);
        row.outPerSecond = entry.number("outPerSecond", kLargestRate, 0);
        entry.done();
        rows_.push_back(std::move(row));
    }
    network->done();
}

Result<std::vector<AdapterRecord>> MachineNetworkTables::adapters() {
    if (const ErrorCode error = requests_.enter("adapters"))
        return Result<std::vector<AdapterRecord>>::failed(error);
    return {adapters_};
}

ErrorCode MachineNetworkTables::interfaceRows(std::vector<InterfaceRow>& rows) {
    if (const ErrorCode error = requests_.enter("interfaceRows")) return error;
    rows.resize(rows_.size());
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows[i].description = rows_[i].start.description;
        rows[i].inOctets = moved(rows_[i].start.inOctets, rows_[i].inPerSecond, clock_.now());
        rows[i].outOctets = moved(rows_[i].start.outOctets, rows_[i].outPerSecond, clock_.now());
    }
    return kSuccess;
}

} // namespace orv::platform
