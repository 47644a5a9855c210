#pragma once

#include "platform/NetworkTables.h"
#include "platform/linux/files/PolledFile.h"
#include "platform/linux/network/InterfaceNames.h"

#include <string_view>

namespace orv::platform {

/// Counters from /proc/net/dev, which is one read for all interfaces; addresses from the kernel by netlink on
/// the running system, "0.0.0.0" in a captured tree. The loopback interface has a row but is no adapter.
class LinuxNetworkTables : public NetworkTables {
  public:
    LinuxNetworkTables(const RootedFiles& files, InterfaceNames& names)
        : files_(files), names_(names), devices_(files, "/proc/net/dev") {}

    Result<std::vector<AdapterRecord>> adapters() override;
    Result<std::uint32_t> adapterAddressesSize() override;
    Result<std::vector<AdapterAddress>> adapterAddresses(std::uint32_t size) override;
    ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) override;

  private:
    bool isLoopback(std::string_view interface) const;

    const RootedFiles& files_;
    InterfaceNames& names_;
    PolledFile devices_;
};

} // namespace orv::platform
