#include "platform/linux/drives/MegaRaid.h"

#include "platform/linux/ErrorCodes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <vector>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;

constexpr unsigned long kSendPacket = _IOWR('M', 1, MegaRaidPacket); // MEGASAS_IOC_FIRMWARE
constexpr char kNode[] = "/dev/megaraid_sas_ioctl_node";
constexpr std::string_view kNodeDriver = "megaraid_sas_ioctl";
constexpr std::uint64_t kMostHosts = 0xFFFF;

// Where a frame has its scatter list.
constexpr std::uint32_t kFirmwareScatterAt = 40;
constexpr std::uint32_t kPassThroughScatterAt = 48;

/// "MAJOR:0" of the driver's character device, by the lines "MAJOR NAME" of /proc/devices; empty for none.
std::string nodeNumber(const RootedFiles& files) {
    std::string text = files.read("/proc/devices").value;
    text.erase(std::min(text.find("Block devices:"), text.size()));
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = firstLine(text.substr(at, end - at));
        const std::size_t blank = line.find(' ');
        if (blank != line.npos && std::string_view(line).substr(blank + 1) == kNodeDriver)
            return line.substr(0, blank) + ":0";
        at = end + 1;
    }
    return {};
}

} // namespace

DriveNode megaRaidNode(const RootedFiles& files) {
    return {kNode, nodeNumber(files), false};
}

bool isMegaRaidHost(const RootedFiles& files, std::uint64_t host) {
    return files.line("/sys/class/scsi_host/host" + std::to_string(host) + "/proc_name") == "megaraid_sas";
}

Result<MegaRaidPacket> megaRaidPacketOf(const MegaRaidHead& request, std::uint64_t host,
                                        std::span<std::byte> data) {
    using Packet = Result<MegaRaidPacket>;
    const bool passThrough = request.frame.command == kMegaRaidPassThrough;
    const bool list =
        request.frame.command == kMegaRaidFirmware && request.frame.firmwareCommand == kMegaRaidDriveList;
    if (!passThrough && !list) return Packet::failed(kInvalidFunction);
    if (host > kMostHosts) return Packet::failed(kInvalidParameter);
    MegaRaidPacket packet{};
    packet.host = static_cast<std::uint16_t>(host);
    packet.scatterAt = passThrough ? kPassThroughScatterAt : kFirmwareScatterAt;
    packet.frame = request.frame;
    packet.frame.senseBytes = 0;
    packet.frame.dataBytes = static_cast<std::uint32_t>(data.size());
    packet.frame.flags = data.empty() ? 0 : kMegaRaidRead;
    packet.frame.scatterEntries = data.empty() ? 0 : 1;
    packet.scatterEntries = packet.frame.scatterEntries;
    if (!data.empty()) packet.scatter[0] = {data.data(), data.size()};
    return {packet};
}

Answer runMegaRaid(const RootedFiles& files, std::uint64_t host, const MegaRaidHead& request,
                   std::span<std::byte> out) {
    if (out.size() < sizeof request || out.size() - sizeof request < request.frame.dataBytes)
        return Answer::failed(kInsufficientBuffer);
    std::vector<std::byte> data(request.frame.dataBytes);
    auto packet = megaRaidPacketOf(request, host, data);
    if (!packet.ok()) return Answer::failed(packet.error);
    const auto file = openNode(files, megaRaidNode(files));
    if (!file.ok()) return Answer::failed(file.error);
    if (::ioctl(file.value.get(), kSendPacket, &packet.value) < 0)
        return Answer::failed(errorFromErrno(errno));
    MegaRaidHead head = request;
    head.frame.status = packet.value.frame.status;
    std::memcpy(out.data(), &head, sizeof head);
    if (!data.empty()) std::memcpy(out.data() + sizeof head, data.data(), data.size());
    return {static_cast<std::uint32_t>(sizeof head + data.size())};
}

} // namespace orv::platform
