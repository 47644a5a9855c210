#pragma once

#include "memory/SPDDecoders.h"
#include "platform/ManagementData.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::memory {

/// One memory module, or all soldered modules merged.
struct MemoryInfo {
    std::wstring manufacturer;
    std::wstring model;
    std::uint64_t capacity = 0; ///< Bytes.
    std::wstring serialNumber;
    std::uint32_t speed = 0;        ///< MT/s that the module is made for.
    std::uint32_t currentSpeed = 0; ///< MT/s that it is run at.
    std::uint32_t totalWidth = 0;   ///< Bits, error correction included.
    std::uint32_t voltage = 0;      ///< Millivolts, the highest.
    std::int32_t formFactor = 0;    ///< See cimFormFactorName.
    std::int32_t type = 0;          ///< See smbiosMemoryTypeName.
    std::wstring timing = L"00-00-00-00";
    Spd spd; ///< The EEPROM that has this module's serial number.

    /// The fitted modules: the rows of the management data, joined to their EEPROMs, soldered ones merged
    /// into one at the end. Asks anew on each call.
    static std::vector<MemoryInfo> getMemoryInfo();
};

/// Why the latest getMemoryInfo listed no module although there may be some: the system's sentence for the
/// query that failed, as for a user without the right. Empty when the query ran.
std::string whyNoModules();

/// Memory type of the first module; 0 when the management data does not tell.
std::int32_t getMemoryType();

/// The answer of the export: {"code":1,"data":[{"manufacturer":TEXT,"model":TEXT},...]}.
std::string manufacturerAndModelReport();

// The stages of getMemoryInfo.

/// One column, an entry a row.
using ColumnReader = std::function<std::vector<platform::ManagementValue>(std::wstring_view)>;

/// A record a row of the column "Manufacturer", filled from the other columns.
std::vector<MemoryInfo> readModules(const ColumnReader& column);
/// Gives each EEPROM to the first module with its serial number, and the module its timing.
void joinSpds(std::vector<MemoryInfo>& modules, const std::vector<Spd>& spds);
/// Replaces all LPDDR modules by one at the end, which has the last one's fields and the sum of capacities.
void mergeSoldered(std::vector<MemoryInfo>& modules);

} // namespace orv::memory
