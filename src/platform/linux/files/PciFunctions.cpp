#include "platform/linux/files/PciFunctions.h"

#include "platform/linux/drives/DiskInventory.h"
#include "platform/linux/files/HardwareIds.h"

#include <array>
#include <cstdio>
#include <mutex>

namespace orv::platform {

namespace {

constexpr char kFunctions[] = "/sys/bus/pci/devices";

struct Address {
    std::uint64_t domain;
    std::uint64_t bus;
    std::uint64_t device;
    std::uint64_t function;
};

/// "0000:00:1f.2"; a controller's own domain may have more digits.
std::optional<Address> addressOf(std::string_view text) {
    constexpr std::size_t tail = sizeof "00:1f.2" - 1;
    if (text.size() < tail + 5) return std::nullopt;
    const std::string_view rest = text.substr(text.size() - tail);
    if (text[text.size() - tail - 1] != ':' || rest[2] != ':' || rest[5] != '.') return std::nullopt;
    const auto domain = wholeNumber(text.substr(0, text.size() - tail - 1), 16);
    const auto bus = wholeNumber(rest.substr(0, 2), 16);
    const auto device = wholeNumber(rest.substr(3, 2), 16);
    const auto function = wholeNumber(rest.substr(6), 16);
    if (!domain || !bus || !device || !function) return std::nullopt;
    return Address{*domain, *bus, *device, *function};
}

std::string_view lastPart(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// A file with a number such as "0x8086"; 0 where it tells none.
std::uint32_t hexadecimal(const RootedFiles& files, const std::string& path) {
    const std::string text = files.line(path);
    if (!text.starts_with("0x")) return 0;
    return static_cast<std::uint32_t>(wholeNumber(std::string_view(text).substr(2), 16).value_or(0));
}

std::string digits(std::uint32_t id) {
    char text[9];
    std::snprintf(text, sizeof text, "%04x", id);
    return text;
}

struct ClassName {
    std::uint32_t code;
    const char* name;
};

constexpr std::array kClassNames = {
    ClassName{0x0100, "SCSI Controller"},
    ClassName{0x0101, "Standard Dual Channel PCI IDE Controller"},
    ClassName{0x0104, "RAID Controller"},
    ClassName{0x0106, "Standard SATA AHCI Controller"},
    ClassName{0x0107, "SAS Controller"},
    ClassName{0x0108, "Standard NVM Express Controller"},
    ClassName{0x0C03, "Standard USB Host Controller"},
};

/// The folder of the function whose place an id tells; empty when there is none.
std::string pciFolderOf(const RootedFiles& files, std::string_view id) {
    constexpr std::string_view instance = "\\3&";
    constexpr std::size_t busDigits = 2;
    const auto at = id.rfind(instance);
    if (at == id.npos) return {};
    const std::string_view numbers = id.substr(at + instance.size());
    const auto split = numbers.find("&0&");
    if (split == numbers.npos || split < busDigits) return {};
    const auto domain = wholeNumber(numbers.substr(0, split - busDigits), 16);
    const auto bus = wholeNumber(numbers.substr(split - busDigits, busDigits), 16);
    const auto function = wholeNumber(numbers.substr(split + 3), 16);
    if (!domain || !bus || !function) return {};
    char name[64];
    std::snprintf(name, sizeof name, "%s/%04llx:%02x:%02x.%x", kFunctions,
                  static_cast<unsigned long long>(*domain), static_cast<unsigned>(*bus),
                  static_cast<unsigned>(*function >> 3), static_cast<unsigned>(*function & 7));
    return files.deviceFolder(name);
}

} // namespace

std::string pciFunctionOf(std::string_view path) {
    while (!path.empty() && !addressOf(lastPart(path))) {
        const auto slash = path.rfind('/');
        path = slash == path.npos ? std::string_view() : path.substr(0, slash);
    }
    return std::string(path);
}

std::uint32_t pciClass(const RootedFiles& files, const std::string& folder) {
    return folder.empty() ? 0 : hexadecimal(files, folder + "/class");
}

std::vector<std::string> pciFunctions(const RootedFiles& files, std::uint32_t firstClass,
                                      std::uint32_t lastClass) {
    std::vector<std::string> found;
    for (const std::string& name : files.list(kFunctions).value) {
        const std::string link = std::string(kFunctions) + "/" + name;
        const std::uint32_t code = pciClass(files, link) >> 8;
        if (code < firstClass || code > lastClass) continue;
        std::string folder = files.deviceFolder(link);
        if (addressOf(lastPart(folder))) found.push_back(std::move(folder));
    }
    return found;
}

std::string pciDeviceId(const RootedFiles& files, const std::string& folder) {
    const auto address = addressOf(lastPart(folder));
    if (!address) return {};
    const auto id = [&](const char* name) { return hexadecimal(files, folder + "/" + name) & 0xFFFF; };
    char text[128];
    std::snprintf(text, sizeof text, R"(PCI\VEN_%04X&DEV_%04X&SUBSYS_%04X%04X&REV_%02X\3&%06llX%02X&0&%02X)",
                  id("vendor"), id("device"), id("subsystem_device"), id("subsystem_vendor"),
                  id("revision") & 0xFF, static_cast<unsigned long long>(address->domain),
                  static_cast<unsigned>(address->bus),
                  static_cast<unsigned>(address->device << 3 | address->function));
    return text;
}

PciFunctionFacts::Facts PciFunctionFacts::of(const std::string& folder) {
    const auto stamp = folder.empty() ? std::nullopt : files_.stamp(folder);
    if (!stamp) return {};
    const std::scoped_lock hold(mutex_);
    auto& [seen, facts] = known_[folder];
    if (seen == *stamp) return facts;
    facts = {pciClass(files_, folder), pciDeviceId(files_, folder),
             linkGeneration(files_.line(folder + "/max_link_speed")),
             linkWidth(files_.line(folder + "/max_link_width"))};
    if (facts.code != 0 && files_.canOpen()) seen = *stamp; // else not all of it may have been read
    return facts;
}

std::pair<std::string, PciFunctionFacts::Facts> PciFunctionFacts::at(std::string_view id) {
    {
        const std::scoped_lock hold(mutex_);
        for (const auto& [folder, known] : known_)
            if (known.second.id == id && files_.stamp(folder) == known.first) return {folder, known.second};
    }
    std::string folder = pciFolderOf(files_, id);
    auto facts = of(folder);
    return {std::move(folder), std::move(facts)};
}

std::string pciName(const RootedFiles& files, const std::string& folder) {
    std::string name = productName(files, "pci.ids", digits(hexadecimal(files, folder + "/vendor")),
                                   digits(hexadecimal(files, folder + "/device")));
    if (!name.empty()) return name;
    for (const ClassName& row : kClassNames)
        if (row.code == pciClass(files, folder) >> 8) return row.name;
    return "PCI Controller";
}

std::optional<std::uint32_t> linkGeneration(std::string_view speed) {
    constexpr std::array<std::string_view, 6> speeds = {"2.5", "5", "8", "16", "32", "64"};
    const auto end = speed.find(" GT/s");
    if (end == speed.npos) return std::nullopt;
    speed = speed.substr(0, end);
    if (speed.ends_with(".0")) speed.remove_suffix(2);
    for (std::size_t at = 0; at < speeds.size(); ++at)
        if (speed == speeds[at]) return static_cast<std::uint32_t>(at + 1);
    return std::nullopt;
}

std::optional<std::uint32_t> linkWidth(std::string_view width) {
    constexpr std::uint64_t widest = 32; // the kernel writes 255 for what it does not know
    const auto lanes = wholeNumber(width);
    if (!lanes || *lanes == 0 || *lanes > widest) return std::nullopt;
    return static_cast<std::uint32_t>(*lanes);
}

} // namespace orv::platform
