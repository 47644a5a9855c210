#include "networks/adapter.h"

#include "frame/HWException.h"
#include "json/value.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/text.h"
#include "platform/utf16.h"
#include "regedit/regedit.h"
#include "state/ProcessState.h"

#include <algorithm>

namespace orv::net {

namespace {

constexpr std::uint32_t kReadAccess = 0x20019; // KEY_READ
constexpr wchar_t kCardsKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\";

struct AdapterState {
    OnceCell<std::vector<Adapter>> adapters;
};

/// The description of one card's subkey, appended.
void readDescription(regedit& registry, const std::wstring& card, std::vector<std::wstring>& descriptions) {
    if (!registry.open(fmt::format(L"{}{}\\", kCardsKey, card), kReadAccess)) {
        log::error(networkAdapterLogger, L"open {} failed", card);
        return;
    }
    std::vector<std::byte> data;
    std::uint32_t type = 0;
    if (!registry.queryValue(L"Description", data, &type)) {
        log::error(networkAdapterLogger, L"query Description failed");
        return;
    }
    if (type != platform::kRegistryText) {
        log::error(networkAdapterLogger, L"Description type error, expect REG_SZ, current: {}", type);
        return;
    }
    descriptions.push_back(platform::wideFromUtf16(data));
}

std::int32_t typeOf(std::uint32_t interfaceType) {
    if (interfaceType == platform::kInterfaceEthernet) return 1;
    if (interfaceType == platform::kInterfaceWireless) return 2;
    return 0;
}

std::wstring hyphenated(const std::vector<std::uint8_t>& address) {
    std::wstring text;
    for (const std::uint8_t byte : address)
        text += fmt::format(L"{:02x}-", byte);
    if (!text.empty()) text.pop_back();
    return text;
}

void logFailed(platform::ErrorCode error) {
    log::error(networkAdapterLogger, L"GetAdaptersAddresses failed, {}", getSystemErrorText(error));
}

} // namespace

std::vector<Adapter> getAdapterHelper(const AdapterFilter& filter) {
    log::entry(networkAdapterLogger, L"getAdapterHelper");
    platform::NetworkTables& tables = platform::current().networkTables();
    const auto size = tables.adapterAddressesSize();
    if (size.error != platform::kBufferOverflow) {
        logFailed(size.error);
        return {};
    }
    log::info(networkAdapterLogger, L"Allocated {} memory for GetAdapterAddress", size.value);
    const auto addresses = tables.adapterAddresses(size.value);
    if (!addresses.ok()) {
        logFailed(addresses.error);
        return {};
    }
    std::vector<Adapter> adapters;
    for (const platform::AdapterAddress& address : addresses.value) {
        if (filter && !filter(address)) continue;
        const std::wstring& model = address.description;
        adapters.push_back({model.substr(0, model.find(L' ')), model, hyphenated(address.physicalAddress),
                            typeOf(address.interfaceType)});
    }
    log::info(networkAdapterLogger, L"adapter size: {}", adapters.size());
    for (const Adapter& adapter : adapters)
        log::info(networkAdapterLogger, L"manufacture: {}, model: {}, type: {}, mac: {}", adapter.manufacture,
                  adapter.model, adapter.type, adapter.macAddress);
    return adapters;
}

std::vector<Adapter> getPhysicalAdapter() {
    log::entry(networkAdapterLogger, L"orv::net::getPhysicalAdapter");
    log::info(networkAdapterLogger, L"getting physical adapter");
    regedit registry;
    if (!registry.open(kCardsKey, kReadAccess)) {
        log::error(networkAdapterLogger, L"open NetworkCards failed");
        return {};
    }
    std::vector<std::wstring> cards;
    if (!registry.enumKey(cards)) {
        log::error(networkAdapterLogger, L"enumKey failed");
        return {};
    }
    std::vector<std::wstring> descriptions;
    for (const std::wstring& card : cards)
        readDescription(registry, card, descriptions);
    return getAdapterHelper([&](const platform::AdapterAddress& address) {
        return std::ranges::find(descriptions, address.description) != descriptions.end();
    });
}

std::string netCardReport() {
    const auto& adapters = processWide<AdapterState>().adapters.get(getPhysicalAdapter);
    json::value report;
    for (const Adapter& adapter : adapters) {
        if (adapter.type != 1 && adapter.type != 2) continue;
        json::value entry;
        entry["macAddress"] = platform::wideToUtf8(adapter.macAddress);
        entry["manufacture"] = platform::wideToUtf8(adapter.manufacture);
        entry["model"] = platform::wideToUtf8(adapter.model);
        entry["type"] = adapter.type == 1 ? "Ethernet" : "WLAN";
        report.push_back(std::move(entry));
    }
    return json::dump(report);
}

} // namespace orv::net
