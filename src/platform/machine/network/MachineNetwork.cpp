#include "platform/machine/network/MachineNetwork.h"

#include "platform/machine/Node.h"
#include "platform/text.h"
#include "platform/utf16.h"

#include <limits>

namespace orv::platform {

namespace {

constexpr std::uint64_t kLargestCounter = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kLargestRate = 100'000'000'000; // bytes a second; far above any link
constexpr std::int64_t kNsPerMicrosecond = 1000;
constexpr std::size_t kLongestAddress = 32;
constexpr std::uint32_t kBytesAnAdapter = 376; // IP_ADAPTER_ADDRESSES_LH of a 32-bit process
constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

std::uint32_t moved(std::uint32_t start, std::uint64_t perSecond, std::int64_t nanoseconds) {
    const auto microseconds = static_cast<std::uint64_t>(nanoseconds / kNsPerMicrosecond);
    const std::uint64_t seconds = microseconds / kMicrosecondsPerSecond;
    const std::uint64_t rest = microseconds % kMicrosecondsPerSecond;
    return static_cast<std::uint32_t>(start + perSecond * seconds +
                                      perSecond * rest / kMicrosecondsPerSecond);
}

AdapterAddress addressFrom(const Node& entry) {
    AdapterAddress address;
    address.description = utf8ToWide(entry.text("description"));
    address.interfaceType =
        static_cast<std::uint32_t>(entry.number("type", kLargestCounter, kInterfaceEthernet));
    if (entry.has("address")) address.physicalAddress = entry.bytes("address");
    if (address.physicalAddress.size() > kLongestAddress) entry.fail("\"address\" has more than 32 bytes");
    entry.done();
    return address;
}

/// A card's description is a text, or raw bytes of any type.
CardKey cardFrom(const Node& entry, std::size_t number) {
    CardKey card;
    card.name = utf8ToWide(entry.text("key", std::to_string(number)));
    if (entry.has("description")) {
        card.description = utf16WithNul(utf8ToWide(entry.text("description")));
    } else {
        card.type = static_cast<std::uint32_t>(entry.number("type", kLargestCounter, kRegistryText));
        for (const std::uint8_t byte : entry.bytes("data"))
            card.description.push_back(std::byte{byte});
    }
    entry.done();
    return card;
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
    for (const Node& entry : network->list("addresses"))
        addresses_.push_back(addressFrom(entry));
    if (network->has("cards")) {
        cards_.emplace();
        for (const Node& entry : network->list("cards"))
            cards_->push_back(cardFrom(entry, cards_->size() + 1));
    }
    network->done();
}

Result<std::vector<AdapterRecord>> MachineNetworkTables::adapters() {
    if (const ErrorCode error = requests_.enter("adapters"))
        return Result<std::vector<AdapterRecord>>::failed(error);
    return {adapters_};
}

Result<std::uint32_t> MachineNetworkTables::adapterAddressesSize() {
    if (const ErrorCode error = requests_.enter("adapterAddressesSize"))
        return Result<std::uint32_t>::failed(error);
    if (addresses_.empty()) return Result<std::uint32_t>::failed(kNoData);
    return {static_cast<std::uint32_t>(addresses_.size()) * kBytesAnAdapter, kBufferOverflow};
}

Result<std::vector<AdapterAddress>> MachineNetworkTables::adapterAddresses(std::uint32_t size) {
    using Answer = Result<std::vector<AdapterAddress>>;
    if (const ErrorCode error = requests_.enter("adapterAddresses", [&] { return std::to_string(size); }))
        return Answer::failed(error);
    if (size / kBytesAnAdapter < addresses_.size()) return Answer::failed(kBufferOverflow);
    return {addresses_};
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
