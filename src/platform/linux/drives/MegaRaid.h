#pragma once

// Requests to the firmware of a MegaRAID controller by the control code of its driver, megaraid_sas.

#include "platform/linux/drives/DriveNode.h"
#include "platform/records/MegaRaidRecords.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <sys/uio.h>

namespace orv::platform {

#pragma pack(push, 1)

/// struct megasas_iocpacket, as the driver takes it.
struct MegaRaidPacket {
    std::uint16_t host;
    std::uint16_t padding;
    std::uint32_t scatterAt; ///< in the frame, where the driver puts the data's address
    std::uint32_t scatterEntries;
    std::uint32_t senseAt;
    std::uint32_t senseBytes; ///< 0: no sense data are wanted
    MegaRaidFrame frame;
    iovec scatter[16];
};
static_assert(offsetof(MegaRaidPacket, frame) == 20 && offsetof(MegaRaidPacket, scatter) == 148 &&
              sizeof(MegaRaidPacket) == 148 + 16 * 2 * sizeof(void*));

#pragma pack(pop)

/// The driver's node. Its number is empty where the kernel has no such driver, and then no device has it.
DriveNode megaRaidNode(const RootedFiles& files);

bool isMegaRaidHost(const RootedFiles& files, std::uint64_t host);

/// The packet of a request, whose answer goes to `data`. kInvalidFunction for what is neither the list of
/// drives nor a SCSI command to one.
Result<MegaRaidPacket> megaRaidPacketOf(const MegaRaidHead& request, std::uint64_t host,
                                        std::span<std::byte> data);

/// Sends a request and writes its answer: the head with the firmware's status, and the data. kFileNotFound
/// when the driver's node is missing or is none.
Result<std::uint32_t> runMegaRaid(const RootedFiles& files, std::uint64_t host, const MegaRaidHead& request,
                                  std::span<std::byte> out);

} // namespace orv::platform
