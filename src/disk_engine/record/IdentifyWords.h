#pragma once

#include <cstdint>
#include <string>

namespace orv {

// What single words of an IDENTIFY DEVICE block say (ATA/ATAPI-4 to ACS-4). Word numbers are those of the
// block.

/// Word 80: the number of the highest version that the drive claims, 0 when it claims none.
std::uint32_t GetAtaMajorVersion(std::uint16_t word80, std::wstring& majorVersion);

/// Word 81: the document that the drive was made by.
void GetAtaMinorVersion(std::uint16_t word81, std::wstring& minorVersion);

/// Words 63 (multiword DMA), 76 (Serial ATA capabilities), 77 (current speed) and 88 (Ultra DMA). Gives the
/// type of the best mode: 0 unknown, 2 PIO or DMA, 3 to 9 Ultra DMA 16 to 133, 10 to 12 Serial ATA 150 to
/// 600.
std::uint32_t GetTransferMode(std::uint16_t word63, std::uint16_t word76, std::uint16_t word77,
                              std::uint16_t word88, std::wstring& currentTransferMode,
                              std::wstring& maxTransferMode, std::wstring& interfaceText,
                              std::uint32_t& interfaceType);

/// Unit of the power-on counter (TimeUnit), which no word tells: by model and firmware.
std::uint32_t GetTimeUnitType(const std::wstring& model, const std::wstring& firmwareRev, std::uint32_t major,
                              std::uint32_t transferModeType);

} // namespace orv
