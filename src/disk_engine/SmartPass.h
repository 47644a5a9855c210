#pragma once

namespace orv {

class CAtaSmart;
struct AtaSmartInfo;

/// Reads the SMART data of an ATA drive on its record's path and classifies the drive, where the drive says
/// that it has them or the engine looks at every drive. False for a path on which no ATA drive is reached.
bool readSmart(CAtaSmart& engine, AtaSmartInfo& asi);

} // namespace orv
