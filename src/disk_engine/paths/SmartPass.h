#pragma once

#include <cstdint>

namespace orv {

class CAtaSmart;
struct AtaSmartInfo;

/// Reads the SMART data of an ATA drive on its record's path and classifies the drive, where the drive says
/// that it has them or the engine looks at every drive. False for a path on which no ATA drive is reached.
bool readSmart(CAtaSmart& engine, AtaSmartInfo& asi);

/// Reads the attributes once on a path (CommandType), which need not be the record's own. False also for a
/// path without ATA drives.
bool readAttributes(CAtaSmart& engine, AtaSmartInfo& asi, std::uint32_t commandType);

/// Reads the health page of an NVMe drive on its record's path. False also for a path without NVMe drives.
bool readHealthPage(CAtaSmart& engine, AtaSmartInfo& asi);

} // namespace orv
