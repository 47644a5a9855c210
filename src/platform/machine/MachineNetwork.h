#pragma once

#include "platform/NetworkTables.h"
#include "platform/machine/MachineClock.h"
#include "platform/machine/Requests.h"

namespace orv::platform {

class Node;

/// Section "network" of a machine file: adapters, and interface rows whose counters move with the clock.
class MachineNetworkTables : public NetworkTables {
  public:
    MachineNetworkTables(const Node& root, Requests& requests, const MachineClock& clock);

    Result<std::vector<AdapterRecord>> adapters() override;
    ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) override;

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
};

} // namespace orv::platform
