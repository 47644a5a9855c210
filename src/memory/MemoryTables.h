#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace orv::memory {

using NameTable = std::unordered_map<std::int32_t, std::wstring>;

// The vocabulary of memory modules, made when the library is loaded (frame/border/globals.cpp).

/// SMBIOS memory types that this library tells apart, for its log lines and failure texts.
extern const NameTable memoryTypeName;
/// All SMBIOS memory device types (DMTF DSP0134, type 17, Memory Type).
extern const NameTable smbiosMemoryTypeName;
/// Form factors as the management data numbers them (CIM_Chip.FormFactor); -1 for one that could not be read.
extern const NameTable cimFormFactorName;
/// Form factors as SMBIOS numbers them (DMTF DSP0134, type 17, Form Factor).
extern const NameTable smbiosFormFactorName;

/// The name of a memory type, or its decimal number when memoryTypeName has none.
std::wstring memoryTypeText(std::int32_t type);

} // namespace orv::memory
