#include "memory/MemInfo.h"

#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "json/value.h"
#include "log/log.h"
#include "memory/MemoryTables.h"
#include "memory/SPD.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "state/ProcessState.h"
#include "wmi/wmi.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

namespace orv::memory {

using platform::ManagementType;
using platform::ManagementValue;

namespace {

constexpr std::wstring_view kQuery = L"SELECT * FROM Win32_PhysicalMemory";

// SMBIOS memory types.
constexpr std::int32_t kDDR3 = 24;
constexpr std::int32_t kDDR4 = 26;
constexpr std::int32_t kLPDDR3 = 29;
constexpr std::int32_t kLPDDR4 = 30;
constexpr std::int32_t kDDR5 = 34;
constexpr std::int32_t kLPDDR5 = 35;

/// How the latest query for modules ended, an HRESULT.
struct LatestQuery {
    std::atomic<platform::ErrorCode> error{platform::kSuccess};
};

int tag(ManagementType type) {
    return static_cast<int>(type);
}

std::uint64_t decimal(const std::wstring& text) {
    try {
        return std::stoull(text, nullptr, 10);
    } catch (const std::invalid_argument&) {
        throw std::invalid_argument("invalid stoull argument");
    } catch (const std::out_of_range&) {
        throw std::out_of_range("stoull argument out of range");
    }
}

void noText(std::size_t, int type) {
    log::info(memoryLogger, L"wmi result is no BSTR, current: {}", type);
}
void noSerialNumber(std::size_t index, int type) {
    log::error(memoryLogger, L"serial number type wrong, index: {}, type: {}", index, type);
}
void noUnsigned(std::size_t, int type) {
    log::info(memoryLogger, L"wmi result is no VT_UI4, current: {}", type);
}
void noSigned(std::size_t, int type) {
    log::info(memoryLogger, L"wmi result is no VT_I4, current: {}", type);
}

template <std::wstring MemoryInfo::*field>
void setText(MemoryInfo& module, const ManagementValue& value) {
    module.*field = value.text;
}
template <std::uint32_t MemoryInfo::*field>
void setUnsigned(MemoryInfo& module, const ManagementValue& value) {
    module.*field = static_cast<std::uint32_t>(value.number);
}
template <std::int32_t MemoryInfo::*field>
void setSigned(MemoryInfo& module, const ManagementValue& value) {
    module.*field = value.number;
}
void setCapacity(MemoryInfo& module, const ManagementValue& value) {
    module.capacity = decimal(value.text);
}

struct Property {
    const wchar_t* column;
    const wchar_t* noun; // in the message on a wrong count
    ManagementType type;
    void (*set)(MemoryInfo&, const ManagementValue&);
    void (*wrongType)(std::size_t index, int type);
    const wchar_t* textForAll; // with a wrong count
    std::int32_t numberForAll;
};

constexpr auto kText = ManagementType::bstr;
constexpr auto kNumber = ManagementType::i4;

// In the order in which they are read.
constexpr Property kProperties[] = {
    {L"PartNumber", L"module", kText, setText<&MemoryInfo::model>, noText, L"", 0},
    {L"Capacity", L"capacity", kText, setCapacity, noText, L"0", 0},
    {L"SerialNumber", L"serial number", kText, setText<&MemoryInfo::serialNumber>, noSerialNumber, L"", 0},
    {L"Speed", L"speed", kNumber, setUnsigned<&MemoryInfo::speed>, noUnsigned, L"", 0},
    {L"ConfiguredClockSpeed", L"ConfiguredClockSpeed", kNumber, setUnsigned<&MemoryInfo::currentSpeed>,
     noUnsigned, L"", 0},
    {L"TotalWidth", L"TotalWidth", kNumber, setUnsigned<&MemoryInfo::totalWidth>, noUnsigned, L"", 0},
    {L"MaxVoltage", L"MaxVoltage", kNumber, setUnsigned<&MemoryInfo::voltage>, noUnsigned, L"", 0},
    {L"SMBIOSMemoryType", L"SMBIOSMemoryType", kNumber, setSigned<&MemoryInfo::type>, noUnsigned, L"", 0},
    {L"FormFactor", L"FormFactor", kNumber, setSigned<&MemoryInfo::formFactor>, noSigned, L"", -1},
};

void readProperty(const Property& property, const ColumnReader& column, std::vector<MemoryInfo>& modules) {
    const auto entries = column(property.column);
    if (entries.size() != modules.size()) {
        log::error(memoryLogger, L"get {} count wrong, {} count: {}, memory count: {}", property.noun,
                   property.noun, entries.size(), modules.size());
        const ManagementValue forAll{property.type, property.textForAll, property.numberForAll};
        for (MemoryInfo& module : modules)
            property.set(module, forAll);
        return;
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].type == property.type)
            property.set(modules[i], entries[i]);
        else
            property.wrongType(i, tag(entries[i].type));
    }
}

void requireSupportedType(std::int32_t type) {
    for (const std::int32_t supported : {kDDR4, kDDR5, kLPDDR4, kLPDDR5, kDDR3})
        if (type == supported) return;
    throwHW(L"Memory type is not DDR4, DDR5, LPDDR4, LPDDR5, type: {}", type);
}

std::wstring serialNumberOf(const Spd& spd, std::int32_t type) {
    switch (type) {
    case kDDR3:
        return parseSerialNumberDDR3(spd);
    case kDDR5:
    case kLPDDR5:
        return parseSerialNumberDDR5(spd);
    default:
        return parseSerialNumberDDR4(spd);
    }
}

void logModules(const std::vector<MemoryInfo>& modules) {
    for (std::size_t i = 0; i < modules.size(); ++i) {
        const MemoryInfo& module = modules[i];
        log::info(memoryLogger,
                  L"memory index: {},\nManufacture: {},\nModel: {},\nCapacity: {},\nSerialNumber: "
                  L"{},\nSpeed: {},\nCurrentSpeed: {},\nTotalWidth: {},\nVoltage: {},\ntype: {},\nform "
                  L"factor: {},\ntiming: {}",
                  i, module.manufacturer, module.model, module.capacity, module.serialNumber, module.speed,
                  module.currentSpeed, module.totalWidth, module.voltage, memoryTypeText(module.type),
                  module.formFactor, module.timing);
    }
}

/// False for a query that failed, which lists no modules. A search without descriptors is none, as one
/// without memory.
bool queryModules(wmi& session) {
    auto& latest = processWide<LatestQuery>().error;
    const bool ran = session.query(kQuery);
    latest = session.error();
    if (ran) return true;
    if (session.error() == (platform::kComWin32 | platform::kTooManyOpenFiles))
        throwHW(L"query Win32_PhysicalMemory failed: {}", getSystemErrorText(session.error()));
    log::error(memoryLogger, L"query Win32_PhysicalMemory failed");
    return false;
}

} // namespace

std::string whyNoModules() {
    const platform::ErrorCode error = processWide<LatestQuery>().error;
    if (error == platform::kSuccess) return {};
    std::wstring text = platform::current().systemFacts().errorText(error);
    text.erase(text.find_last_not_of(L"\r\n ") + 1);
    return EncodedText(text.empty() ? fmt::format(L"error code: {}", error) : text).narrow;
}

std::wstring memoryTypeText(std::int32_t type) {
    const auto found = memoryTypeName.find(type);
    return found == memoryTypeName.end() ? std::to_wstring(type) : found->second;
}

std::vector<MemoryInfo> readModules(const ColumnReader& column) {
    const auto manufacturers = column(L"Manufacturer");
    std::vector<MemoryInfo> modules(manufacturers.size());
    if (modules.empty()) return modules;
    log::info(memoryLogger, L"memory count: {}", modules.size());
    for (std::size_t i = 0; i < modules.size(); ++i) {
        if (manufacturers[i].type == ManagementType::bstr)
            modules[i].manufacturer = manufacturers[i].text;
        else
            log::error(memoryLogger, L"wmi result is no BSTR, current: {}", tag(manufacturers[i].type));
    }
    for (const Property& property : kProperties)
        readProperty(property, column, modules);
    return modules;
}

void joinSpds(std::vector<MemoryInfo>& modules, const std::vector<Spd>& spds) {
    for (const Spd& spd : spds) {
        const std::wstring serial = serialNumberOf(spd, modules.front().type);
        log::info(memoryLogger, L"spd serial number: {}", serial);
        const auto module = std::find_if(modules.begin(), modules.end(), [&](const MemoryInfo& candidate) {
            return candidate.serialNumber == serial;
        });
        if (module == modules.end()) {
            log::error(memoryLogger, L"can not find memory by serial number: {}", serial);
            continue;
        }
        module->spd = spd;
        if (module->type == kDDR5 || module->type == kLPDDR5)
            module->timing = parseDDR5TimingBySPD(spd);
        else if (module->type == kDDR4 || module->type == kLPDDR4)
            module->timing = parseDDR4TimingBySPD(spd);
    }
}

void mergeSoldered(std::vector<MemoryInfo>& modules) {
    MemoryInfo merged;
    for (auto module = modules.begin(); module != modules.end();) {
        if (module->type != kLPDDR3 && module->type != kLPDDR4 && module->type != kLPDDR5) {
            ++module;
            continue;
        }
        if (merged.type != 0 && merged.type != module->type)
            throwHW(L"Memory types are inconsistent before and after, before: {}, after: {}",
                    memoryTypeText(merged.type), memoryTypeText(module->type));
        const std::uint64_t before = merged.capacity;
        merged = std::move(*module);
        merged.capacity += before;
        module = modules.erase(module);
    }
    if (merged.capacity != 0) modules.push_back(std::move(merged));
}

std::vector<MemoryInfo> MemoryInfo::getMemoryInfo() {
    log::entry(memoryLogger, L"orv::memory::MemoryInfo::getMemoryInfo");
    wmi session;
    if (!queryModules(session)) return {};
    auto modules = readModules([&](std::wstring_view column) { return session.get(column); });
    if (modules.empty()) return modules;
    requireSupportedType(modules.front().type);
    joinSpds(modules, readSPD());
    logModules(modules);
    mergeSoldered(modules);
    return modules;
}

std::int32_t getMemoryType() {
    log::entry(memoryLogger, L"orv::memory::getMemoryType");
    wmi session;
    if (!queryModules(session)) return 0;
    const auto types = session.get(L"SMBIOSMemoryType");
    if (types.empty()) return 0;
    if (types.front().type != ManagementType::i4) {
        log::error(memoryLogger, L"wmi result is no VT_UI4, current: {}", tag(types.front().type));
        return 0;
    }
    return types.front().number;
}

std::string manufacturerAndModelReport() {
    json::value modules;
    for (const MemoryInfo& module : MemoryInfo::getMemoryInfo()) {
        json::value entry;
        entry["manufacturer"] = EncodedText(module.manufacturer).narrow;
        entry["model"] = EncodedText(module.model).narrow;
        modules.push_back(std::move(entry));
    }
    json::value report;
    report["code"] = 1;
    report["data"] = std::move(modules);
    return json::dump(report);
}

} // namespace orv::memory
