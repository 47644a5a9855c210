#include "platform/linux/network/NetworkTables.h"

#include "platform/linux/ErrorCodes.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <functional>
#include <ifaddrs.h>
#include <memory>
#include <net/if_arp.h>

namespace orv::platform {

namespace {

constexpr char kNoAddress[] = "0.0.0.0";

/// Takes the next blank-separated word off the head of `text`.
std::string_view takeWord(std::string_view& text) {
    const auto isBlank = [](char letter) { return letter == ' ' || letter == '\t'; };
    std::size_t first = 0;
    while (first < text.size() && isBlank(text[first]))
        ++first;
    std::size_t end = first;
    while (end < text.size() && !isBlank(text[end]) && text[end] != '\n')
        ++end;
    const std::string_view word = text.substr(first, end - first);
    text.remove_prefix(end);
    return word;
}

std::string_view takeLine(std::string_view& text) {
    const auto end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return line;
}

/// The kernel counts in 64 bits; the interface table carries the low half, which wraps.
std::uint32_t lowHalf(std::string_view word) {
    std::uint64_t value = 0;
    std::from_chars(word.data(), word.data() + word.size(), value);
    return static_cast<std::uint32_t>(value);
}

struct DeviceLine {
    std::string_view name;
    std::string_view inOctets;
    std::string_view outOctets;
};

/// Calls `use` with each line of /proc/net/dev: name, eight receive columns from bytes on, eight transmit
/// columns from bytes on. The two headings have no colon at a name's end.
void forEachDevice(std::string_view text, const std::function<void(const DeviceLine&)>& use) {
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        const auto colon = line.find(':');
        if (colon == line.npos || line.find('|') != line.npos) continue;
        DeviceLine device;
        std::string_view head = line.substr(0, colon);
        device.name = takeWord(head);
        line.remove_prefix(colon + 1);
        device.inOctets = takeWord(line);
        for (int column = 1; column < 8; ++column)
            takeWord(line);
        device.outOctets = takeWord(line);
        if (!device.name.empty() && !device.outOctets.empty()) use(device);
    }
}

std::string dotted(in_addr address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

/// The default route's gateway of an interface, from the hexadecimal columns of /proc/net/route.
std::string gatewayOf(std::string_view routes, std::string_view interface) {
    while (!routes.empty()) {
        std::string_view line = takeLine(routes);
        if (takeWord(line) != interface || takeWord(line) != "00000000") continue;
        const std::string_view digits = takeWord(line);
        std::uint32_t value = 0; // in network order already
        std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (value != 0) return dotted(in_addr{value});
    }
    return kNoAddress;
}

} // namespace

Result<std::vector<AdapterRecord>> LinuxNetworkTables::adapters() {
    using Answer = Result<std::vector<AdapterRecord>>;
    const auto devices = devices_.read();
    if (!devices.ok()) return Answer::failed(devices.error);
    const std::string routes = files_.read("/proc/net/route").value;

    ifaddrs* first = nullptr;
    if (files_.isRunningSystem() && ::getifaddrs(&first) != 0) return Answer::failed(errorFromErrno(errno));
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> addresses(first, [](ifaddrs* list) {
        if (list) ::freeifaddrs(list);
    });

    Answer answer;
    forEachDevice(devices.value, [&](const DeviceLine& device) {
        if (isLoopback(device.name)) return;
        AdapterRecord adapter{names_.descriptionOf(device.name), kNoAddress, kNoAddress,
                              gatewayOf(routes, device.name)};
        for (const ifaddrs* at = addresses.get(); at; at = at->ifa_next) {
            if (device.name != at->ifa_name || !at->ifa_addr || at->ifa_addr->sa_family != AF_INET) continue;
            adapter.ipAddress = dotted(reinterpret_cast<const sockaddr_in*>(at->ifa_addr)->sin_addr);
            if (at->ifa_netmask)
                adapter.ipMask = dotted(reinterpret_cast<const sockaddr_in*>(at->ifa_netmask)->sin_addr);
            break;
        }
        answer.value.push_back(std::move(adapter));
    });
    return answer;
}

bool LinuxNetworkTables::isLoopback(std::string_view interface) const {
    const std::string type = files_.line("/sys/class/net/" + std::string(interface) + "/type");
    return type.empty() ? interface == "lo" : type == std::to_string(ARPHRD_LOOPBACK);
}

ErrorCode LinuxNetworkTables::interfaceRows(std::vector<InterfaceRow>& rows) {
    const auto devices = devices_.read();
    if (!devices.ok()) return devices.error;
    std::size_t count = 0;
    forEachDevice(devices.value, [&](const DeviceLine& device) {
        if (count == rows.size()) rows.emplace_back();
        InterfaceRow& row = rows[count++];
        row.description = names_.descriptionOf(device.name);
        row.inOctets = lowHalf(device.inOctets);
        row.outOctets = lowHalf(device.outOctets);
    });
    rows.resize(count);
    return kSuccess;
}

} // namespace orv::platform
