// Any model, firmware and attributes: a drive gets one of the known dialects, whatever its later attributes
// are, and a second classification of the record changes nothing.

#include "disk_engine/Interpretation.h"
#include "disk_engine/VendorRules.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <tuple>

using namespace orv;

namespace {

// Words that rules ask for, so that the models made of them reach the rows far down.
const wchar_t* const kWords[] = {
    L"SanDisk ", L"X600",    L"2280",      L"X400",  L"1006",      L"G1001", L"8U",      L"WDC ",
    L"SA530",    L"Seagate", L"ST",        L"TS",    L"TOSHIBA",   L"intel", L"SAMSUNG", L"CT500",
    L"MX500SSD", L"MTFD",    L"OCZ",       L"SSD",   L"KINGSTON ", L"SA400", L"HFS",     L"TND",
    L"SC311",    L"KIOXIA",  L"HANYE-Q55", L"LEXAR", L"MAXIO",     L"MU01",  L"SN",      L"ADATA SP580",
};

struct Bytes {
    const std::uint8_t* at;
    const std::uint8_t* end;

    std::uint8_t next() { return at == end ? 0 : *at++; }

    // A byte from 128 on is a word, another one a letter.
    std::wstring text() {
        std::wstring text;
        for (int count = next() % 24; count > 0; --count) {
            const std::uint8_t byte = next();
            text += byte < 128 ? std::wstring(1, byte) : kWords[byte % std::size(kWords)];
        }
        return text;
    }
};

bool knows(const RuleTable& table, const AtaSmartInfo& asi, const char* name) {
    return std::any_of(table.begin(), table.end(), [&](const VendorRule& rule) {
        return (rule.name == name && rule.dialect &&
                rule.dialect->id == static_cast<DiskVendor>(asi.DiskVendorId) &&
                rule.dialect->key == asi.SmartKeyName && rule.dialect->code == asi.SsdVendorString) ||
               knows(rule.finer, asi, name);
    });
}

auto verdict(const AtaSmartInfo& asi) {
    return std::tuple(asi.DiskVendorId, asi.SmartKeyName, asi.SsdVendorString, asi.HostReadsWritesUnit,
                      asi.LifeIsRaw, asi.LifeIsRawInverted, asi.IsRawValues7, asi.IsRawValues8);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes{data, data + size};
    AtaSmartInfo asi;
    asi.IsSsd = bytes.next() & 1;
    asi.Model = bytes.text();
    asi.FirmwareRev = bytes.text();
    asi.AttributeCount = bytes.next() % (kSmartEntries + 1);
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i)
        asi.Attribute[i].Id = bytes.next();
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i) {
        asi.Attribute[i].CurrentValue = bytes.next();
        for (std::uint8_t& byte : asi.Attribute[i].RawValue)
            byte = bytes.next();
    }
    asi.SmartReadData[400] = bytes.next();
    asi.SmartReadData[401] = bytes.next();

    AtaSmartInfo later = asi;
    for (std::size_t i = 16; i < kSmartEntries; ++i)
        later.Attribute[i].Id = static_cast<std::uint8_t>(~later.Attribute[i].Id);

    Explanation why;
    ClassifyDrive(asi, &why);
    if (asi.HostReadsWritesUnit > HOST_UNIT_GB) std::abort();
    if (!asi.IsSsd) {
        if (std::string_view(why.dialect) != kHardDiskRule || asi.DiskVendorId != VENDOR_GENERAL)
            std::abort();
    } else if (!knows(kVendorRules, asi, why.dialect)) {
        std::abort();
    }

    AtaSmartInfo again = asi;
    ClassifyDrive(again);
    ClassifyDrive(later);
    if (verdict(again) != verdict(asi) || verdict(later) != verdict(asi)) std::abort();
    return 0;
}
