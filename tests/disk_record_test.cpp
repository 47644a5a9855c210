#include "disk_engine/WideText.h"
#include "disk_engine/dialects/Interpretation.h"
#include "disk_engine/dialects/VendorRules.h"
#include "disk_engine/record/DriveRecord.h"
#include "disk_engine/record/IdentifyWords.h"
#include "frame/EncodedText.h"
#include "support/DescribedDrives.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace orv::test {
namespace {

TEST(IdentifyWords, Versions) {
    std::wstring texts, version = L"before";
    for (const std::uint16_t word : {0, 0xFFFF, 0x8001, 0x01F0, 0x4000})
        texts += std::to_wstring(GetAtaMajorVersion(word, version)) + version + L"|";
    for (const std::uint16_t word : {0, 32, 283, 0xFFFF}) {
        GetAtaMinorVersion(word, version);
        texts += L"|" + version;
    }
    EXPECT_EQ(L"0|0|0----|8ATA8-ACS|14ACS-7||----|---- [0020h]|ACS-3 Revision 4|----", texts);
}

TEST(IdentifyWords, TransferModes) {
    // Words 63, 76, 77 and 88; type, current and highest mode, text and type of the interface.
    using Answer = std::tuple<std::uint32_t, std::wstring, std::wstring, std::wstring, std::uint32_t>;
    const std::pair<std::array<std::uint16_t, 4>, Answer> rows[] = {
        {{0x0407, 0, 0, 0}, {2, L"PIO/DMA", L"PIO/DMA", L"", 0}},
        {{0, 0, 0, 0x017F}, {9, L"UDMA/16", L"UDMA/133", L"Parallel ATA", 1}},
        {{0x0007, 0x0006, 0, 0x007F}, {11, L"----", L"SATA/300", L"Serial ATA", 2}},
        {{0, 0x001E, 0x0004, 0}, {0, L"SATA/300", L"----", L"Serial ATA", 2}},
        {{0, 0x0002, 0x0002, 0}, {10, L"SATA/150", L"SATA/150", L"Serial ATA", 2}},
        {{0, 0xFFFF, 0, 0x407F}, {0, L"----", L"----", L"Parallel ATA", 1}},
    };
    for (const auto& [words, answer] : rows) {
        auto [type, current, max, text, interfaceType] = Answer{99, L"x", L"x", L"x", 99};
        type = GetTransferMode(words[0], words[1], words[2], words[3], current, max, text, interfaceType);
        EXPECT_EQ(answer, Answer(type, current, max, text, interfaceType))
            << std::hex << words[1] << " " << words[3];
    }
}

TEST(IdentifyWords, UnitOfThePowerOnCounter) {
    const std::tuple<const wchar_t*, const wchar_t*, unsigned, unsigned, unsigned> rows[] = {
        {L"Fujitsu MHV2080", L"", 7, 9, TIME_UNIT_SECONDS},
        {L"SAMSUNG HD103SJ", L"1AJ100-23", 8, 11, TIME_UNIT_HOURS},
        {L"SAMSUNG HD160JJ", L"ZM100-33", 7, 10, TIME_UNIT_HALF_MINUTES},
        {L"SAMSUNG HD160JJ", L"ZM100-41", 7, 10, TIME_UNIT_HOURS},
        {L"Maxtor 6E040L0", L"NAR6", 7, 9, TIME_UNIT_MINUTES},
        {L"MAXTOR 4K080H4", L"A08", 5, 8, TIME_UNIT_HOURS},
        {L"CFD_CSSD-S6TM256NMPQ", L"VN21", 8, 12, TIME_UNIT_10_MINUTES},
        {L"Corsair Performance Pro", L"1.058", 8, 12, TIME_UNIT_10_MINUTES},
        {L"PLEXTOR PX-128M2P", L"1.05", 8, 12, TIME_UNIT_10_MINUTES},
        {L"INTEL SSDSC2CW120A3", L"400i", 8, 12, TIME_UNIT_INTEL},
    };
    for (const auto& [model, firmware, major, transfer, unit] : rows)
        EXPECT_EQ(unit, GetTimeUnitType(model, firmware, major, transfer))
            << EncodedText(model).narrow << " " << EncodedText(firmware).narrow;
    for (const wchar_t* family : {L"SAMSUNG SV", L"SAMSUNG SP", L"SAMSUNG HM", L"SAMSUNG MP"})
        EXPECT_EQ(TIME_UNIT_HALF_MINUTES, GetTimeUnitType(family, L"UA100-07", 7, 9))
            << EncodedText(family).narrow;
}

/// A record of a block, as far as no SMART is needed.
AtaSmartInfo recordOf(AtaBlock& block, std::uint32_t commandType = CMD_TYPE_PHYSICAL_DRIVE) {
    AtaSmartInfo asi = startRecord({.commandType = commandType, .pnpDeviceId = L"IDE\\DISK"});
    EXPECT_TRUE(readIdentifyTexts(asi, block));
    interpretIdentify(asi, block);
    return asi;
}

TEST(AtaRecord, AHardDiskOfATerabyte) {
    // clang-format off
    const IdentifyWords words = {
        {1, 16383}, {3, 16}, {6, 63}, {21, 0x4000}, {60, 0xFFFF}, {61, 0x0FFF}, {63, 0x0007}, {76, 0x850E}, {77, 0x0006}, {78, 0x0100}, {80, 0x03FE}, {81, 0x006D}, {82, 0x0001},
        {83, 0x0408}, {84, 0x0030}, {86, 0x0008}, {88, 0x407F}, {100, 0x6DB0}, {101, 0x7470}, {106, 0x6003}, {168, 0x0002}, {217, 0x1C20}};
    // clang-format on
    AtaBlock block = identifyOf(words, "WDC WD10EZEX-08WN4A0", "01.01A01", "WD-WCC6Y1ABCDEF");
    const AtaSmartInfo asi = recordOf(block);
    EXPECT_THAT((std::array{asi.Model, asi.ModelReverse, asi.SerialNumber, asi.FirmwareRev, asi.ModelSerial,
                            asi.CommandTypeString, asi.MajorVersion, asi.MinorVersion,
                            asi.CurrentTransferMode, asi.DeviceNominalFormFactor}),
                ElementsAre(L"WDC WD10EZEX-08WN4A0", L"DW CDW01ZEXE0-W84N0A", L"WD-WCC6Y1ABCDEF", L"01.01A01",
                            L"WDC WD10EZEX-08WN4A0WD-WCC6Y1ABCDEF", L"pd1", L"ACS-2", L"ACS-3 Revision 5",
                            L"SATA/600", L"3.5 inch"));
    // 28 bits say no more than that they are full.
    EXPECT_THAT((std::array{asi.NominalMediaRotationRate, asi.BufferSize, asi.LogicalSectorSize,
                            asi.PhysicalSectorSize, asi.DiskSizeLba28, asi.DiskSizeLba48, asi.TotalDiskSize}),
                ElementsAre(7200, 0x4000 * 512, 512, 4096, 137'438 - 49, 1'000'204 - 49, 1'000'204 - 49));
    EXPECT_EQ(0x74706DB0u, asi.NumberOfSectors);
    EXPECT_THAT((std::array{asi.IsCheckSumError, asi.IsSsd, asi.IsSmartSupported, asi.IsLba48Supported,
                            asi.IsApmSupported, asi.IsApmEnabled, asi.IsAamSupported, asi.IsNcqSupported,
                            asi.IsTrimSupported, asi.IsStreamingSupported, asi.IsGplSupported,
                            asi.IsDeviceSleepSupported, asi.IsIdInfoIncorrect}),
                ElementsAre(0, 0, 1, 1, 1, 1, 0, 1, 0, 1, 1, 1, 0));
    EXPECT_EQ(0, std::memcmp(block.data(), asi.Identify, block.size()));
}

TEST(AtaRecord, FeaturesCountFromTheirVersionOn) {
    const auto flags = [](std::uint16_t word80) {
        AtaBlock block = identifyOf(
            {{76, 256}, {80, word80}, {82, 1}, {83, 0x608}, {86, 0x208}, {169, 1}, {214, 1}, {217, 1}});
        const AtaSmartInfo asi = recordOf(block);
        return asi.IsSmartSupported + asi.IsApmEnabled + asi.IsAamEnabled + asi.IsLba48Supported +
               asi.IsNcqSupported + asi.IsNvCacheSupported + asi.IsTrimSupported + asi.IsSsd;
    };
    EXPECT_THAT((std::array{flags(1 << 2), flags(1 << 3), flags(1 << 5), flags(1 << 6), flags(1 << 7)}),
                ElementsAre(0, 2, 4, 5, 8));
}

TEST(AtaRecord, SizesAndSectors) {
    // Sizes by geometry, 28 bits, 48 bits and in total; logical and physical sectors.
    const std::pair<IdentifyWords, std::array<unsigned, 6>> rows[] = {
        // 16383/16/63 sectors are 8455 MB; nothing else is told.
        {{{1, 0x3FFF}, {3, 16}, {6, 63}}, {8455 - 49, 0, 0, 8406, 512, 512}},
        // Below 50,000,000 bytes a count is not believed.
        {{{60, 97656}, {61, 0}}, {0, 0, 0, 0, 512, 512}},
        {{{60, 0x7D79}, {61, 1}}, {0, 50 - 49, 0, 1, 512, 512}},
        // 28 bits below full: a 48-bit size that differs is dropped, after it gave the total.
        {{{60, 0x0000}, {61, 0x0100}, {101, 0x0200}}, {0, 8540, 0, 17130, 512, 512}},
        // Above what 28 bits can say: the platform has to tell.
        {{{60, 0x0000}, {61, 0x1000}, {101, 0x2000}}, {0, 0, 274828, 0, 512, 512}},
        // 4096-byte sectors.
        {{{60, 0}, {61, 256}, {101, 4096}, {106, 0x5000}, {117, 2048}}, {0, 8540, 0, 1099462, 4096, 4096}},
    };
    for (const auto& [told, sizes] : rows) {
        IdentifyWords words = told;
        words.insert(words.end(), {{80, 0x80}, {83, 0x0400}}); // 48 bits are supported
        AtaBlock block = identifyOf(words);
        const AtaSmartInfo asi = recordOf(block);
        EXPECT_EQ(sizes, (std::array{asi.DiskSizeChs, asi.DiskSizeLba28, asi.DiskSizeLba48, asi.TotalDiskSize,
                                     asi.LogicalSectorSize, asi.PhysicalSectorSize}));
    }
}

TEST(AtaRecord, BlocksThatLie) {
    AtaBlock block = identifyOf({{1, 0xFFFF}, {3, 0xFFFF}, {6, 0xFFFF}});
    AtaSmartInfo asi = recordOf(block);
    EXPECT_EQ(1, asi.IsIdInfoIncorrect);
    EXPECT_EQ(0x3F, block[3]) << "the cut stays in the block";
    EXPECT_THAT((std::array{asi.Cylinder, asi.Head, asi.Sector}), ElementsAre(0x3FFFu, 16u, 63u));

    block = identifyOf({}, "Ab\x01\x02x");
    block[511] ^= 1;
    EXPECT_TRUE(readIdentifyTexts(asi, block));
    EXPECT_EQ(1, asi.IsCheckSumError);
    // The swapped pair has its second byte first: that one becomes a blank.
    EXPECT_EQ(std::wstring(L"Ab\x01 x"), asi.Model);
    block = identifyOf({}, "MAXTOR 6E040L0");
    EXPECT_EQ(1, recordOf(block).IsMaxtorMinute);
    block.fill(0xFF);
    EXPECT_TRUE(readIdentifyTexts(asi, block));
    interpretIdentify(asi, block);
    EXPECT_EQ(0u, asi.TotalDiskSize);
    EXPECT_EQ(L"a\u00E9b", modelSerialOf(L"a\\/:*?", L"\u00E9\"<>|b"));
}

TEST(AtaRecord, TheEndOfARecord) {
    AtaSmartInfo asi;
    asi.Model = L"Intel SSD";
    asi.IsSmartCorrect = 1;
    asi.PowerOnRawValue = asi.DetectedPowerOnHours = asi.MeasuredPowerOnHours = 894804;
    asi.Temperature = 30;
    finishRecord(asi);
    EXPECT_THAT((std::array{asi.MeasuredPowerOnHours, asi.PowerOnStartRawValue, asi.Temperature}),
                ElementsAre(1, 894804, 30));
    asi.IsSmartCorrect = 0;
    asi.PowerOnCount = 7;
    finishRecord(asi);
    EXPECT_THAT((std::array{asi.DetectedPowerOnHours, asi.MeasuredPowerOnHours, asi.PowerOnRawValue,
                            asi.PowerOnStartRawValue, static_cast<int>(asi.PowerOnCount), asi.Temperature}),
                ElementsAre(-1, -1, -1, -1, 0, -1000));
    const std::tuple<DiskVendor, const wchar_t*, const wchar_t*, BOOL> thresholds[] = {
        {VENDOR_SANDFORCE, L"OCZ-VERTEX3 MI", L"2.02", 1}, {VENDOR_SANDFORCE, L"OCZ-VERTEX3", L"2.15", 0},
        {VENDOR_GENERAL_SSD, L"OCZ-VERTEX3", L"2.02", 0},  {VENDOR_SANDFORCE, L"OCZ-VERTEX2", L"1.27", 1},
        {VENDOR_SANDFORCE, L"OCZ-VERTEX2", L"2.02", 0},
    };
    for (const auto& [vendor, model, firmware, wrong] : thresholds) {
        AtaSmartInfo drive;
        drive.DiskVendorId = vendor;
        drive.Model = model;
        drive.FirmwareRev = firmware;
        finishRecord(drive);
        EXPECT_EQ(wrong, drive.IsThresholdBug) << EncodedText(model).narrow << vendor;
    }
}

TEST(NvmeRecord, IdentifyAndHealthPage) {
    NvmeBlock block{};
    putText(block, 4, 20, " S1234");
    putText(block, 24, 40, "ACME NV: 1TB");
    putText(block, 64, 8, "2B4QFXO7");
    block[81] = 4;
    block[82] = 1;
    AtaSmartInfo asi = startRecord({.physicalDriveId = 2, .commandType = CMD_TYPE_NVME_STORAGE_QUERY});
    ASSERT_TRUE(readNvmeIdentify(asi, block, 1000204));
    // Trimmed at its end only.
    EXPECT_THAT((std::array{asi.Model, asi.SerialNumber, asi.ModelSerial, asi.CommandTypeString}),
                ElementsAre(L"ACME NV: 1TB", L" S1234", L"ACME NV 1TB S1234", L"sq"));
    std::array<std::uint8_t, kSmartBytes> page{1, (273 + 41) & 0xFF, (273 + 41) >> 8, 97, 10, 3};
    putLittleEndian(page, 32, std::uint64_t{2097152 * 5});
    putLittleEndian(page, 48, ~std::uint64_t{0});
    putLittleEndian(page, 112, std::uint32_t{321});
    putLittleEndian(page, 128, std::uint32_t{4567});
    putLittleEndian(page, 176, std::uint64_t{0x060504030201});
    std::copy(page.begin(), page.end(), asi.SmartReadData);
    interpretNvmeHealth(asi, kHottestNewNvme);
    EXPECT_THAT((std::array{asi.Temperature, asi.Life, asi.HostReads, asi.HostWrites,
                            static_cast<int>(asi.PowerOnCount), asi.MeasuredPowerOnHours}),
                ElementsAre(41, 97, 5000, 2147483647, 321, 4567));
    EXPECT_EQ(L"NVM Express 1.4", asi.MajorVersion);
    ASSERT_EQ(15u, asi.AttributeCount);
    EXPECT_EQ(0x060504030201u, asi.Attribute[14].raw());
}

TEST(DiskEngine, ASystemOfUnknownVersionGetsNoPassThrough) {
    TestMachine machine(R"({"name": "x"})");
    machine->requests().plan({"osVersion", 0, 50, 0});
    const CAtaSmart blind;
    EXPECT_EQ(0, blind.FlagStorageQuery + blind.FlagAtaPassThrough + blind.FlagAtaPassThroughSmart);
    machine->requests().clearFaults();
    EXPECT_TRUE(PlatformVersionTest(11, 0, 19045));
    EXPECT_FALSE(PlatformVersionTest(10, 0, 19046));
}

TEST(DiskEngine, TheTraceIsWrittenBesideTheMainModuleWhereItsModeSaysSo) {
    for (const DebugMode mode : {DebugMode::off, DebugMode::file, DebugMode::fileAndMessage}) {
        TestMachine machine(R"({"name": "x"})"); // whose main module is "described-machine"
        setDebugMode(mode);
        DebugPrint(L"first");
        machine->clock().sleepNs(12'345'678);
        DebugPrint(L"\u00E9");
        std::ifstream file("described-machine.log", std::ios::binary);
        const std::string written(std::istreambuf_iterator<char>(file), {});
        file.close();
        std::filesystem::remove("described-machine.log");
        EXPECT_EQ(mode == DebugMode::off ? "" : "00000000 first\n00000012 \xC3\xA9\n", written);
        EXPECT_EQ(mode == DebugMode::fileAndMessage ? 1 : 0,
                  std::ranges::count(machine->requests().record(), "showMessage Message: first"));
    }
}

TEST(DiskEngine, TheJMicronMutexHasThreeWaysAndTracesItsFailures) {
    TestMachine machine(R"({"name": "x"})");
    machine->requests().plan({"CreateMutexForEveryone", 1, 5, 0});
    machine->requests().plan({"OpenMutexW", 1, 2, 0});
    std::vector<std::wstring> trace;
    setDebugListener([&](std::wstring_view text) { trace.emplace_back(text); });
    {
        CAtaSmart engine;
        engine.AcquireMutexJMicron();
        engine.ReleaseMutexJMicron();
        EXPECT_TRUE(trace.empty());
        engine.ReleaseMutexJMicron();
        machine->requests().plan({"WaitForSingleObject", 0, 5, 0});
        engine.AcquireMutexJMicron();
    }
    EXPECT_THAT(trace, ElementsAre(L"ReleaseMutexJMicron() failed", L"AcquireMutexJMicron() failed"));
    EXPECT_THAT(machine->requests().record(),
                ::testing::IsSupersetOf({"OpenMutexW Global\\Access_JMicron_SMART",
                                         "CreateMutexForEveryone Access_JMicron_SMART",
                                         "CloseHandle Access_JMicron_SMART"}));
}

// ---- Dialects

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
} // namespace orv::test
