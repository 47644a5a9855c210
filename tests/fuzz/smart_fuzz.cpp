// Any bytes as a drive's two SMART blocks, read by any dialect: the record stays within its bounds, and what
// it is classified as by its attributes stays when it is classified again.

#include "Answering.h"
#include "disk_engine/dialects/AttributeNames.h"
#include "disk_engine/dialects/Interpretation.h"

#include <tuple>

namespace {

constexpr std::size_t kSettings = 6; ///< bytes before the blocks: vendor, unit, two time units, two of flags

void configure(AtaSmartInfo& asi, const std::uint8_t* setting) {
    using Asi = AtaSmartInfo;
    static constexpr BOOL Asi::*flags[] = {
        &Asi::LifeIsRaw,          &Asi::LifeIsRawInverted, &Asi::LifeHidden, &Asi::LifeIsRawHundredths,
        &Asi::LifeIsRawHighByte,  &Asi::LifeIsCurrent,     &Asi::IsSsd,      &Asi::IsRawValues8,
        &Asi::IsThresholdCorrect, &Asi::IsThresholdBug};
    static constexpr const wchar_t* models[] = {L"Drive", L"Intel SSD", L"SAMSUNG SV0411N", L"QEMU HARDDISK"};
    asi.DiskVendorId = setting[0];
    asi.HostReadsWritesUnit = setting[1] % (HOST_UNIT_GB + 1u);
    asi.DetectedTimeUnitType = setting[2];
    asi.MeasuredTimeUnitType = setting[3];
    const unsigned bits = setting[4] | setting[5] << 8;
    for (std::size_t i = 0; i < std::size(flags); ++i)
        asi.*flags[i] = bits >> i & 1;
    if (bits & 0x400) asi.TemperatureMultiplier = 0.5;
    asi.Model = models[bits >> 11 & 3];
    asi.IsSmartCorrect = 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < kSettings) return -1;
    AtaSmartInfo asi;
    configure(asi, bytes);
    bytes += kSettings;
    size -= kSettings;
    const std::size_t data = std::min(size, kSmartBytes);
    std::memcpy(asi.SmartReadData, bytes, data);
    std::memcpy(asi.SmartReadThreshold, bytes + data, std::min(size - data, kSmartBytes));

    Explanation why;
    require(FillSmartData(asi, &why) == (asi.AttributeCount > 0));
    InterpretAttributes(asi, &why);
    require(FillSmartThreshold(asi) == (asi.AttributeCount > 0));
    require(CheckDiskStatus(asi, &why) <= DISK_STATUS_BAD && why.health);
    require(asi.AttributeCount <= kSmartEntries && asi.Temperature < 100 && asi.Life >= kNone &&
            asi.Life <= 255);
    // A value that is not the starting one has a rule to its name.
    require(asi.Temperature == kNoTemperature || why.temperature);
    require(asi.DetectedPowerOnHours == kNone || why.powerOnHours);
    require(asi.Life == kNone || why.life);
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i)
        require(asi.Attribute[i].Id != 0 && *AttributeName(asi, asi.Attribute[i]));
    require(CheckSmartAttributeCorrect(asi, asi));

    const auto classified = [&] {
        ClassifyDrive(asi);
        return std::tuple(asi.DiskVendorId, asi.SmartKeyName, asi.HostReadsWritesUnit, asi.LifeIsRaw);
    };
    const auto first = classified();
    require(first == classified() && asi.HostReadsWritesUnit <= HOST_UNIT_GB);
    return 0;
}
