#include "platform/linux/AmdGpuServer.h"

#include "platform/linux/HardwareIds.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace orv::platform {

namespace {

constexpr char kCards[] = "/sys/class/drm/";
constexpr std::string_view kAmdVendor = "0x1002";

/// "card0", not "card0-HDMI-A-1" or "renderD128".
bool isCard(std::string_view name) {
    if (!name.starts_with("card") || name.size() == 4) return false;
    name.remove_prefix(4);
    return name.find_first_not_of("0123456789") == name.npos;
}

bool shorterFirst(const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

/// Value of a "KEY=value" line.
std::string valueOf(const std::string& text, std::string_view key) {
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        const std::string_view line(text.data() + at, end - at);
        if (line.starts_with(key)) return std::string(line.substr(key.size()));
        at = end + 1;
    }
    return {};
}

} // namespace

bool AmdGpuServer::findCards() {
    cards_.clear();
    std::vector<std::string> names = files_.list(kCards).value;
    std::erase_if(names, [](const std::string& name) { return !isCard(name); });
    std::sort(names.begin(), names.end(), shorterFirst);
    for (const std::string& name : names)
        if (auto card = cardAt(kCards + name + "/device")) cards_.push_back(std::move(*card));
    return !cards_.empty();
}

std::optional<AmdGpuServer::Card> AmdGpuServer::cardAt(const std::string& device) const {
    const std::string uevent = files_.read(device + "/uevent").value;
    if (valueOf(uevent, "DRIVER=") != "amdgpu" || files_.line(device + "/vendor") != kAmdVendor)
        return std::nullopt;
    Card card;
    unsigned bus = 0;
    unsigned deviceNumber = 0;
    unsigned function = 0;
    // "0000:03:00.0"; the domain is left out, as ADL has none.
    const std::string slot = valueOf(uevent, "PCI_SLOT_NAME=");
    // NOLINTNEXTLINE(cert-err34-c): the field widths leave nothing to overflow.
    if (std::sscanf(slot.c_str(), "%*4x:%2x:%2x.%1x", &bus, &deviceNumber, &function) != 3)
        return std::nullopt;
    card.device = device;
    card.temperatureFile = temperatureFileOf(device);
    card.name = nameOf(device);
    card.bus = static_cast<int>(bus);
    card.deviceNumber = static_cast<int>(deviceNumber);
    card.function = static_cast<int>(function);
    return card;
}

/// What the card says, else what the hardware database says, else its numbers.
std::string AmdGpuServer::nameOf(const std::string& device) const {
    if (std::string name = files_.line(device + "/product_name"); !name.empty()) return name;
    std::string id = files_.line(device + "/device");
    if (id.starts_with("0x")) id.erase(0, 2);
    std::string name = productName(files_, "pci.ids", kAmdVendor.substr(2), id);
    return name.empty() ? "AMD graphics 1002:" + id : name;
}

std::string AmdGpuServer::temperatureFileOf(const std::string& device) const {
    const std::string folder = device + "/hwmon/";
    for (const std::string& name : files_.list(folder).value)
        if (files_.exists(folder + name + "/temp1_input")) return folder + name + "/temp1_input";
    return {};
}

const AmdGpuServer::Card* AmdGpuServer::find(int adapter) const {
    const auto index = static_cast<std::size_t>(adapter);
    return adapter >= 0 && index < cards_.size() ? &cards_[index] : nullptr;
}

template <class Number>
adl::Status AmdGpuServer::readNumber(const std::string& path, Number& value) const {
    const std::string text = path.empty() ? std::string() : files_.line(path);
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end ? adl::kOk : adl::kNotSupported;
}

adl::Status AmdGpuServer::numberOfAdapters(int& count) {
    count = static_cast<int>(cards_.size());
    return adl::kOk;
}

adl::Status AmdGpuServer::adapterInfo(adl::AdapterInfo* records, std::size_t room) {
    for (std::size_t i = 0; i < std::min(room, cards_.size()); ++i) {
        const Card& card = cards_[i];
        records[i].size = sizeof records[i];
        records[i].adapterIndex = static_cast<int>(i);
        records[i].busNumber = card.bus;
        records[i].deviceNumber = card.deviceNumber;
        records[i].functionNumber = card.function;
        records[i].vendorId = 0x1002;
        card.name.copy(records[i].adapterName, sizeof records[i].adapterName - 1);
    }
    return adl::kOk;
}

adl::Status AmdGpuServer::overdriveCaps(int adapter, int& supported, int& enabled, int& version) {
    supported = enabled = 1;
    version = 5;
    return find(adapter) ? adl::kOk : adl::kInvalidAdapterIndex;
}

adl::Status AmdGpuServer::od5Temperature(int adapter, adl::Od5Temperature& record) {
    const Card* card = find(adapter);
    return card ? readNumber(card->temperatureFile, record.temperature) : adl::kInvalidAdapterIndex;
}

adl::Status AmdGpuServer::od5Activity(int adapter, adl::Od5Activity& record) {
    const Card* card = find(adapter);
    return card ? readNumber(card->device + "/gpu_busy_percent", record.activityPercent)
                : adl::kInvalidAdapterIndex;
}

adl::Status AmdGpuServer::memorySize(int adapter, std::int64_t& bytes) {
    const Card* card = find(adapter);
    return card ? readNumber(card->device + "/mem_info_vram_total", bytes) : adl::kInvalidAdapterIndex;
}

} // namespace orv::platform
