#pragma once

#include "platform/NetworkTables.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"
#include "platform/servers/CardsKey.h"

#include <optional>

namespace orv::platform {

class Node;

/// Section "network" of a machine file: adapters, their addresses, installed cards, and interface rows whose
/// counters move with the clock.
class MachineNetworkTables : public NetworkTables {
  public:
    MachineNetworkTables(const Node& root, Requests& requests, const MachineClock& clock);

    Result<std::vector<AdapterRecord>> adapters() override;
    Result<std::uint32_t> adapterAddressesSize() override;
    Result<std::vector<AdapterAddress>> adapterAddresses(std::uint32_t size) override;
    ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) override;

    /// The installed cards, for the registry; none when the file does not list them.
    const std::optional<std::vector<CardKey>>& cards() const { return cards_; }

  private:
    struct MovingRow {
        InterfaceRow start;
        std::uint64_t inPerSecond = 0;
        std::uint64_t outPerSecond = 0;
    };

    Requests& requests_;
    const MachineClock& clock_;
    std::vector<AdapterRecord> adapters_;
    std::vector<MovingRow> rows_;
    std::vector<AdapterAddress> addresses_;
    std::optional<std::vector<CardKey>> cards_;
};

} // namespace orv::platform
