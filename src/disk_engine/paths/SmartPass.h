#pragma once

#include "disk_engine/CommandPath.h"

namespace orv {

/// Reads the SMART data of an ATA drive on its record's path and classifies the drive, where the drive says
/// that it has them or the engine looks at every drive. False for a path on which no ATA drive is reached.
bool readSmart(CAtaSmart& engine, AtaSmartInfo& asi);

/// Reads the attributes once on a path (CommandType), which need not be the record's own. False also for a
/// path without ATA drives.
bool readAttributes(CAtaSmart& engine, AtaSmartInfo& asi, std::uint32_t commandType);

/// Reads the health page of an NVMe drive on its record's path. False also for a path without NVMe drives.
bool readHealthPage(CAtaSmart& engine, AtaSmartInfo& asi);

// ---- The first reading of a record, as the rows of the paths name it

/// Two reads that agree, and the thresholds; a second attempt after SMART was enabled, where the first was
/// not good.
void readTwice(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);
/// The same; a path that gives the attributes for thresholds as well gives neither.
void readUnlessEqual(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);
/// The path behind the physical drive's, where that left something open.
void readTwiceIfNeeded(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);
/// Thresholds came with the attributes; the read of them tells only whether they count.
void readWithoutThresholds(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);
/// The controller's own read tells no thresholds: the physical drive's do, if it is the same drive.
void readSiliconImage(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);
/// The platform vouches for what it has: one read.
void readOnce(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi);

} // namespace orv
