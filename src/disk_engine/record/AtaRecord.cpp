#include "disk_engine/CommandPath.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/WideText.h"
#include "disk_engine/record/DriveRecord.h"
#include "disk_engine/record/IdentifyWords.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace orv {

namespace {

// Places of the texts in the block, bytes.
constexpr std::size_t kSerialAt = 20;
constexpr std::size_t kSerialLength = 20;
constexpr std::size_t kFirmwareAt = 46;
constexpr std::size_t kFirmwareLength = 8;
constexpr std::size_t kModelAt = 54;
constexpr std::size_t kModelLength = 40;
constexpr std::size_t kAmdLinkAt = 352; // word 176: text of the AMD RAID library

constexpr std::uint64_t kKilo = 1000;                   // a megabyte is 1000 × 1000 bytes
constexpr std::uint64_t kLeastBytes = 50'000'000;       // below, the count is not believed
constexpr std::uint64_t kLargeChsBytes = 1'001'000'000; // from here on 49 MB are taken off, as of LBA sizes
constexpr std::uint32_t kHiddenMegabytes = 49;
constexpr std::uint32_t kSectorBytes = 512;
constexpr std::uint32_t kLba28Full = 0x0FFFFFFF; // the count of a drive that is larger than 28 bits can say
constexpr std::uint32_t k9126MBSectors = 0x01100003;
constexpr std::int32_t kIntelHours = 894803; // 0xDA753, where that maker's counter starts

std::uint32_t word(IdentifyBlock block, std::size_t number) {
    return block[number * 2] | static_cast<std::uint32_t>(block[number * 2 + 1]) << 8;
}
std::uint32_t dword(IdentifyBlock block, std::size_t number) {
    return word(block, number) | word(block, number + 1) << 16;
}
void setWord(IdentifyBlock block, std::size_t number, std::uint32_t value) {
    block[number * 2] = static_cast<std::uint8_t>(value);
    block[number * 2 + 1] = static_cast<std::uint8_t>(value >> 8);
}
bool bit(std::uint32_t value, int number) {
    return (value >> number & 1) != 0;
}

/// False when the text cannot be one. The first control character becomes a blank and ends the look.
bool CheckAsciiText(std::span<std::uint8_t> text) {
    for (std::uint8_t& letter : text) {
        if (letter >= 1 && letter <= 31) {
            letter = ' ';
            return true;
        }
        if (letter == 127) return false;
    }
    return true;
}

std::wstring textOf(std::span<const std::uint8_t> bytes) {
    std::wstring text(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    TrimLeft(text);
    TrimRight(text);
    return text;
}

struct TextField {
    std::size_t at;
    std::size_t length;
    std::wstring AtaSmartInfo::*text;
    std::wstring AtaSmartInfo::*reverse;
};

constexpr TextField kTextFields[] = {
    {kSerialAt, kSerialLength, &AtaSmartInfo::SerialNumber, &AtaSmartInfo::SerialNumberReverse},
    {kFirmwareAt, kFirmwareLength, &AtaSmartInfo::FirmwareRev, &AtaSmartInfo::FirmwareRevReverse},
    {kModelAt, kModelLength, &AtaSmartInfo::Model, &AtaSmartInfo::ModelReverse},
};

/// By the low four bits of word 168.
constexpr std::array<const wchar_t*, 6> kFormFactors = {L"",         L"5.25 inch", L"3.5 inch",
                                                        L"2.5 inch", L"1.8 inch",  L"< 1.8 inch"};

struct FeatureRow {
    std::uint32_t major; ///< the version from which on the bit counts
    std::size_t word;
    int bit;
    BOOL AtaSmartInfo::*supported;
    std::size_t enabledWord; ///< 0: there is no such bit
    BOOL AtaSmartInfo::*enabled;
};

constexpr FeatureRow kFeatures[] = {
    {3, 82, 0, &AtaSmartInfo::IsSmartSupported, 0, nullptr},
    {3, 83, 3, &AtaSmartInfo::IsApmSupported, 86, &AtaSmartInfo::IsApmEnabled},
    {5, 83, 9, &AtaSmartInfo::IsAamSupported, 86, &AtaSmartInfo::IsAamEnabled},
    {5, 83, 10, &AtaSmartInfo::IsLba48Supported, 0, nullptr},
    {6, 76, 8, &AtaSmartInfo::IsNcqSupported, 0, nullptr},
    {7, 214, 0, &AtaSmartInfo::IsNvCacheSupported, 0, nullptr},
    {7, 169, 0, &AtaSmartInfo::IsTrimSupported, 0, nullptr},
    {7, 84, 4, &AtaSmartInfo::IsStreamingSupported, 0, nullptr},
    {7, 84, 5, &AtaSmartInfo::IsGplSupported, 0, nullptr},
    {7, 78, 8, &AtaSmartInfo::IsDeviceSleepSupported, 0, nullptr},
};

void readFeatures(AtaSmartInfo& asi, IdentifyBlock identify) {
    for (const FeatureRow& row : kFeatures) {
        if (asi.Major < row.major || !bit(word(identify, row.word), row.bit)) continue;
        asi.*row.supported = 1;
        if (row.enabled && bit(word(identify, row.enabledWord), row.bit)) asi.*row.enabled = 1;
    }
    if (asi.Major < 7) return;
    const std::uint32_t rotation = word(identify, 217);
    if (rotation == 1) {
        asi.IsSsd = 1;
        asi.NominalMediaRotationRate = 1;
    } else if (rotation >= 0x0401 && rotation <= 0xFFFE) {
        asi.NominalMediaRotationRate = rotation;
    }
    const std::uint32_t formFactor = word(identify, 168) & 0x0F;
    if (formFactor < kFormFactors.size()) asi.DeviceNominalFormFactor = kFormFactors[formFactor];
}

/// The AMD RAID library writes its own words into the block that it hands out.
void readAmdFields(AtaSmartInfo& asi, IdentifyBlock identify) {
    asi.Major = 3;
    asi.IsSmartSupported = 1;
    asi.IsSsd = bit(word(identify, 76), 0) ? 1 : 0;
    const auto bytes = identify.subspan(kAmdLinkAt);
    std::wstring link(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    asi.Interface = Begins(link, L"N") ? L"AMD_RC2" : L"AMD_RC2 (Serial ATA)";
    constexpr const wchar_t* replacements[][2] = {
        {L"HDD", L""},         {L"SSD", L""},           {L"SATA", L""},        {L"6Gb", L"SATA/600"},
        {L"3Gb", L"SATA/300"}, {L"1.5Gb", L"SATA/150"}, {L"1Gb", L"SATA/150"}, {L" ", L""}};
    for (const auto& [old, fresh] : replacements)
        Replace(link, old, fresh);
    asi.CurrentTransferMode = link;
    asi.MaxTransferMode = L"----";
    identify[kAmdLinkAt] = 0;
    setWord(identify, 76, 0);
}

/// A word that a cylinder, head and sector address can hold, cut in the block too where it is larger.
std::uint32_t cut(AtaSmartInfo& asi, IdentifyBlock identify, std::size_t number, std::uint32_t most) {
    if (word(identify, number) > most) {
        setWord(identify, number, most);
        asi.IsIdInfoIncorrect = 1;
    }
    return word(identify, number);
}

void readGeometry(AtaSmartInfo& asi, IdentifyBlock identify) {
    asi.Cylinder = cut(asi, identify, 1, 0x3FFF);
    asi.Head = cut(asi, identify, 3, 16);
    asi.Sector = cut(asi, identify, 6, 63);
    const std::uint32_t sectors28 = dword(identify, 60);
    asi.Sector28 = sectors28 & 0x0FFFFFFF;
    asi.Sector48 = dword(identify, 100) | static_cast<std::uint64_t>(word(identify, 102)) << 32;
    asi.Is9126MB = sectors28 == k9126MBSectors ? 1 : 0;

    const std::uint32_t sizes = word(identify, 106);
    const bool valid = !bit(sizes, 15) && bit(sizes, 14);
    if (valid && (sizes & 0x0F) == 3) {
        asi.LogicalSectorSize = kSectorBytes;
        asi.PhysicalSectorSize = 4096;
        return;
    }
    if (valid && bit(sizes, 12)) {
        const std::uint32_t words = dword(identify, 117);
        asi.LogicalSectorSize = words == 0 || words == 256 ? kSectorBytes : words * 2;
    }
    asi.PhysicalSectorSize = std::max(asi.PhysicalSectorSize, asi.LogicalSectorSize);
}

std::uint32_t megabytes(std::uint64_t bytes) {
    return static_cast<std::uint32_t>(bytes / kKilo / kKilo);
}

void readSizes(AtaSmartInfo& asi, IdentifyBlock identify) {
    const std::uint64_t chsSectors = std::uint64_t{asi.Sector} * asi.Cylinder * asi.Head;
    asi.NumberOfSectors = chsSectors;
    if (commandPath(asi.CommandType).hidesSizes) {
        asi.IsLba48Supported = 1;
    } else if (chsSectors != 0) {
        const std::uint64_t bytes = chsSectors * kSectorBytes;
        asi.DiskSizeChs = megabytes(bytes) - (bytes >= kLargeChsBytes ? kHiddenMegabytes : 0);
    }
    if (const std::uint64_t bytes = std::uint64_t{asi.Sector28} * kSectorBytes; bytes >= kLeastBytes) {
        asi.DiskSizeLba28 = megabytes(bytes) - kHiddenMegabytes;
        asi.NumberOfSectors = asi.Sector28;
    }
    const std::uint64_t bytes48 = asi.Sector48 * asi.LogicalSectorSize;
    if (asi.IsLba48Supported && bytes48 >= kLeastBytes) {
        asi.DiskSizeLba48 = megabytes(bytes48) - kHiddenMegabytes;
        asi.NumberOfSectors = asi.Sector48;
    }

    asi.BufferSize = word(identify, 21) * kSectorBytes;
    if (asi.IsNvCacheSupported) asi.NvCacheSize = std::uint64_t{dword(identify, 215)} * kSectorBytes;

    const std::uint32_t sectors28 = dword(identify, 60);
    if (sectors28 > kLba28Full)
        asi.TotalDiskSize = 0;
    else if (asi.DiskSizeLba48 > asi.DiskSizeLba28)
        asi.TotalDiskSize = asi.DiskSizeLba48;
    else
        asi.TotalDiskSize = std::max(asi.DiskSizeLba28, asi.DiskSizeChs);
    if (asi.IsLba48Supported && sectors28 < kLba28Full && asi.DiskSizeLba48 != asi.DiskSizeLba28)
        asi.DiskSizeLba48 = 0;
}

struct ThresholdBugRow {
    bool anyVendor;
    const wchar_t* model;
    const wchar_t* firmware;
};

/// Drives whose thresholds are wrong: what model and firmware begin with.
constexpr ThresholdBugRow kThresholdBugs[] = {
    {false, L"OCZ-VERTEX3", L"2.02"},
    {false, L"OCZ-VERTEX2", L"1.27"},
    {true, L"SSD G2 Series", L"3.6.5"},
};

/// What a model begins with whose bytes a bridge has swapped.
constexpr const wchar_t* kSwappedModels[] = {L"DW C", L"iHat", L"ASSM", L"aMtx", L"OTHS", L"UFIJ"};

} // namespace

AtaSmartInfo startRecord(const DriveAddress& address) {
    AtaSmartInfo asi;
    asi.PhysicalDriveId = address.physicalDriveId;
    asi.ScsiPort = address.scsiPort;
    asi.ScsiTargetId = address.scsiTargetId;
    asi.ScsiBus = address.scsiBus;
    asi.Target = address.target;
    asi.CommandType = address.commandType;
    asi.SiliconImageType = address.siliconImageType;
    if (address.sasPhyEntity) std::copy_n(address.sasPhyEntity, sizeof asi.sasPhyEntity, asi.sasPhyEntity);
    asi.PnpDeviceId = address.pnpDeviceId;
    asi.CommandTypeString = commandTypeString(address.commandType, address.target);
    return asi;
}

std::wstring modelSerialOf(std::wstring_view model, std::wstring_view serialNumber) {
    std::wstring text = std::wstring(model) + std::wstring(serialNumber);
    std::erase_if(text, [](wchar_t letter) {
        return std::wstring_view(L"\\/:*?\"<>|").find(letter) != std::wstring_view::npos;
    });
    return text;
}

bool takeIdentifyTexts(AtaSmartInfo& asi, IdentifyBlock identify) {
    const unsigned sum = std::accumulate(identify.begin(), identify.end(), 0U);
    asi.IsCheckSumError = sum % 256 != 0 ? 1 : 0;
    for (const TextField& field : kTextFields)
        if (!CheckAsciiText(identify.subspan(field.at, field.length))) return false;
    for (const TextField& field : kTextFields) {
        const auto bytes = identify.subspan(field.at, field.length);
        asi.*field.reverse = textOf(bytes);
        for (std::size_t i = 0; i < bytes.size(); i += 2)
            std::swap(bytes[i], bytes[i + 1]);
        asi.*field.text = textOf(bytes);
    }
    return true;
}

bool readIdentifyTexts(AtaSmartInfo& asi, IdentifyBlock identify) {
    if (!takeIdentifyTexts(asi, identify)) return false;
    if (!asi.Model.empty() && !asi.FirmwareRev.empty()) return true;
    DebugPrint(L"asi.Model.IsEmpty() || asi.FirmwareRev.IsEmpty()");
    return false;
}

void takeReverseTexts(AtaSmartInfo& asi) {
    asi.SerialNumber = asi.SerialNumberReverse;
    asi.FirmwareRev = asi.FirmwareRevReverse;
    asi.Model = asi.ModelReverse;
    asi.ModelSerial = modelSerialOf(asi.Model, asi.SerialNumber);
}

void checkReverse(AtaSmartInfo& asi) {
    DebugPrint(L"Check Reverse");
    const auto isHead = [&](const wchar_t* head) { return Begins(asi.Model, head); };
    if (std::ranges::none_of(kSwappedModels, isHead)) return;
    DebugPrint(L"Reverse");
    takeReverseTexts(asi);
}

void interpretIdentify(AtaSmartInfo& asi, IdentifyBlock identify) {
    std::wstring digits = asi.FirmwareRev;
    Replace(digits, L".", L"");
    if (Begins(asi.Model, L"ADATA SSD") && ToInteger(digits) == 346) asi.TemperatureMultiplier = 0.5;
    asi.ModelSerial = modelSerialOf(asi.Model, asi.SerialNumber);

    if (asi.CommandType == CMD_TYPE_AMD_RC2) {
        readAmdFields(asi, identify);
    } else {
        const auto halfword = [&](std::size_t number) {
            return static_cast<std::uint16_t>(word(identify, number));
        };
        asi.Major = GetAtaMajorVersion(halfword(80), asi.MajorVersion);
        GetAtaMinorVersion(halfword(81), asi.MinorVersion);
        asi.TransferModeType =
            GetTransferMode(halfword(63), halfword(76), halfword(77), halfword(88), asi.CurrentTransferMode,
                            asi.MaxTransferMode, asi.Interface, asi.InterfaceType);
    }
    asi.DetectedTimeUnitType = GetTimeUnitType(asi.Model, asi.FirmwareRev, asi.Major, asi.TransferModeType);
    if (asi.DetectedTimeUnitType == TIME_UNIT_INTEL || asi.DetectedTimeUnitType == TIME_UNIT_10_MINUTES)
        asi.MeasuredTimeUnitType = asi.DetectedTimeUnitType;
    readFeatures(asi, identify);
    if (Begins(Upper(asi.Model), L"MAXTOR") && asi.DetectedTimeUnitType == TIME_UNIT_MINUTES)
        asi.IsMaxtorMinute = 1;
    readGeometry(asi, identify);
    readSizes(asi, identify);
    std::copy(identify.begin(), identify.end(), asi.Identify);
}

void finishRecord(AtaSmartInfo& asi) {
    for (const ThresholdBugRow& row : kThresholdBugs)
        if ((row.anyVendor || asi.DiskVendorId == VENDOR_SANDFORCE) && Begins(asi.Model, row.model) &&
            Begins(asi.FirmwareRev, row.firmware))
            asi.IsThresholdBug = 1;

    asi.PowerOnStartRawValue = asi.PowerOnRawValue;
    if (!asi.IsSmartCorrect) {
        asi.DetectedPowerOnHours = asi.MeasuredPowerOnHours = kNone;
        asi.PowerOnRawValue = asi.PowerOnStartRawValue = kNone;
        asi.PowerOnCount = 0;
        asi.Temperature = kNoTemperature;
        asi.DiskStatus = DISK_STATUS_UNKNOWN;
    }
    if (Begins(asi.Model, L"Intel") && asi.MeasuredPowerOnHours > kIntelHours) {
        asi.DetectedPowerOnHours -= kIntelHours;
        asi.MeasuredPowerOnHours -= kIntelHours;
        asi.PowerOnRawValue -= kIntelHours;
    }
}

} // namespace orv
