#pragma once

#include "platform/DeviceFiles.h"
#include "platform/DeviceTree.h"

namespace orv {

// The walk over the battery devices. It goes through one process-wide list handle: open it, ask for rising
// indices, close it.

/// Throws HWException when the list cannot be opened.
void batteryDeviceOpen();
/// Does nothing when the list is closed.
void batteryDeviceClose();
/// All zero past the last device. Throws HWException on any other failure.
platform::SP_DEVICE_INTERFACE_DATA batteryDeviceAt(std::uint32_t index);
/// The opened device, or null with the system's code. Throws HWException when the device has no path.
platform::Result<std::unique_ptr<platform::DeviceFile>>
batteryDeviceFile(const platform::SP_DEVICE_INTERFACE_DATA& data);

} // namespace orv
