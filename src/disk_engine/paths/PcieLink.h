#pragma once

#include <cstdint>
#include <string>

namespace orv {

/// Link of a drive's PCI device; 0 for unknown.
struct PcieLink {
    std::uint32_t MaxLinkSpeed = 0; ///< generation, as the three below
    std::uint32_t MaxLinkWidth = 0; ///< lanes
    std::uint32_t CurrentLinkSpeed = 0;
    std::uint32_t CurrentLinkWidth = 0;
};

/// The device id of the controller that a drive is attached to; empty when it cannot be found.
std::wstring GetControllerDeviceId(std::int32_t physicalDriveId);
/// The link of that controller, by the device tree.
PcieLink GetPcieLink(std::int32_t physicalDriveId);
std::wstring FormatPcieLink(std::uint32_t speed, std::uint32_t width);

} // namespace orv
