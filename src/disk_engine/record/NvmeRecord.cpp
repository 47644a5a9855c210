#include "disk_engine/CommandPath.h"
#include "disk_engine/WideText.h"
#include "disk_engine/record/DriveRecord.h"

#include <fmt/xchar.h>

#include <algorithm>
#include <limits>

namespace orv {

namespace {

constexpr std::int32_t kKelvin = 273;
constexpr std::uint8_t kFull = 100; // percent

// Identify Controller, bytes.
constexpr std::size_t kVersionAt = 80;   // tertiary, minor, major (2 bytes)
constexpr std::size_t kAmdLinkAt = 84;   // text of the AMD RAID library
constexpr std::size_t kCapacityAt = 280; // TNVMCAP, 16 bytes
constexpr std::size_t kOptionalCommandsAt = 520;
constexpr std::size_t kVolatileCacheAt = 525;

struct TextField {
    std::size_t at;
    std::size_t length;
    std::wstring AtaSmartInfo::*text;
};

constexpr TextField kTextFields[] = {
    {24, 40, &AtaSmartInfo::Model},
    {4, 20, &AtaSmartInfo::SerialNumber},
    {64, 8, &AtaSmartInfo::FirmwareRev},
};

/// Where the raw bytes of the pseudo attributes stand in the page; entry n has the id n + 1.
struct PseudoAttribute {
    std::size_t at;
    std::size_t bytes;
};
constexpr PseudoAttribute kPseudoAttributes[] = {
    {0, 1},   // critical warning
    {1, 2},   // temperature
    {3, 1},   // available spare
    {4, 1},   // spare threshold
    {5, 1},   // percentage used
    {32, 6},  // data units read
    {48, 6},  // data units written
    {64, 6},  // host read commands
    {80, 6},  // host write commands
    {96, 6},  // controller busy time
    {112, 6}, // power cycles
    {128, 6}, // power-on hours
    {144, 6}, // unsafe shutdowns
    {160, 6}, // media and data integrity errors
    {176, 6}, // error log entries
};

template <class Number>
Number littleEndian(const std::uint8_t* bytes) {
    Number value = 0;
    for (std::size_t i = sizeof(Number); i-- > 0;)
        value = static_cast<Number>(value << 8 | bytes[i]);
    return value;
}

/// Data units are 1000 sectors of 512 bytes: × 1000 ÷ 2^21, without the overflow of the product.
std::int32_t gibibytesOfDataUnits(std::uint64_t units) {
    constexpr std::uint64_t divisor = std::uint64_t{1} << 21;
    const std::uint64_t gibibytes = units / divisor * 1000 + units % divisor * 1000 / divisor;
    return static_cast<std::int32_t>(
        std::min<std::uint64_t>(gibibytes, std::numeric_limits<std::int32_t>::max()));
}

std::wstring textOf(std::span<const std::uint8_t> bytes) {
    std::wstring text(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    TrimRight(text);
    return text;
}

std::wstring versionOf(const std::uint8_t* identify) {
    const auto major = littleEndian<std::uint16_t>(identify + kVersionAt + 2);
    if (major == 0) return L"NVM Express 1.0/1.1";
    return fmt::format(L"NVM Express {}.{}", major, identify[kVersionAt + 1]);
}

} // namespace

bool readNvmeIdentify(AtaSmartInfo& asi, NvmeIdentifyBlock identify, std::uint32_t diskSize) {
    std::copy(identify.begin(), identify.end(), asi.Identify);
    asi.IsSmartSupported = asi.IsSmartEnabled = asi.IsSmartCorrect = asi.IsThresholdCorrect = 1;
    asi.IsSsd = asi.IsNVMe = 1;
    asi.NominalMediaRotationRate = 1;
    asi.HostReadsWritesUnit = HOST_UNIT_512B;
    const bool usb = commandPath(asi.CommandType).isUsbNvme;
    asi.InterfaceType = usb ? INTERFACE_TYPE_USB : INTERFACE_TYPE_NVME;
    asi.TotalDiskSize = diskSize;
    for (const TextField& field : kTextFields)
        asi.*field.text = textOf(identify.subspan(field.at, field.length));
    if (asi.Model.empty()) return false;
    asi.ModelSerial = modelSerialOf(asi.Model, asi.SerialNumber);
    asi.IsTrimSupported = identify[kOptionalCommandsAt] >> 2 & 1;
    asi.IsVolatileWriteCachePresent = identify[kVolatileCacheAt] & 1;
    return true;
}

std::uint32_t nvmeCapacityOf(std::span<const std::uint8_t, kNvmeIdentifyBytes> identify) {
    constexpr std::uint64_t megabyte = 1'000'000;
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    const auto low = littleEndian<std::uint64_t>(identify.data() + kCapacityAt);
    const auto high = littleEndian<std::uint64_t>(identify.data() + kCapacityAt + sizeof low);
    return static_cast<std::uint32_t>(high != 0 ? most : std::min(low / megabyte, most));
}

void fillNvmeAttributes(AtaSmartInfo& asi) {
    asi.AttributeCount = 0;
    for (const PseudoAttribute& row : kPseudoAttributes) {
        SMART_ATTRIBUTE& entry = asi.Attribute[asi.AttributeCount++];
        entry = {};
        entry.Id = static_cast<std::uint8_t>(asi.AttributeCount);
        std::copy_n(asi.SmartReadData + row.at, row.bytes, entry.RawValue);
    }
}

void takeNvmeHealth(AtaSmartInfo& asi, std::int32_t hottest) {
    const std::uint8_t* page = asi.SmartReadData;
    asi.IsSmartSupported = 1;
    asi.Temperature = littleEndian<std::uint16_t>(page + 1) - kKelvin;
    if (asi.Temperature == -kKelvin || asi.Temperature > hottest) asi.Temperature = kNoTemperature;
    asi.Life = kFull - std::min(page[5], kFull);
    asi.HostReads = gibibytesOfDataUnits(littleEndian<std::uint64_t>(page + 32));
    asi.HostWrites = gibibytesOfDataUnits(littleEndian<std::uint64_t>(page + 48));
    asi.PowerOnCount = littleEndian<std::uint32_t>(page + 112);
    asi.DetectedPowerOnHours = asi.MeasuredPowerOnHours =
        static_cast<std::int32_t>(littleEndian<std::uint32_t>(page + 128));
    fillNvmeAttributes(asi);
}

void interpretNvmeHealth(AtaSmartInfo& asi, std::int32_t hottest) {
    takeNvmeHealth(asi, hottest);
    asi.DiskVendorId = VENDOR_NVME;
    asi.SmartKeyName = L"SmartNVMe";
    asi.SsdVendorString = L"nv";
    asi.Interface = L"NVM Express";
    asi.MajorVersion = versionOf(asi.Identify);
}

void readAmdNvmeLink(AtaSmartInfo& asi, NvmeIdentifyBlock identify) {
    asi.MajorVersion.clear();
    const auto bytes = identify.subspan(kAmdLinkAt);
    std::wstring link(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    Replace(link, L"NVMe", L"PCIe");
    for (int generation = 1; generation <= 9; ++generation)
        Replace(link, fmt::format(L"Gen{}", generation), fmt::format(L"{}.0", generation));
    asi.CurrentTransferMode = link;
    identify[kAmdLinkAt] = 0;
    asi.Interface = L"AMD_RC2 (NVMe)";
}

} // namespace orv
