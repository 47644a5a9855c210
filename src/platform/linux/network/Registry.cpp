#include "platform/linux/network/Registry.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/servers/CardsKey.h"
#include "platform/text.h"
#include "platform/utf16.h"

namespace orv::platform {

namespace {

constexpr std::string_view kInterfaces = "/sys/class/net/";

/// The interfaces with a device behind them. A virtual interface can have a device too, such as a simulated
/// radio, but that device is virtual then.
Result<std::vector<std::string>> physicalInterfaces(const RootedFiles& files) {
    auto interfaces = files.list(kInterfaces);
    std::vector<std::string> physical;
    for (std::string& name : interfaces.value) {
        const auto device = files.resolved(std::string(kInterfaces) + name + "/device");
        if (!device.ok() && !saysAbsent(device.error))
            return Result<std::vector<std::string>>::failed(device.error);
        if (device.ok() && !device.value.starts_with("/sys/devices/virtual/"))
            physical.push_back(std::move(name));
    }
    interfaces.value = std::move(physical);
    return interfaces;
}

class GrantingToken : public ProcessToken {
  public:
    ErrorCode enable(std::span<const PrivilegeId>) override { return kSuccess; }
};

} // namespace

Result<std::unique_ptr<RegistryKey>> LinuxRegistry::open(std::wstring_view path, std::uint32_t) {
    const auto interfaces = physicalInterfaces(files_);
    if (!interfaces.ok()) return Result<std::unique_ptr<RegistryKey>>::failed(interfaces.error);
    std::vector<CardKey> cards;
    for (const std::string& interface : interfaces.value)
        cards.push_back({utf8ToWide(interface), kRegistryText,
                         utf16WithNul(utf8ToWide(names_.descriptionOf(interface)))});
    return openCardsKey(cards, path);
}

Result<std::unique_ptr<ProcessToken>> LinuxPrivileges::openProcessToken() {
    const auto interfaces = physicalInterfaces(files_);
    if (!interfaces.ok() && !saysAbsent(interfaces.error))
        return Result<std::unique_ptr<ProcessToken>>::failed(interfaces.error);
    return {std::make_unique<GrantingToken>()};
}

} // namespace orv::platform
