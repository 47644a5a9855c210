#include "platform/linux/graphics/AmdGpuServer.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/HardwareIds.h"

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

AmdGpuServer::Card AmdGpuServer::unreadable(ErrorCode error) {
    Card card;
    card.error = error;
    return card;
}

bool AmdGpuServer::findCards() {
    cards_.clear();
    auto names = files_.list(kCards);
    if (!names.ok() && !saysAbsent(names.error)) cards_.push_back(unreadable(names.error));
    std::erase_if(names.value, [](const std::string& name) { return !isCard(name); });
    std::sort(names.value.begin(), names.value.end(), shorterFirst);
    for (const std::string& name : names.value)
        if (auto card = cardAt(kCards + name + "/device")) cards_.push_back(std::move(*card));
    std::ranges::stable_partition(cards_, [](const Card& card) { return !card.isOfProcessor; });
    return !cards_.empty();
}

std::optional<AmdGpuServer::Card> AmdGpuServer::cardAt(const std::string& device) const {
    const auto uevent = files_.read(device + "/uevent");
    if (!uevent.ok() && !saysAbsent(uevent.error)) return unreadable(uevent.error);
    if (valueOf(uevent.value, "DRIVER=") != "amdgpu" || files_.line(device + "/vendor") != kAmdVendor)
        return std::nullopt;
    Card card;
    const std::string slot = valueOf(uevent.value, "PCI_SLOT_NAME="); // "0000:03:00.0"
    // NOLINTNEXTLINE(cert-err34-c): the field widths leave nothing to overflow.
    if (std::sscanf(slot.c_str(), "%8x:%2x:%2x.%1x", &card.domain, &card.bus, &card.deviceNumber,
                    &card.function) != 4)
        return std::nullopt;
    card.device = device;
    card.name = nameOf(device);
    readSensors(card);
    return card;
}

/// The sensors of the edge or, on cards that have none there, of the hottest spot. The driver tells the
/// voltage of a north bridge for the graphics of a processor alone.
void AmdGpuServer::readSensors(Card& card) const {
    const std::string folder = card.device + "/hwmon/";
    const auto names = files_.list(folder);
    if (!names.ok() && !saysAbsent(names.error)) card.error = names.error;
    for (const std::string& name : names.value) {
        for (const char* file : {"/temp1_input", "/temp2_input"})
            if (card.temperatureFile.empty() && files_.exists(folder + name + file))
                card.temperatureFile = folder + name + file;
        if (files_.exists(folder + name + "/in1_label")) card.isOfProcessor = true;
    }
}

/// What the card says, else what the hardware database says, else its numbers.
std::string AmdGpuServer::nameOf(const std::string& device) const {
    if (std::string name = files_.line(device + "/product_name"); !name.empty()) return name;
    std::string id = files_.line(device + "/device");
    if (id.starts_with("0x")) id.erase(0, 2);
    std::string name = productName(files_, "pci.ids", kAmdVendor.substr(2), id);
    return name.empty() ? "AMD graphics 1002:" + id : name;
}

const AmdGpuServer::Card* AmdGpuServer::find(int adapter) const {
    const auto index = static_cast<std::size_t>(adapter);
    return adapter >= 0 && index < cards_.size() ? &cards_[index] : nullptr;
}

template <class Number>
adl::Status AmdGpuServer::readNumber(const std::string& path, Number& value) const {
    const std::string text = files_.line(path);
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end ? adl::kOk : adl::kNotSupported;
}

bool AmdGpuServer::isAsleep(const Card& card) const {
    return files_.line(card.device + "/power/runtime_status")
        .starts_with("suspend"); // "suspended", "suspending"
}

/// A value that the driver would wake the card up for, or refuse while the card sleeps.
template <class Number>
adl::Status AmdGpuServer::readAwake(const Card& card, const std::string& path, Number& value) const {
    if (isAsleep(card)) return adl::kCardSleeps;
    const auto status = readNumber(path, value);
    return status != adl::kOk && isAsleep(card) ? adl::kCardSleeps : status; // it fell asleep meanwhile
}

adl::Status AmdGpuServer::load(const Card& card, std::int32_t& percent) const {
    const auto status = readAwake(card, card.device + "/gpu_busy_percent", percent);
    if (status != adl::kCardSleeps) return status;
    percent = 0;
    return adl::kOk;
}

adl::Status AmdGpuServer::numberOfAdapters(int& count) {
    if (std::ranges::any_of(cards_, [](const Card& card) { return card.error != kSuccess; })) findCards();
    count = static_cast<int>(cards_.size());
    return adl::kOk;
}

/// ADL has no domains. Each one behind the first has buses of its own, 256 further on, so that no two cards
/// share a place.
adl::Status AmdGpuServer::adapterInfo(adl::AdapterInfo* records, std::size_t room) {
    std::vector<unsigned> domains;
    for (std::size_t i = 0; i < std::min(room, cards_.size()); ++i) {
        const Card& card = cards_[i];
        const auto domain = std::ranges::find(domains, card.domain) - domains.begin();
        if (static_cast<std::size_t>(domain) == domains.size()) domains.push_back(card.domain);
        records[i].size = sizeof records[i];
        records[i].adapterIndex = static_cast<int>(i);
        records[i].busNumber = static_cast<int>(card.bus + 256 * domain);
        records[i].deviceNumber = static_cast<int>(card.deviceNumber);
        records[i].functionNumber = static_cast<int>(card.function);
        records[i].vendorId = 0x1002;
        card.name.copy(records[i].adapterName, sizeof records[i].adapterName - 1);
    }
    return adl::kOk;
}

adl::Status AmdGpuServer::createContext(adl::Allocator allocator, int adapter, adl::Context& context) {
    const Card* card = find(adapter);
    if (!card) return adl::kInvalidAdapterIndex;
    if (card->error) return static_cast<adl::Status>(card->error);
    return AdlServer::createContext(allocator, adapter, context);
}

adl::Status AmdGpuServer::overdriveCaps(int adapter, int& supported, int& enabled, int& version) {
    const Card* card = find(adapter);
    if (!card) return adl::kInvalidAdapterIndex;
    supported = enabled = card->temperatureFile.empty() ? 0 : 1;
    version = 5;
    return adl::kOk;
}

adl::Status AmdGpuServer::pmLog(adl::Context, int adapter, adl::PmLogData& data) {
    const Card* card = find(adapter);
    if (!card) return adl::kInvalidAdapterIndex;
    data.size = adl::kPmLogSensors;
    data.sensors[adl::kPmLogActivity].supported = 1;
    return load(*card, data.sensors[adl::kPmLogActivity].value);
}

adl::Status AmdGpuServer::od5Temperature(int adapter, int, adl::Od5Temperature& record) {
    const Card* card = find(adapter);
    return card ? readAwake(*card, card->temperatureFile, record.temperature) : adl::kInvalidAdapterIndex;
}

adl::Status AmdGpuServer::od5Activity(int adapter, adl::Od5Activity& record) {
    const Card* card = find(adapter);
    return card ? load(*card, record.activityPercent) : adl::kInvalidAdapterIndex;
}

adl::Status AmdGpuServer::memorySize(adl::Context, int adapter, std::int64_t& bytes) {
    const Card* card = find(adapter);
    return card ? readNumber(card->device + "/mem_info_vram_total", bytes) : adl::kInvalidAdapterIndex;
}

} // namespace orv::platform
