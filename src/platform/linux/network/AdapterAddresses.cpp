// The address list of the network tables: every interface of sysfs, the virtual ones too.

#include "platform/linux/network/NetworkTables.h"
#include "platform/text.h"

#include <charconv>
#include <net/if_arp.h>

namespace orv::platform {

namespace {

constexpr std::string_view kInterfaces = "/sys/class/net/";
constexpr std::uint32_t kOther = 1;            // IF_TYPE_OTHER
constexpr std::uint32_t kLoopback = 24;        // IF_TYPE_SOFTWARE_LOOPBACK
constexpr std::size_t kLongestAddress = 32;    // MAX_ADDR_LEN of the kernel
constexpr std::uint32_t kBytesAnAdapter = 376; // IP_ADAPTER_ADDRESSES_LH of a 32-bit process

/// "00:1a:2b:3c:4d:5e"; what follows a byte that is none is left out.
std::vector<std::uint8_t> addressOf(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at + 2 <= text.size() && bytes.size() < kLongestAddress; at += 3) {
        std::uint8_t byte = 0;
        const auto* end = text.data() + at + 2;
        if (std::from_chars(text.data() + at, end, byte, 16).ptr != end) break;
        bytes.push_back(byte);
    }
    return bytes;
}

std::uint32_t interfaceType(const RootedFiles& files, const std::string& folder) {
    if (files.exists(folder + "/wireless") || files.exists(folder + "/phy80211")) return kInterfaceWireless;
    const std::string type = files.line(folder + "/type");
    if (type == std::to_string(ARPHRD_ETHER)) return kInterfaceEthernet;
    return type == std::to_string(ARPHRD_LOOPBACK) ? kLoopback : kOther;
}

/// The interfaces, without files of the folder such as bonding_masters.
Result<std::vector<std::string>> interfacesIn(const RootedFiles& files) {
    auto names = files.list(kInterfaces);
    std::erase_if(names.value, [&](const std::string& name) {
        return !files.exists(std::string(kInterfaces) + name + "/type");
    });
    return names;
}

} // namespace

Result<std::uint32_t> LinuxNetworkTables::adapterAddressesSize() {
    const auto interfaces = interfacesIn(files_);
    if (!interfaces.ok()) return Result<std::uint32_t>::failed(interfaces.error);
    if (interfaces.value.empty()) return Result<std::uint32_t>::failed(kNoData);
    return {static_cast<std::uint32_t>(interfaces.value.size()) * kBytesAnAdapter, kBufferOverflow};
}

Result<std::vector<AdapterAddress>> LinuxNetworkTables::adapterAddresses(std::uint32_t size) {
    using Answer = Result<std::vector<AdapterAddress>>;
    const auto interfaces = interfacesIn(files_);
    if (!interfaces.ok()) return Answer::failed(interfaces.error);
    if (size / kBytesAnAdapter < interfaces.value.size()) return Answer::failed(kBufferOverflow);
    Answer answer;
    for (const std::string& interface : interfaces.value) {
        const std::string folder = std::string(kInterfaces) + interface;
        AdapterAddress adapter{
            utf8ToWide(names_.descriptionOf(interface)), interfaceType(files_, folder), {}};
        if (adapter.interfaceType != kLoopback)
            adapter.physicalAddress = addressOf(files_.line(folder + "/address"));
        answer.value.push_back(std::move(adapter));
    }
    return answer;
}

} // namespace orv::platform
