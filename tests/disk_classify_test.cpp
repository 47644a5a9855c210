#include "disk_engine/Interpretation.h"
#include "disk_engine/VendorRules.h"
#include "disk_engine/WideText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace orv {
namespace {

using Ids = std::vector<std::uint8_t>;

struct Case {
    std::string row;
    const wchar_t *models, *firmware; ///< with '|' between models
    Ids ids;
    std::string outcome; ///< id, key, code ("-": empty), unit, flags
};

/// The firmware's first letters sign the attribute block as well.
AtaSmartInfo drive(std::wstring model, std::wstring firmware = L"1.0", const Ids& ids = {}, BOOL ssd = 1) {
    AtaSmartInfo asi;
    asi.Model = std::move(model);
    asi.FirmwareRev = std::move(firmware);
    asi.IsSsd = ssd;
    asi.AttributeCount = static_cast<std::uint32_t>(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i)
        asi.Attribute[i].Id = ids[i];
    std::copy_n(asi.FirmwareRev.begin(), std::min<std::size_t>(2, asi.FirmwareRev.size()),
                asi.SmartReadData + 400);
    return asi;
}

std::string narrow(const std::wstring& text) {
    return text.empty() ? "-" : std::string(text.begin(), text.end());
}

std::string outcome(const AtaSmartInfo& asi) {
    const char* units[] = {"none", "512B", "1MB", "16MB", "32MB", "GB"};
    std::string text = std::to_string(asi.DiskVendorId) + " " + narrow(asi.SmartKeyName) + " " +
                       narrow(asi.SsdVendorString) + " " + units[asi.HostReadsWritesUnit];
    // clang-format off
    const std::pair<const char*, BOOL> flags[] = {
        {" Raw", asi.LifeIsRaw}, {" RawInverted", asi.LifeIsRawInverted}, {" Hidden", asi.LifeHidden}, {" RawHundredths", asi.LifeIsRawHundredths},
        {" RawHighByte", asi.LifeIsRawHighByte}, {" Current", asi.LifeIsCurrent}, {" Values7", asi.IsRawValues7}, {" Values8", asi.IsRawValues8}};
    // clang-format on
    for (const auto& [name, set] : flags)
        text += set ? name : "";
    return text;
}

std::string rowOf(AtaSmartInfo asi) {
    Explanation why;
    ClassifyDrive(asi, &why);
    return why.dialect;
}

// Rows whose order, position, letter case or condition is not seen in the table of the rules, and drives
// between two rows. A list of ids is no longer than the row's.
// clang-format off
const Case kDrives[] = {
    {"SanDisk: X600 2280, X400, X300, X110, SD5, id 175 third or fourth", L"SanDisk X400|SanDisk X600 2280", L"X2", {5, 9, 12, 175}, "13 SmartSanDiskDell sd 512B RawHighByte"},
    {"SanDisk: 1006 with 8U", L"SanDisk SD8TB8U256G1006", L"X2180006", {}, "45 SmartSanDiskHpVenus - 16MB"},
    {"SanDisk: 1006", L"SanDisk SD7TB3Q256G1006|8U SanDisk 1006|SanDisk 1006 G1001", L"X2180006", {}, "44 SmartSanDiskHp - 16MB"},
    {"SanDisk: G1001 with 6S, 7S or 8U", L"SanDisk SD8SN8U256G1001|SanDisk SD6SB1M256G1001", L"X4", {}, "47 SmartSanDiskLenovoHelenVenus - GB Current"},
    {"Seagate: ids of IronWolf", L"Seagate BarraCuda SSD", L"SU3SC011", {1, 5, 9, 12, 100, 102, 103, 170, 171, 172, 173, 174, 177, 183, 187}, "10 SmartSeagateIronWolf st GB"},
    {"Seagate: BarraCuda", L"Seagate BarraCuda 120 SSD ZA500CM10003", L"STAS1024", {}, "10 SmartSeagateBarraCuda st GB Raw"},
    {"Mtron: id 187 alone", L"Drive", L"0.18", {187}, "2 SmartMtron mt none"},
    {"JMicron 66x: ids 1 2 3 5 7 8 9 10 12 167 168 169 170 173 175", L"Drive|SandForce", L"1", {1, 2, 3, 5, 7, 8, 9, 10, 12, 167, 168, 169, 170, 173, 175}, "4 SmartJMicron66x jm none"},
    {"Intel data centre: SSDSCKHB", L"INTEL SSDSCKHB080G4", L"G2010140", {}, "24 SmartIntelDc id none"},
    {"Intel", L"INTEL SSDSC2BW240A4|Solidigm SSDSC2KB|intel ssdsckhb", L"1", {5, 9, 12, 177, 179, 181, 182}, "5 SmartIntel il none"},
    {"Samsung: ids 5 9 12 177 179 181 182", L"Samsung SSD 860 EVO 500GB|CT500MX500SSD1", L"M3CR", {5, 9, 12, 177, 179, 181, 182}, "6 SmartSamsung sg none"},
    {"Micron MU03: M500, MX and BX", L"CT500MX500SSD1|ct240bx500ssd1", L"mu01", {}, "18 SmartMicronMU03 m3 32MB"},
    {"Micron", L"MTFDHAK256", L"xMU01", {}, "8 SmartMicron mi none"},
    {"Micron: C500, firmware without H", L"C500-DRIVE", L"0H", {}, "8 SmartMicron mi none"},
    {"Micron: CT with SSD", L"CT500MX500SSD1", L"MU01", {}, "8 SmartMicron mi none"},
    {"SandForce: ids 1 5 9 12 171 172", L"KINGSTON SV300S37A", L"521A", {1, 5, 9, 12, 171, 172}, "7 SmartSandForce sf none Values7"},
    {"OCZ Vector", L"OCZ-PETROL", L"1", {1, 3, 4, 5, 9, 12, 232}, "14 SmartOczVector oz none"},
    {"Plextor", L"PLEXTOR PX-256M5Pro|CSSD-S6T256NM3PQ|LITEON S960|LITEON IT LMT-128M6M", L"1.07", {}, "12 SmartPlextor px none"},
    {"Kingston: SA400", L"KINGSTON SA400S37240G", L"SBFKB1D1", {}, "17 SmartKingstonSA400 ki GB Raw"},
    {"SK hynix: HFS, SHG", L"HFS256G39TND-N210A|HFS256G39MND", L"30001P10", {}, "21 SmartSKhynix sk GB RawInverted"},
    {"SK hynix: HFS, SHG", L"HFS512G32TNF-N2A0A", L"80001P00", {}, "21 SmartSKhynix sk GB Raw"},
    {"Silicon Motion: ids 1 5 9 12 160 161 163 148 149 150 151", L"tecmiyo", L"1", {1, 5, 9, 12, 160, 161, 163, 148, 149, 150, 151}, "26 SmartSiliconMotion sm GB"},
    {"Silicon Motion: ids 1 5 9 12 160 161 163 148 149 150 151", L"A SSD", L"FW", {1, 5, 9, 12, 160, 161, 163, 148, 149, 150, 151}, "26 SmartSiliconMotion sm GB Raw"},
    {"Phison: ids 1 9 12 168 170 173 192 194 218 231 241", L"Drive", L"S9FM02.1", {1, 9, 12, 168, 170, 173, 192, 194, 218, 231, 241}, "27 SmartPhison ph 1MB Raw"},
    {"Maxiotek: HANYE-Q55 with ids 5 9 12 164 165 166 167", L"Hanye-Q55-256G", L"1", {5, 9, 12, 164, 165, 166, 167}, "29 SmartMaxiotek mk GB"},
    {"Maxiotek: ids 5 9 12 167 168 169", L"lexar", L"SN1", {5, 9, 12, 167, 168, 169}, "29 SmartMaxiotek mk 32MB"},
    {"Unknown SSD", L"SSD|sandisk WDC WD SSD|WDCX SSD|STT_FTM28GX25H|Samsung SSD 860 EVO|KINGSTON SV300|LEXAR", L"SN1", {}, "1 SmartSsd - none"},
    {"Unknown SSD", L"C500 DRIVE", L"H", {}, "1 SmartSsd - none"},
    {"Unknown SSD", L"SSD HFS TND", L"1", {}, "1 SmartSsd - none RawInverted"},
    {"Unknown SSD", L"HANYE-Q55", L"1", {5, 9, 12, 161, 164, 165, 166, 167}, "1 SmartSsd - none"},
    {"Unknown SSD", L"A TS SSD", L"TS", {}, "1 SmartSsd - none"},
    {"Silicon Motion: TS with a signed block", L"TS256GSSD370", L"SM", {}, "26 SmartSiliconMotion sm GB Raw"},
};
// clang-format on

// A row by ids needs each of them at its place, and nothing of what follows.
void expectExactIds(const Case& each, const std::wstring& model) {
    Ids ids = each.ids;
    ids.push_back(250);
    EXPECT_EQ(each.row, rowOf(drive(model, each.firmware, ids)));
    for (std::size_t i = 0; i < each.ids.size(); ++i) {
        ids = each.ids;
        ids[i] = 250;
        EXPECT_NE(each.row, rowOf(drive(model, each.firmware, ids))) << i;
    }
}

TEST(ClassifyDrive, TheOrderOfTheRowsDecides) {
    for (const Case& each : kDrives) {
        int at = 0;
        for (auto model = Tokenize(each.models, L"|", at); !model.empty();
             model = Tokenize(each.models, L"|", at)) {
            SCOPED_TRACE(each.row + narrow(model));
            AtaSmartInfo asi = drive(model, each.firmware, each.ids);
            EXPECT_EQ(each.row, rowOf(asi));
            ClassifyDrive(asi);
            EXPECT_EQ(each.outcome, outcome(asi));
            if (each.row.find("ids ") != each.row.npos) expectExactIds(each, model);
        }
    }
}

TEST(ClassifyDrive, OnlyAnSsdIsAskedForItsDialect) {
    const Ids samsung = {5, 9, 12, 177, 179, 181, 182};
    for (const wchar_t* model : {L"SAMSUNG HD204UI", L"ssd", L"A PATRIOT", L"STT", L""})
        EXPECT_EQ(kHardDiskRule, rowOf(drive(model, L"SF", samsung, 0)));
    for (const wchar_t* model : {L"OCZ", L"A SSD", L"My SiliconHardDisk", L"STT_FTM28"}) {
        AtaSmartInfo asi = drive(model, L"1", samsung, 0);
        ClassifyDrive(asi);
        EXPECT_EQ(1, asi.IsSsd);
        EXPECT_EQ("6 SmartSamsung sg none", outcome(asi)) << narrow(model);
    }
}

// A record that is classified twice, as after enabling SMART: what no row writes stays.
TEST(ClassifyDrive, SecondClassificationOfARecord) {
    AtaSmartInfo asi = drive(L"Drive", L"1", {5, 9, 12, 170, 171, 172, 173, 174, 178, 180});
    const auto again = [&](const Ids& ids) {
        for (std::size_t i = 0; i < kSmartEntries; ++i)
            asi.Attribute[i].Id = i < ids.size() ? ids[i] : 0;
        ClassifyDrive(asi);
        return outcome(asi);
    };
    ClassifyDrive(asi);
    EXPECT_EQ("6 SmartSamsung sg GB", outcome(asi));
    EXPECT_EQ("6 SmartSamsung sg GB", again({5, 9, 12, 177, 179, 181, 182}));
    EXPECT_EQ("4 SmartJMicron60x jm GB Values8", again({12, 9, 194, 229, 232, 233}));
    EXPECT_EQ("1 SmartSsd - none Values8", again({}));
}

TEST(ClassifyDrive, AttributesAreInterpretedWhereTheDialectIsKnown) {
    AtaSmartInfo plextor = drive(L"PLEXTOR PX-256M5Pro", L"1", {232}); // which is its life
    plextor.Attribute[0].CurrentValue = 93;
    ClassifyDrive(plextor);
    EXPECT_EQ(93, plextor.Life);
}

} // namespace
} // namespace orv
