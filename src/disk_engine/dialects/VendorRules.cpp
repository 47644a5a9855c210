#include "disk_engine/dialects/VendorRules.h"

#include "disk_engine/dialects/VendorIdLists.h"

namespace orv {
namespace {

using Subject = Condition::Subject;
using Place = Condition::Place;

constexpr Condition textual(Subject subject, Place place, std::wstring_view texts) {
    std::uint64_t beginnings = 0;
    for (std::size_t at = 0; at < texts.size(); ++at) {
        if (at > 0 && texts[at - 1] != L'|') continue;
        const bool hasPair = at + 1 < texts.size() && texts[at + 1] != L'|';
        beginnings |= hasPair ? letterPair(texts[at], texts[at + 1]) : kAnyLetterPair;
    }
    return {.subject = subject, .place = place, .texts = texts, .beginnings = beginnings};
}

// Conditions on texts: each takes alternatives with '|' between them.

constexpr Condition begins(std::wstring_view texts) {
    return textual(Subject::Model, Place::Beginning, texts);
}
constexpr Condition contains(std::wstring_view texts) {
    return textual(Subject::Model, Place::Anywhere, texts);
}
constexpr Condition containsBehindFirst(std::wstring_view texts) {
    return textual(Subject::Model, Place::BehindFirst, texts);
}
constexpr Condition upperBegins(std::wstring_view texts) {
    return textual(Subject::UpperModel, Place::Beginning, texts);
}
constexpr Condition upperContains(std::wstring_view texts) {
    return textual(Subject::UpperModel, Place::Anywhere, texts);
}
constexpr Condition firmwareBegins(std::wstring_view texts) {
    return textual(Subject::Firmware, Place::Beginning, texts);
}
constexpr Condition firmwareContains(std::wstring_view texts) {
    return textual(Subject::Firmware, Place::Anywhere, texts);
}
constexpr Condition no(Condition condition) {
    condition.wanted = false;
    return condition;
}

template <std::size_t N>
constexpr Condition ids(const std::uint8_t (&list)[N]) {
    static_assert(N <= kSmartEntries);
    return {.subject = Subject::Ids, .ids = list, .idCount = N};
}

constexpr Condition record(bool (*ask)(const AtaSmartInfo&)) {
    return {.subject = Subject::Record, .ask = ask};
}

bool hasOneAttribute(const AtaSmartInfo& asi) {
    return asi.AttributeCount == 1;
}

bool id175IsThirdOrFourth(const AtaSmartInfo& asi) {
    return asi.Attribute[2].Id == 175 || asi.Attribute[3].Id == 175;
}

/// Transcend's drives with this controller sign their attribute block.
bool blockIsSigned(const AtaSmartInfo& asi) {
    constexpr std::size_t at = 400;
    const auto first = asi.SmartReadData[at];
    const auto second = asi.SmartReadData[at + 1];
    return (first == 'T' && second == 'S') || (first == 'S' && second == 'M');
}

constexpr Dialect kGeneralSsd = {VENDOR_GENERAL_SSD, L"SmartSsd", L""};
constexpr Dialect kMtron = {VENDOR_MTRON, L"SmartMtron", L"mt"};
constexpr Dialect kIndilinx = {VENDOR_INDILINX, L"SmartIndilinx", L"ix"};
constexpr Dialect kJMicron60x = {VENDOR_JMICRON, L"SmartJMicron60x", L"jm"};
constexpr Dialect kJMicron61x = {VENDOR_JMICRON, L"SmartJMicron61x", L"jm"};
constexpr Dialect kJMicron66x = {VENDOR_JMICRON, L"SmartJMicron66x", L"jm"};
constexpr Dialect kIntel = {VENDOR_INTEL, L"SmartIntel", L"il"};
constexpr Dialect kIntelDc = {VENDOR_INTEL_DC, L"SmartIntelDc", L"id"};
constexpr Dialect kSamsung = {VENDOR_SAMSUNG, L"SmartSamsung", L"sg"};
constexpr Dialect kSandForce = {VENDOR_SANDFORCE, L"SmartSandForce", L"sf"};
constexpr Dialect kMicron = {VENDOR_MICRON, L"SmartMicron", L"mi"};
constexpr Dialect kMicronMU03 = {VENDOR_MICRON_MU03, L"SmartMicronMU03", L"m3"};
constexpr Dialect kOcz = {VENDOR_OCZ, L"SmartOcz", L"oz"};
constexpr Dialect kOczVector = {VENDOR_OCZ_VECTOR, L"SmartOczVector", L"oz"};
constexpr Dialect kSeagate = {VENDOR_SEAGATE, L"SmartSeagate", L"st"};
constexpr Dialect kSeagateIronWolf = {VENDOR_SEAGATE, L"SmartSeagateIronWolf", L"st"};
constexpr Dialect kSeagateBarraCuda = {VENDOR_SEAGATE, L"SmartSeagateBarraCuda", L"st"};
constexpr Dialect kWdc = {VENDOR_WDC, L"SmartWdc", L"wd"};
constexpr Dialect kPlextor = {VENDOR_PLEXTOR, L"SmartPlextor", L"px"};
constexpr Dialect kSanDisk = {VENDOR_SANDISK, L"SmartSanDisk", L"sd"};
constexpr Dialect kSanDiskGb = {VENDOR_SANDISK, L"SmartSanDiskGb", L"sd"};
constexpr Dialect kSanDiskForDell = {VENDOR_SANDISK, L"SmartSanDiskDell", L"sd"};
constexpr Dialect kSanDiskDell = {VENDOR_SANDISK_DELL, L"SmartSanDiskDell", L""};
constexpr Dialect kSanDiskHp = {VENDOR_SANDISK_HP, L"SmartSanDiskHp", L""};
constexpr Dialect kSanDiskHpVenus = {VENDOR_SANDISK_HP_VENUS, L"SmartSanDiskHpVenus", L""};
constexpr Dialect kSanDiskLenovo = {VENDOR_SANDISK_LENOVO, L"SmartSanDiskLenovo", L""};
constexpr Dialect kSanDiskLenovoHelenVenus = {VENDOR_SANDISK_LENOVO_HELEN_VENUS,
                                              L"SmartSanDiskLenovoHelenVenus", L""};
constexpr Dialect kSanDiskCloud = {VENDOR_SANDISK_CLOUD, L"SmartSanDiskCloud", L""};
constexpr Dialect kToshiba = {VENDOR_TOSHIBA, L"SmartToshiba", L"to"};
constexpr Dialect kCorsair = {VENDOR_CORSAIR, L"SmartCorsair", L"co"};
constexpr Dialect kKingston = {VENDOR_KINGSTON, L"SmartKingston", L"ki"};
constexpr Dialect kKingstonSuv = {VENDOR_KINGSTON, L"SmartKingstonSuv", L"ki"};
constexpr Dialect kKingstonKC600 = {VENDOR_KINGSTON, L"SmartKingstonKC600", L"ki"};
constexpr Dialect kKingstonDC500 = {VENDOR_KINGSTON, L"SmartKingstonDC500", L"ki"};
constexpr Dialect kKingstonSA400 = {VENDOR_KINGSTON, L"SmartKingstonSA400", L"ki"};
constexpr Dialect kRealtek = {VENDOR_REALTEK, L"SmartRealtek", L"re"};
constexpr Dialect kSKhynix = {VENDOR_SKHYNIX, L"SmartSKhynix", L"sk"};
constexpr Dialect kKioxia = {VENDOR_KIOXIA, L"SmartKioxia", L"ki"};
constexpr Dialect kSsstc = {VENDOR_SSSTC, L"SmartSsstc", L"ss"};
constexpr Dialect kApacer = {VENDOR_APACER, L"SmartApacer", L"ap"};
constexpr Dialect kSiliconMotion = {VENDOR_SILICON_MOTION, L"SmartSiliconMotion", L"sm"};
constexpr Dialect kPhison = {VENDOR_PHISON, L"SmartPhison", L"ph"};
constexpr Dialect kMarvell = {VENDOR_MARVELL, L"SmartMarvell", L"ma"};
constexpr Dialect kMaxiotek = {VENDOR_MAXIOTEK, L"SmartMaxiotek", L"mk"};
constexpr Dialect kYmtc = {VENDOR_YMTC, L"SmartYmtc", L"ym"};
constexpr Dialect kScy = {VENDOR_SCY, L"SmartScy", L"sc"};
constexpr Dialect kRecadata = {VENDOR_RECADATA, L"SmartRecadata", L"re"};

// Tables below a row of the main one. Their order counts as well.

constexpr VendorRule kSanDiskX[] = {
    {.name = "SanDisk: X600 2280, X400, X300, X110, SD5, id 175 third or fourth",
     .when = {record(id175IsThirdOrFourth)},
     .dialect = &kSanDiskForDell},
    {.name = "SanDisk: X600 2280, X400, X300, X110, SD5", .dialect = &kSanDiskGb},
};

constexpr VendorRule kSanDisk1006[] = {
    {.name = "SanDisk: 1006 with 8U", .when = {containsBehindFirst(L"8U")}, .dialect = &kSanDiskHpVenus},
    {.name = "SanDisk: 1006", .dialect = &kSanDiskHp},
};

constexpr VendorRule kSanDiskG1001[] = {
    {.name = "SanDisk: G1001 with 6S, 7S or 8U",
     .when = {containsBehindFirst(L"6S|7S|8U")},
     .dialect = &kSanDiskLenovoHelenVenus},
    {.name = "SanDisk: G1001", .dialect = &kSanDiskLenovo},
};

constexpr VendorRule kSanDiskModels[] = {
    {.name = "SanDisk models: X600 2280",
     .when = {contains(L"X600"), contains(L"2280")},
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRawHighByte,
     .finer = kSanDiskX},
    {.name = "SanDisk models: X400, X300, X110, SD5",
     .when = {contains(L"X400|X300|X110|SD5")},
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRawHighByte,
     .finer = kSanDiskX},
    {.name = "SanDisk: Z400", .when = {contains(L"Z400")}, .dialect = &kSanDiskForDell, .unit = HOST_UNIT_GB},
    {.name = "SanDisk models: 1006",
     .when = {containsBehindFirst(L"1006")},
     .unit = HOST_UNIT_16MB,
     .finer = kSanDisk1006},
    {.name = "SanDisk models: G1001",
     .when = {contains(L"G1001")},
     .unit = HOST_UNIT_GB,
     .set = &AtaSmartInfo::LifeIsCurrent,
     .finer = kSanDiskG1001},
    {.name = "SanDisk: G1012", .when = {contains(L"G1012")}, .dialect = &kSanDiskDell, .unit = HOST_UNIT_GB},
    {.name = "SanDisk: iSSD P4",
     .when = {contains(L"iSSD P4")},
     .dialect = &kSanDiskGb,
     .unit = HOST_UNIT_512B},
    {.name = "SanDisk: SDSSDP, SDSSDRC",
     .when = {contains(L"SDSSDP|SDSSDRC")},
     .dialect = &kSanDisk,
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRawHundredths},
    {.name = "SanDisk: U100, U110, i100, i110, pSSD",
     .when = {contains(L"SSD U100|SSD U110|SSD i100|SSD i110|pSSD")},
     .dialect = &kSanDisk,
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeHidden},
    {.name = "SanDisk: SDLF1 of the cloud series",
     .when = {contains(L"SDLF1CRR-|SDLF1DAR-|SDLF1CRM-|SDLF1DAM-")},
     .dialect = &kSanDiskCloud,
     .unit = HOST_UNIT_GB},
    {.name = "SanDisk: any other",
     .dialect = &kSanDiskGb,
     .unit = HOST_UNIT_GB,
     .set = &AtaSmartInfo::LifeIsRawHighByte},
};

constexpr VendorRule kWdcModels[] = {
    {.name = "WDC: SA530", .when = {contains(L"SA530")}, .dialect = &kWdc, .unit = HOST_UNIT_16MB},
    {.name = "WDC: any other", .dialect = &kWdc, .unit = HOST_UNIT_GB},
};

constexpr VendorRule kSeagateModels[] = {
    {.name = "Seagate: BarraCuda",
     .when = {contains(L"BarraCuda")},
     .dialect = &kSeagateBarraCuda,
     .set = &AtaSmartInfo::LifeIsRaw},
    {.name = "Seagate: HM, FP",
     .when = {contains(L"HM|FP")},
     .dialect = &kSeagate,
     .clear = &AtaSmartInfo::LifeIsRaw},
    {.name = "Seagate: any other", .dialect = &kSeagate, .set = &AtaSmartInfo::LifeIsRaw},
};

constexpr VendorRule kToshibaModels[] = {
    {.name = "Toshiba: THNSNC, THNSNJ, THNSNK, KSG60, TL100, TR150, TR200",
     .when = {contains(L"THNSNC|THNSNJ|THNSNK|KSG60|TL100|TR150|TR200")},
     .dialect = &kToshiba,
     .unit = HOST_UNIT_32MB},
    {.name = "Toshiba: any other", .dialect = &kToshiba, .unit = HOST_UNIT_GB},
};

constexpr VendorRule kKingstonSA400Firmware[] = {
    {.name = "Kingston: SA400, firmware 03070009",
     .when = {firmwareBegins(L"03070009")},
     .dialect = &kKingstonSA400},
    {.name = "Kingston: SA400", .dialect = &kKingstonSA400, .set = &AtaSmartInfo::LifeIsRaw},
};

/// A Kingston drive that none of these knows is asked on by the rows behind: several makers' controllers are
/// in it.
constexpr VendorRule kKingstonModels[] = {
    {.name = "Kingston: SM2280, SEDC400, SKC310, SHSS, SUV300, SKC400",
     .when = {contains(L"SM2280|SEDC400|SKC310|SHSS|SUV300|SKC400")},
     .dialect = &kKingston,
     .unit = HOST_UNIT_GB},
    {.name = "Kingston models: SA400",
     .when = {contains(L"SA400")},
     .unit = HOST_UNIT_GB,
     .finer = kKingstonSA400Firmware},
    {.name = "Kingston: KC600",
     .when = {contains(L"KC600")},
     .dialect = &kKingstonKC600,
     .unit = HOST_UNIT_32MB},
    {.name = "Kingston: DC500",
     .when = {contains(L"DC500")},
     .dialect = &kKingstonDC500,
     .unit = HOST_UNIT_GB},
    {.name = "Kingston: SUV400, SUV500",
     .when = {contains(L"SUV400|SUV500")},
     .dialect = &kKingstonSuv,
     .unit = HOST_UNIT_GB},
};

constexpr VendorRule kSKhynixUnits[] = {
    {.name = "SK hynix unit: HFS with TND, MND",
     .when = {contains(L"HFS"), contains(L"TND|MND")},
     .unit = HOST_UNIT_GB,
     .set = &AtaSmartInfo::LifeIsRawInverted},
    {.name = "SK hynix unit: HFS with TNF",
     .when = {contains(L"HFS"), contains(L"TNF")},
     .unit = HOST_UNIT_GB,
     .set = &AtaSmartInfo::LifeIsRaw},
    {.name = "SK hynix unit: SC311, SC401",
     .when = {contains(L"SC311|SC401")},
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRaw},
    {.name = "SK hynix unit: any other", .unit = HOST_UNIT_GB},
};

/// The life value of a Silicon Motion drive is its attribute's raw value, but not in these.
constexpr VendorRule kSiliconMotionLife[] = {
    {.name = "Silicon Motion life: SSD with firmware FW", .when = {begins(L"SSD"), firmwareBegins(L"FW")}},
    {.name = "Silicon Motion life: WT200, WT100, WT, tecmiyo", .when = {begins(L"WT200|WT100|WT |tecmiyo")}},
    {.name = "Silicon Motion life: any other", .set = &AtaSmartInfo::LifeIsRaw},
};

constexpr VendorRule kPhisonUnits[] = {
    {.name = "Phison unit: firmware S9", .when = {firmwareBegins(L"S9")}, .unit = HOST_UNIT_1MB},
    {.name = "Phison unit: any other", .unit = HOST_UNIT_GB},
};

constexpr VendorRule kLexarUnit[] = {
    {.name = "Lexar unit: firmware SN",
     .when = {upperBegins(L"LEXAR"), firmwareBegins(L"SN")},
     .unit = HOST_UNIT_32MB},
};

// No row for LITEON: all models that begin so speak Plextor's dialect and never get here.
constexpr VendorRule kUnknownModels[] = {
    {.name = "Unknown SSD: ADATA SP580",
     .when = {begins(L"ADATA SP580")},
     .dialect = &kGeneralSsd,
     .unit = HOST_UNIT_512B},
};

constexpr VendorRule kRules[] = {
    {.name = "SanDisk", .when = {contains(L"SanDisk|SD Ultra|SDLF1")}, .finer = kSanDiskModels},
    {.name = "WDC", .when = {begins(L"WDC |WD ")}, .finer = kWdcModels},
    {.name = "Seagate: ids of IronWolf",
     .when = {ids(kIronWolfIds)},
     .dialect = &kSeagateIronWolf,
     .unit = HOST_UNIT_GB},
    {.name = "Seagate", .when = {begins(L"Seagate|ZA")}, .unit = HOST_UNIT_GB, .finer = kSeagateModels},
    {.name = "Seagate: ST",
     .when = {begins(L"ST"), no(begins(L"STT"))},
     .unit = HOST_UNIT_GB,
     .finer = kSeagateModels},
    {.name = "Mtron: id 187 alone", .when = {ids(kMtronIds), record(hasOneAttribute)}, .dialect = &kMtron},
    {.name = "Mtron", .when = {begins(L"MTRON")}, .dialect = &kMtron},
    {.name = "Toshiba", .when = {upperContains(L"TOSHIBA")}, .finer = kToshibaModels},
    // SandForce drives whose list goes on with 177 behind these ids count as JMicron's as well.
    {.name = "JMicron 66x: ids 1 2 3 5 7 8 9 10 12 167 168 169 170 173 175",
     .when = {ids(kJMicron66xIds)},
     .dialect = &kJMicron66x},
    {.name = "JMicron 66x: ADATA SU700", .when = {begins(L"ADATA SU700")}, .dialect = &kJMicron66x},
    {.name = "JMicron 61x: ids 1 2 3 5 7 8 9 10 12 168 175 192 194",
     .when = {ids(kJMicron61xIds)},
     .dialect = &kJMicron61x},
    {.name = "Indilinx: ids 1 9 12 184 195 196",
     .when = {ids(kIndilinxIds)},
     .dialect = &kIndilinx,
     .set = &AtaSmartInfo::IsRawValues8},
    {.name = "JMicron 60x: ids 12 9 194 229 232 233",
     .when = {ids(kJMicron60xIds)},
     .dialect = &kJMicron60x,
     .set = &AtaSmartInfo::IsRawValues8},
    {.name = "Intel data centre: SSDSCKHB", .when = {contains(L"INTEL SSDSCKHB")}, .dialect = &kIntelDc},
    {.name = "Intel", .when = {upperContains(L"INTEL|SOLIDIGM")}, .dialect = &kIntel},
    {.name = "Intel: ids 3 4 5 9 12 192 225", .when = {ids(kIntel225Ids)}, .dialect = &kIntel},
    {.name = "Intel: ids 3 4 5 9 12 192 232 233", .when = {ids(kIntel232Ids)}, .dialect = &kIntel},
    {.name = "Intel: ids 3 4 5 9 12 170 171 172", .when = {ids(kIntel170Ids)}, .dialect = &kIntel},
    {.name = "Samsung: ids 5 9 12 170 171 172 173 174 178 180",
     .when = {ids(kSamsung170Ids)},
     .dialect = &kSamsung,
     .unit = HOST_UNIT_GB},
    {.name = "Samsung: ids 5 9 12 177 179 181 182", .when = {ids(kSamsung177Ids)}, .dialect = &kSamsung},
    {.name = "Samsung: ids 9 12 178 179 180", .when = {ids(kSamsungOld178Ids)}, .dialect = &kSamsung},
    {.name = "Samsung: ids 9 12 177 178 179 180 183", .when = {ids(kSamsungOld177Ids)}, .dialect = &kSamsung},
    {.name = "Samsung: ids 9 12 175 176 177 178 179 180",
     .when = {ids(kSamsungOld175Ids)},
     .dialect = &kSamsung},
    {.name = "Samsung", .when = {contains(L"SAMSUNG|MZ-")}, .dialect = &kSamsung},
    {.name = "Micron MU03: M600, M550, M510, M500, 1300, 1100, MTFDDA",
     .when = {upperBegins(L"MICRON_M600|MICRON M600|MICRON_M550|MICRON M550|MICRON_M510|MICRON M510|"
                          L"MICRON_M500|MICRON M500|MICRON_1300|MICRON 1300|MICRON_1100|MICRON 1100|MTFDDA")},
     .dialect = &kMicronMU03,
     .unit = HOST_UNIT_512B},
    {.name = "Micron MU03: M500, MX and BX",
     .when = {upperContains(
                  L"M500SSD|MX500SSD|BX500SSD|MX300SSD|BX300SSD|MX200SSD|BX200SSD|MX100SSD|BX100SSD"),
              no(firmwareContains(L"MU01"))},
     .dialect = &kMicronMU03,
     .unit = HOST_UNIT_32MB},
    {.name = "Micron MU03: MTFD",
     .when = {upperBegins(L"MTFD"), no(firmwareContains(L"MU01"))},
     .dialect = &kMicronMU03,
     .unit = HOST_UNIT_32MB},
    {.name = "Micron",
     .when = {upperBegins(L"P600|C600|M6-|M600|P500|M5-|M500|P400|C400|M4-|M400|P300|C300|M3-|M300|"
                          L"CRUCIAL|MICRON|MTFD")},
     .dialect = &kMicron},
    {.name = "Micron: C500, firmware without H",
     .when = {upperBegins(L"C500"), no(firmwareBegins(L"H"))},
     .dialect = &kMicron},
    {.name = "Micron: CT with SSD", .when = {upperBegins(L"CT"), upperContains(L"SSD")}, .dialect = &kMicron},
    {.name = "Micron: ids 1 5 9 12 170 171 172 173 174 181 183",
     .when = {ids(kMicronIds)},
     .dialect = &kMicron},
    {.name = "SandForce",
     .when = {contains(L"SandForce")},
     .dialect = &kSandForce,
     .set = &AtaSmartInfo::IsRawValues7},
    {.name = "SandForce: ids 1 5 9 12 13 100 170",
     .when = {ids(kSandForce13Ids)},
     .dialect = &kSandForce,
     .set = &AtaSmartInfo::IsRawValues7},
    {.name = "SandForce: ids 1 5 9 12 171 172",
     .when = {ids(kSandForce171Ids)},
     .dialect = &kSandForce,
     .set = &AtaSmartInfo::IsRawValues7},
    {.name = "OCZ: Trion", .when = {upperBegins(L"OCZ-TRION")}, .dialect = &kOcz},
    {.name = "OCZ: ids 1 3 4 5 9 12 232 233", .when = {upperBegins(L"OCZ"), ids(kOczIds)}, .dialect = &kOcz},
    {.name = "OCZ Vector", .when = {upperBegins(L"OCZ|PANASONIC RP-SSB")}, .dialect = &kOczVector},
    {.name = "OCZ Vector: ids 5 9 12 171 174 195 196 197 198",
     .when = {ids(kOczVectorIds)},
     .dialect = &kOczVector},
    {.name = "SSSTC", .when = {contains(L"CV8-|CVB-|ER2-")}, .dialect = &kSsstc},
    {.name = "Plextor: ids 1 5 9 12 177 178 181 182", .when = {ids(kPlextorIds)}, .dialect = &kPlextor},
    {.name = "Plextor",
     .when = {begins(L"PLEXTOR|LITEON|CV6-CQ|CSSD-S6T128NM3PQ|CSSD-S6T256NM3PQ")},
     .dialect = &kPlextor},
    {.name = "Kingston", .when = {contains(L"KINGSTON")}, .finer = kKingstonModels},
    {.name = "Corsair", .when = {begins(L"Corsair")}, .dialect = &kCorsair},
    {.name = "Realtek: ids 1 5 9 12 161 162 163 164 166 167",
     .when = {ids(kRealtekIds)},
     .dialect = &kRealtek,
     .unit = HOST_UNIT_GB},
    // Writes the unit of every drive that gets here; the rows below keep it unless they write their own.
    {.name = "SK hynix unit", .finer = kSKhynixUnits},
    {.name = "SK hynix", .when = {contains(L"SK hynix")}, .dialect = &kSKhynix},
    {.name = "SK hynix: HFS, SHG", .when = {begins(L"HFS|SHG")}, .dialect = &kSKhynix},
    {.name = "Kioxia", .when = {contains(L"KIOXIA")}, .dialect = &kKioxia, .unit = HOST_UNIT_32MB},
    {.name = "Silicon Motion: ids 1 5 9 12 160 161 163 164 165 166 167",
     .when = {ids(kSiliconMotion164Ids)},
     .dialect = &kSiliconMotion,
     .finer = kSiliconMotionLife},
    {.name = "Silicon Motion: ids 1 5 9 12 148 149 150 151 159 160 161",
     .when = {ids(kSiliconMotion159Ids)},
     .dialect = &kSiliconMotion,
     .finer = kSiliconMotionLife},
    {.name = "Silicon Motion: ids 1 5 9 12 160 161 163 148 149 150 151",
     .when = {ids(kSiliconMotion163Ids)},
     .dialect = &kSiliconMotion,
     .finer = kSiliconMotionLife},
    {.name = "Silicon Motion: TS with a signed block",
     .when = {begins(L"TS"), record(blockIsSigned)},
     .dialect = &kSiliconMotion,
     .finer = kSiliconMotionLife},
    {.name = "Silicon Motion: ADATA SX950",
     .when = {begins(L"ADATA SX950")},
     .dialect = &kSiliconMotion,
     .finer = kSiliconMotionLife},
    {.name = "Phison: ids 1 9 12 168 170 173 192 194 218 231 241",
     .when = {ids(kPhison194Ids)},
     .dialect = &kPhison,
     .set = &AtaSmartInfo::LifeIsRaw,
     .finer = kPhisonUnits},
    {.name = "Phison: ids 1 9 12 168 170 173 192 218 231 241",
     .when = {ids(kPhison218Ids)},
     .dialect = &kPhison,
     .set = &AtaSmartInfo::LifeIsRaw,
     .finer = kPhisonUnits},
    {.name = "Marvell: ids 5 9 12 161 164 165 166 167",
     .when = {ids(kMarvell161Ids), no(upperBegins(L"HANYE-Q55"))},
     .dialect = &kMarvell,
     .unit = HOST_UNIT_GB,
     .finer = kLexarUnit},
    {.name = "Marvell: ids 5 9 12 164 165 166 167",
     .when = {ids(kMarvell164Ids), no(upperBegins(L"HANYE-Q55"))},
     .dialect = &kMarvell,
     .unit = HOST_UNIT_GB,
     .finer = kLexarUnit},
    {.name = "Lexar unit", .finer = kLexarUnit}, // whatever becomes of the drive
    {.name = "Maxiotek", .when = {upperBegins(L"MAXIO")}, .dialect = &kMaxiotek, .unit = HOST_UNIT_GB},
    {.name = "Maxiotek: CUSO C5S-EVO",
     .when = {upperBegins(L"CUSO C5S-EVO")},
     .dialect = &kMaxiotek,
     .unit = HOST_UNIT_512B},
    {.name = "Maxiotek: HANYE-Q55 with ids 5 9 12 164 165 166 167",
     .when = {upperBegins(L"HANYE-Q55"), ids(kMarvell164Ids)},
     .dialect = &kMaxiotek},
    {.name = "Maxiotek: ids 5 9 12 167 168 169", .when = {ids(kMaxiotekIds)}, .dialect = &kMaxiotek},
    // ZADAK is Apacer's brand as well, but a model that begins so counts as Seagate's "ZA" series above.
    {.name = "Apacer",
     .when = {begins(L"Apacer")},
     .dialect = &kApacer,
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRaw},
    {.name = "Apacer: firmware AP, SF, PN",
     .when = {firmwareBegins(L"AP|SF|PN")},
     .dialect = &kApacer,
     .unit = HOST_UNIT_512B,
     .set = &AtaSmartInfo::LifeIsRaw},
    {.name = "YMTC: ZHITAI", .when = {contains(L"ZHITAI")}, .dialect = &kYmtc, .unit = HOST_UNIT_512B},
    {.name = "SCY", .when = {begins(L"SCY")}, .dialect = &kScy, .unit = HOST_UNIT_32MB},
    {.name = "Recadata", .when = {begins(L"RECADATA")}, .dialect = &kRecadata, .unit = HOST_UNIT_GB},
    {.name = "Unknown SSD", .dialect = &kGeneralSsd, .unit = HOST_UNIT_NONE, .finer = kUnknownModels},
};

} // namespace

constexpr Dialect kHardDisk = {VENDOR_GENERAL, L"Smart", L""};
constexpr Condition kSsdHints[3] = {
    begins(L"OCZ|SPCC|PATRIOT"),
    contains(L"Solid|SSD|SiliconHardDisk"),
    begins(L"PHOTOFAST|STT_FTM|Super Talent"),
};
constexpr RuleTable kVendorRules = kRules;

} // namespace orv
