#pragma once

#include "platform/NetworkTables.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv::wlan {

/// One adapter tied to a row of the interface table, with its last two samples.
struct Connection {
    std::uint32_t row = 0;      ///< Row of the interface table that belongs to this adapter.
    std::string description;    ///< The adapter's description.
    std::string ifDescription;  ///< Description of the chosen row.
    std::uint32_t inOctets = 0; ///< Received bytes at the last sample; wraps at 2^32.
    std::uint32_t outOctets = 0;
    std::uint32_t lastInOctets = 0; ///< The sample before.
    std::uint32_t lastOutOctets = 0;
    std::int64_t lastTime = 0; ///< Clock of the sample before, in 100-nanosecond ticks.
    std::int64_t time = 0;
    double download = 0.0; ///< Bytes per millisecond between the two samples.
    double upload = 0.0;
    std::string ipAddress = "-.-.-.-";
    std::string ipMask = "-.-.-.-";
    std::string gateway = "-.-.-.-";
};

/// One Connection an adapter, in the system's order, each tied to its row and with a first sample.
/// Throws HWException when one of the two tables cannot be read.
std::vector<Connection> GetAllNetWorkConnection();

/// Takes a new sample and sets the rates since the last one. Throws HWException when the interface table
/// cannot be read; the records then keep their samples.
void GetInternetSpeed(std::vector<Connection>& connections);

/// The row of the interface table that belongs to an adapter: the first whose description is the same, else
/// findIfRow's.
std::uint32_t rowOf(std::string_view description, const std::vector<platform::InterfaceRow>& table);

/// The row whose description contains `description` or is contained in it; with none, the most similar row,
/// row 0 when none is similar at all.
std::uint32_t findIfRow(std::string_view description, const std::vector<platform::InterfaceRow>& table);

/// 1 less the Levenshtein distance over the greater length, 0.0 to 1.0; 0.0 when either text is empty.
double stringSimilarity(std::string_view a, std::string_view b);

/// The report of getNetCurrentSpeed.
std::string currentSpeedReport();

} // namespace orv::wlan
