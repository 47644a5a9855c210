#include "platform/linux/Registry.h"

#include "platform/servers/CardsKey.h"
#include "platform/text.h"
#include "platform/utf16.h"

namespace orv::platform {

namespace {

constexpr std::string_view kInterfaces = "/sys/class/net/";

class GrantingToken : public ProcessToken {
  public:
    ErrorCode enable(std::span<const PrivilegeId>) override { return kSuccess; }
};

} // namespace

/// A virtual interface can have a device too, such as a simulated radio, but that device is virtual then.
bool LinuxRegistry::isPhysical(const std::string& interface) const {
    const std::string device = files_.resolved(std::string(kInterfaces) + interface + "/device");
    return !device.empty() && !device.starts_with("/sys/devices/virtual/");
}

Result<std::unique_ptr<RegistryKey>> LinuxRegistry::open(std::wstring_view path, std::uint32_t) {
    const auto interfaces = files_.list(kInterfaces);
    if (!interfaces.ok()) return Result<std::unique_ptr<RegistryKey>>::failed(interfaces.error);
    std::vector<CardKey> cards;
    for (const std::string& interface : interfaces.value)
        if (isPhysical(interface))
            cards.push_back({utf8ToWide(interface), kRegistryText,
                             utf16WithNul(utf8ToWide(names_.descriptionOf(interface)))});
    return openCardsKey(cards, path);
}

Result<std::unique_ptr<ProcessToken>> LinuxPrivileges::openProcessToken() {
    return {std::make_unique<GrantingToken>()};
}

} // namespace orv::platform
