#include "platform/linux/network/InterfaceNames.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/HardwareIds.h"

namespace orv::platform {

namespace {

std::string parentOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

/// The four digits of "0x8086".
std::string hexDigits(const std::string& line) {
    return line.starts_with("0x") ? line.substr(2) : line;
}

/// The kind that the kernel gives a virtual interface: "bridge", "wlan", "vlan" …
std::string deviceType(const std::string& uevent) {
    constexpr std::string_view key = "DEVTYPE=";
    const auto at = uevent.find(key);
    if (at == uevent.npos) return {};
    const auto first = at + key.size();
    return uevent.substr(first, uevent.find('\n', first) - first);
}

} // namespace

const std::string& InterfaceNames::descriptionOf(std::string_view interface) {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_)
        if (entry->interface == interface) return entry->description;

    auto entry = std::make_unique<Entry>(Entry{std::string(interface), {}});
    const std::string plain = describe(entry->interface);
    if (plain.empty()) return *unknown_.insert(std::move(entry->interface)).first;
    entry->description = plain;
    for (int copy = 2; taken(entry->description); ++copy)
        entry->description = plain + " #" + std::to_string(copy);
    entries_.push_back(std::move(entry));
    return entries_.back()->description;
}

bool InterfaceNames::taken(const std::string& description) const {
    for (const auto& entry : entries_)
        if (entry->description == description) return true;
    return false;
}

std::string InterfaceNames::describe(const std::string& interface) const {
    const std::string folder = "/sys/class/net/" + interface;
    const auto resolved = files_.resolved(folder + "/device");
    if (!resolved.ok() && !saysAbsent(resolved.error)) return {};
    const std::string& device = resolved.value;
    if (device.empty()) {
        const std::string kind = deviceType(files_.read(folder + "/uevent").value);
        if (kind.empty()) return "virtual " + interface;
        return kind + " " + interface;
    }
    // The device itself, or what it hangs on: a virtio device on its PCI function, a USB function on its
    // device.
    for (std::string at = device; at.size() > std::string_view("/sys/devices").size(); at = parentOf(at)) {
        const std::string bus = files_.linkName(at + "/subsystem");
        std::string product;
        if (bus == "pci") product = pciProduct(at);
        if (bus == "usb" && files_.exists(at + "/idVendor")) product = usbProduct(at);
        if (!product.empty()) return product;
        if (bus == "pci") break;
    }
    const std::string driver = files_.linkName(device + "/driver");
    return driver.empty() ? interface : driver + " " + interface;
}

std::string InterfaceNames::pciProduct(const std::string& device) const {
    return productName(files_, "pci.ids", hexDigits(files_.line(device + "/vendor")),
                       hexDigits(files_.line(device + "/device")));
}

std::string InterfaceNames::usbProduct(const std::string& device) const {
    std::string product =
        productName(files_, "usb.ids", files_.line(device + "/idVendor"), files_.line(device + "/idProduct"));
    if (!product.empty()) return product;
    // The device tells its own name where the database does not know it.
    product = files_.line(device + "/product");
    const std::string maker = files_.line(device + "/manufacturer");
    return product.empty() || maker.empty() ? product : maker + " " + product;
}

} // namespace orv::platform
