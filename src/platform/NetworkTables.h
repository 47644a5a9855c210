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

inline constexpr std::uint32_t kInterfaceEthernet = 6;  // IF_TYPE_ETHERNET_CSMACD
inline constexpr std::uint32_t kInterfaceWireless = 71; // IF_TYPE_IEEE80211

/// One adapter of the system's address list, which has the virtual ones too.
struct AdapterAddress {
    std::wstring description;
    std::uint32_t interfaceType = 0;           ///< IANA number
    std::vector<std::uint8_t> physicalAddress; ///< none for an adapter without one
};

/// Failures carry the code that the system left behind the failed call.
class NetworkTables {
  public:
    virtual ~NetworkTables() = default;

    virtual Result<std::vector<AdapterRecord>> adapters() = 0;

    /// The question for the address list of all families without a buffer. It tells the bytes that the list
    /// needs and always leaves a code: kBufferOverflow when all is well.
    virtual Result<std::uint32_t> adapterAddressesSize() = 0;
    /// The address list, asked for with a buffer of `size` bytes.
    virtual Result<std::vector<AdapterAddress>> adapterAddresses(std::uint32_t size) = 0;

    /// Replaces `rows` by the interface table in the system's own order; reuses what `rows` has allocated,
    /// since this is asked on each poll. On failure `rows` is unspecified.
    virtual ErrorCode interfaceRows(std::vector<InterfaceRow>& rows) = 0;
};

} // namespace orv::platform
