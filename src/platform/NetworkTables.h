#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orv::platform {

/// One adapter of the system's adapter list. Addresses are dotted decimals; an adapter without one has
/// "0.0.0.0". The texts come as the system gives them: any bytes, any length.
struct AdapterRecord {
    std::string description;
    std::string ipAddress;
    std::string ipMask;
    std::string gateway;
};

/// One row of the system's interface table.
struct InterfaceRow {
    std::string description;
    std::uint32_t inOctets = 0;  ///< Bytes received; wraps at 2^32.
    std::uint32_t outOctets = 0; ///< Bytes sent; wraps at 2^32.
};

/// Failures carry the code that the system left behind the failed call.
class NetworkTables {
  public:
    virtual ~NetworkTables() = default;

    virtual Result<std::vector<AdapterRecord>> adapters() = 0;

    /// Replaces `rows` by the interface table in the system's own order; reuses what `rows` has allocated,
    /// since this is asked on each poll. On failure `rows` is unspecified.
    virtual ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) = 0;
};

} // namespace orv::platform
