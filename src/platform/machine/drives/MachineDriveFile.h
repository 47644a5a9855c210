#pragma once

// How the values of a drive are read from a machine file.

#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDrives.h"

namespace orv::platform {

/// Hexadecimal text or {"file": NAME}.
DriveBlock readDriveBlock(const Node& node, std::string_view key);

/// "paths" of a drive; all of them of one kind.
std::set<DriveWay> readWays(const Node& entry);
DriveLink readLink(const Node& link);
DriveController readController(const Node& entry);
DriveUsb readUsb(const Node& usb);

/// What a place of the file says about a drive that has these paths; keys that are missing leave `facts` as
/// they are.
void readDriveFacts(const Node& node, const MachineDrive& drive, std::int64_t fromNs, DriveFacts& facts);

} // namespace orv::platform
