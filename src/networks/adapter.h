#pragma once

#include "platform/NetworkTables.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orv::net {

/// A network card.
struct Adapter {
    std::wstring manufacture; ///< the model up to its first blank
    std::wstring model;
    std::wstring macAddress; ///< "00-1a-2b-3c-4d-5e"; empty for an adapter without an address
    std::int32_t type = 0;   ///< 0 other, 1 Ethernet, 2 WLAN
};

using AdapterFilter = std::function<bool(const platform::AdapterAddress&)>;

/// The system's adapters that pass the filter, all when it is empty; none when the list cannot be read.
std::vector<Adapter> getAdapterHelper(const AdapterFilter& filter);

/// The adapters whose description stands, word for word, among the installed network cards; none when those
/// cannot be read. Throws HWException when the process lacks the privileges for it.
std::vector<Adapter> getPhysicalAdapter();

/// The report of getNetCardMessage. The cards are looked for once.
std::string netCardReport();

} // namespace orv::net
