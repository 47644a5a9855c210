#pragma once

#include "disk/Disk.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv::disk {

/// The process's drives, empty until they are found.
std::vector<Disk>& diskList();

/// Finds the drives unless the list has some; gives their number. A failure leaves the list as it is.
std::int32_t initialise();

/// The report of getAllDiskType: a JSON array over the list, "null" without drives.
std::string typeReport();

/// The report of getDiskReadWriteSpeed: {"write": N, "read": N} with six digits behind the point.
std::string speedReport(Disk& disk);

/// The report of getDiskNameWhichOsInstalled. Finds the drives where the list has none.
std::string systemDiskReport();

/// The bit in a map of drive letters that a path's first character stands for. A character that is no letter
/// has one too, and so has a text without any.
std::uint32_t letterBit(std::wstring_view path);

} // namespace orv::disk
