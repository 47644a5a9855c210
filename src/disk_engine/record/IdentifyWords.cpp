#include "disk_engine/record/IdentifyWords.h"

#include "disk_engine/DiskTypes.h"
#include "disk_engine/WideText.h"

#include <fmt/xchar.h>

#include <algorithm>
#include <bit>

namespace orv {

namespace {

constexpr wchar_t kNotTold[] = L"----";
constexpr std::uint16_t kNotReported = 0xFFFF;

constexpr bool bit(std::uint32_t word, int number) {
    return (word >> number & 1) != 0;
}

/// Number of the highest set bit of a word that is not 0.
int highestBit(std::uint32_t word) {
    return std::bit_width(word) - 1;
}

struct MinorVersionRow {
    std::uint16_t word;
    const wchar_t* text;
};

/// Sorted by the word.
constexpr MinorVersionRow kMinorVersions[] = {
    {0, L"----"},
    {1, L"ATA (ATA-1) X3T9.2 781D prior to revision 4"},
    {2, L"ATA-1 published, ANSI X3.221-1994"},
    {3, L"ATA (ATA-1) X3T10 781D revision 4"},
    {4, L"ATA-2 published, ANSI X3.279-1996"},
    {5, L"ATA-2 X3T10 948D prior to revision 2k"},
    {6, L"ATA-3 X3T10 2008D revision 1"},
    {7, L"ATA-2 X3T10 948D revision 2k"},
    {8, L"ATA-3 X3T10 2008D revision 0"},
    {9, L"ATA-2 X3T10 948D revision 3"},
    {10, L"ATA-3 published, ANSI X3.298-199x"},
    {11, L"ATA-3 X3T10 2008D revision 6"},
    {12, L"ATA-3 X3T13 2008D revision 7 and 7a"},
    {13, L"ATA/ATAPI-4 X3T13 1153D version 6"},
    {14, L"ATA/ATAPI-4 T13 1153D version 13"},
    {15, L"ATA/ATAPI-4 X3T13 1153D version 7"},
    {16, L"ATA/ATAPI-4 T13 1153D version 18"},
    {17, L"ATA/ATAPI-4 T13 1153D version 15"},
    {18, L"ATA/ATAPI-4 published, ANSI INCITS 317-1998"},
    {19, L"ATA/ATAPI-5 T13 1321D version 3"},
    {20, L"ATA/ATAPI-4 T13 1153D version 14"},
    {21, L"ATA/ATAPI-5 T13 1321D version 1"},
    {22, L"ATA/ATAPI-5 published, ANSI INCITS 340-2000"},
    {23, L"ATA/ATAPI-4 T13 1153D version 17"},
    {24, L"ATA/ATAPI-6 T13 1410D version 0"},
    {25, L"ATA/ATAPI-6 T13 1410D version 3a"},
    {26, L"ATA/ATAPI-7 T13 1532D version 1"},
    {27, L"ATA/ATAPI-6 T13 1410D version 2"},
    {28, L"ATA/ATAPI-6 T13 1410D version 1"},
    {29, L"ATA/ATAPI-7 published ANSI INCITS 397-2005."},
    {30, L"ATA/ATAPI-7 T13 1532D version 0"},
    {31, L"ACS-3 Revision 3b"},
    {33, L"ATA/ATAPI-7 T13 1532D version 4a"},
    {34, L"ATA/ATAPI-6 published, ANSI INCITS 361-2002"},
    {39, L"ATA8-ACS version 3c"},
    {40, L"ATA8-ACS version 6"},
    {41, L"ATA8-ACS version 4"},
    {49, L"ACS-2 Revision 2"},
    {51, L"ATA8-ACS version 3e"},
    {57, L"ATA8-ACS version 4c"},
    {66, L"ATA8-ACS version 3f"},
    {82, L"ATA8-ACS version 3b"},
    {94, L"ACS-4 Revision 5"},
    {109, L"ACS-3 Revision 5"},
    {130, L"ACS-2 published, ANSI INCITS 482-2012"},
    {156, L"ACS-4 published, ANSI INCITS 529-2018"},
    {263, L"ATA8-ACS version 2d"},
    {266, L"ACS-3 published, ANSI INCITS 522-2014"},
    {272, L"ACS-2 Revision 3"},
    {283, L"ACS-3 Revision 4"},
    {65535, L"----"},
};

/// By the bit number in the low byte of word 88; the type is the number and 3.
constexpr const wchar_t* kUltraDma[] = {L"UDMA/16", L"UDMA/25",  L"UDMA/33", L"UDMA/44",
                                        L"UDMA/66", L"UDMA/100", L"UDMA/133"};
constexpr std::uint32_t kFirstUltraDmaType = 3;
constexpr std::uint32_t kPioOrDmaType = 2;
constexpr std::uint32_t kSata300Type = 11;

} // namespace

std::uint32_t GetAtaMajorVersion(std::uint16_t word80, std::wstring& majorVersion) {
    majorVersion.clear();
    if (word80 == 0 || word80 == kNotReported) return 0;
    const std::uint32_t versions = word80 & 0x7FFE; // bits 14 to 1
    if (versions == 0) {
        majorVersion = kNotTold;
        return 0;
    }
    const int major = highestBit(versions);
    if (major >= 9)
        majorVersion = fmt::format(L"ACS-{}", major - 7);
    else if (major == 8)
        majorVersion = L"ATA8-ACS";
    else if (major >= 4)
        majorVersion = fmt::format(L"ATA/ATAPI-{}", major);
    else
        majorVersion = fmt::format(L"ATA-{}", major);
    return static_cast<std::uint32_t>(major);
}

void GetAtaMinorVersion(std::uint16_t word81, std::wstring& minorVersion) {
    const auto* row = std::lower_bound(
        std::begin(kMinorVersions), std::end(kMinorVersions), word81,
        [](const MinorVersionRow& candidate, std::uint16_t word) { return candidate.word < word; });
    if (row != std::end(kMinorVersions) && row->word == word81)
        minorVersion = row->text;
    else
        minorVersion = fmt::format(L"---- [{:04X}h]", word81);
}

std::uint32_t GetTransferMode(std::uint16_t word63, std::uint16_t word76, std::uint16_t word77,
                              std::uint16_t word88, std::wstring& currentTransferMode,
                              std::wstring& maxTransferMode, std::wstring& interfaceText,
                              std::uint32_t& interfaceType) {
    currentTransferMode.clear();
    maxTransferMode.clear();
    interfaceText.clear();
    interfaceType = INTERFACE_TYPE_UNKNOWN;
    std::uint32_t type = 0;

    if ((word63 & 0x0700) != 0) {
        type = kPioOrDmaType;
        currentTransferMode = maxTransferMode = L"PIO/DMA";
    }
    if (const std::uint32_t supported = word88 & 0x7F; supported != 0) {
        interfaceText = L"Parallel ATA";
        interfaceType = INTERFACE_TYPE_PATA;
        const int best = highestBit(supported);
        maxTransferMode = kUltraDma[best];
        type = kFirstUltraDmaType + static_cast<std::uint32_t>(best);
    }
    if (const std::uint32_t selected = word88 >> 8 & 0x7F; selected != 0)
        currentTransferMode = kUltraDma[highestBit(selected)];

    if (word76 == kNotReported) {
        type = 0;
        currentTransferMode = maxTransferMode = kNotTold;
    } else if (word76 != 0) {
        currentTransferMode = maxTransferMode = L"SATA/150";
        interfaceText = L"Serial ATA";
        interfaceType = INTERFACE_TYPE_SATA;
        if (bit(word76, 4)) {
            type = 0;
            currentTransferMode = maxTransferMode = kNotTold;
        } else if ((word76 & 0x0E) != 0) {
            // Bits 1 to 3: generations 1 to 3.
            constexpr const wchar_t* speeds[] = {L"SATA/150", L"SATA/300", L"SATA/600"};
            const int generation = highestBit(word76 & 0x0E);
            type = static_cast<std::uint32_t>(generation) + 9;
            currentTransferMode = kNotTold;
            maxTransferMode = speeds[generation - 1];
        }
    }
    switch (word77 & 0x0E) {
    case 6:
        currentTransferMode = L"SATA/600";
        break;
    case 4:
        currentTransferMode = L"SATA/300";
        break;
    case 2:
        currentTransferMode = L"SATA/150";
        break;
    default:
        break;
    }
    return type;
}

std::uint32_t GetTimeUnitType(const std::wstring& model, const std::wstring& firmwareRev, std::uint32_t major,
                              std::uint32_t transferModeType) {
    const std::wstring upper = Upper(model);
    const auto begins = [&](std::wstring_view head) { return Begins(upper, head); };
    const bool serialAta300 = transferModeType >= kSata300Type;

    if (begins(L"FUJITSU")) return major >= 8 ? TIME_UNIT_HOURS : TIME_UNIT_SECONDS;
    if (begins(L"HITACHI_DK")) return TIME_UNIT_MINUTES;
    if (begins(L"MAXTOR")) {
        if (serialAta300 || begins(L"MAXTOR 6H") || begins(L"MAXTOR 7H500") || begins(L"MAXTOR 6L0") ||
            begins(L"MAXTOR 4K"))
            return TIME_UNIT_HOURS;
        return TIME_UNIT_MINUTES;
    }
    if (begins(L"SAMSUNG")) {
        if (serialAta300) return TIME_UNIT_HOURS;
        const int revision = ToInteger(Right(firmwareRev, 3)); // "100-39" to "100-23"
        if (revision >= -39 && revision <= -23) return TIME_UNIT_HALF_MINUTES;
        if (begins(L"SAMSUNG SV") || begins(L"SAMSUNG SP") || begins(L"SAMSUNG HM") || begins(L"SAMSUNG MP"))
            return TIME_UNIT_HALF_MINUTES;
        return TIME_UNIT_HOURS;
    }
    constexpr double firstWithHours = 1.059;
    if ((begins(L"CFD_CSSD-S6TM128NMPQ") || begins(L"CFD_CSSD-S6TM256NMPQ")) &&
        (Begins(firmwareRev, L"VM21") || Begins(firmwareRev, L"VN21")))
        return TIME_UNIT_10_MINUTES;
    if ((Contains(upper, L"PX-128M2P") || Contains(upper, L"PX-256M2P")) &&
        ToDecimal(firmwareRev) < firstWithHours)
        return TIME_UNIT_10_MINUTES;
    if (begins(L"CORSAIR PERFORMANCE PRO") && ToDecimal(firmwareRev) < firstWithHours)
        return TIME_UNIT_10_MINUTES;
    if ((begins(L"INTEL SSDSC2CW") || begins(L"INTEL SSDSC2BW") || begins(L"INTEL SSDSC2CT")) &&
        ContainsAfterStart(upper, L"A3"))
        return TIME_UNIT_INTEL;
    return TIME_UNIT_HOURS;
}

} // namespace orv
