#include "cpu/CpuAmd0F.h"

#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"

namespace orv {

namespace {

constexpr std::uint32_t kMiscellaneousControl = 3; // northbridge function
constexpr std::uint32_t kDeviceId = 0x1103;        // Miscellaneous Control of family 0x0F
constexpr std::uint32_t kThermtripStatus = 0xE4;   // Thermtrip Status register
constexpr std::uint32_t kCurTmpShift = 16;         // CurTmp, bits 23:16

/// Models of the 90 nm and 65 nm revisions, where the sensor of a core is chosen by bit 2
/// (ThermSenseCoreSel).
struct SensorRow {
    std::uint32_t firstModel;
    std::uint32_t lastModel;
    std::uint8_t coreSelect;
    double offset; // degrees Celsius
};

// The first row that holds the model counts.
constexpr SensorRow kSensors[] = {
    {0x00, 0x27, 0, -49.0}, {0x28, 0x68, 4, -49.0}, {0x6C, 0x6C, 4, -49.0},
    {0x7C, 0x7C, 4, -49.0}, {0xC1, 0xC1, 4, -49.0}, {0x69, 0xFFFFFFFF, 4, -28.0},
};

} // namespace

CpuAmd0F::CpuAmd0F(const CpuInfo& detected) : CpuAmd(detected) {
    log::entry(logger, L"orv::CpuAmd0F::CpuAmd0F");
    for (const SensorRow& row : kSensors) {
        if (info.model < row.firstModel || info.model > row.lastModel) continue;
        thermSenseCoreSelect = row.coreSelect;
        temperatureOffset = row.offset;
        break;
    }
    try {
        miscellaneousControlAddress = FindPciFunction(kMiscellaneousControl, kDeviceId);
    } catch (const HWException& failure) {
        log::error(logger, L"init miscellaneousControlAddress failed: {}",
                   EncodedText(std::string(failure.what())).wide);
        miscellaneousControlAddress = kNoPciFunction;
    }
}

double CpuAmd0F::GetTemperature() {
    log::entry(logger, L"orv::CpuAmd0F::GetTemperature");
    WinRing0Init();
    if (const std::uint32_t wait = Mutexes::WaitPciBus()) throwHW(L"WaitPciBus failed: {}", wait);
    const PciBusLock lock;
    if (miscellaneousControlAddress == kNoPciFunction)
        throwHW(L"miscellaneousControlAddress is not initialized");
    WinRing0Init();
    platform::Ring0& ring0 = platform::current().ring0();
    if (ring0.WritePciConfigDwordEx(miscellaneousControlAddress, kThermtripStatus, thermSenseCoreSelect)
            .result != 1)
        throwHW(L"WritePciConfigDwordEx failed");
    const auto value = ring0.ReadPciConfigDwordEx(miscellaneousControlAddress, kThermtripStatus);
    if (value.result != 1) throwHW(L"ReadPciConfigDwordEx failed");
    const double temperature = static_cast<double>(value.value >> kCurTmpShift & 0xFF) + temperatureOffset;
    log::info(logger, L"temperature: {}", temperature);
    return temperature;
}

std::string CpuAmd0F::Name() {
    log::entry(logger, L"orv::CpuAmd0F::Name");
    return CpuAmd::Name();
}

std::string CpuAmd0F::Vendor() {
    log::entry(logger, L"orv::CpuAmd0F::Vendor");
    return CpuAmd::Vendor();
}

std::int32_t CpuAmd0F::GetCpuBaseFrequency() {
    log::entry(logger, L"orv::CpuAmd0F::GetCpuBaseFrequency");
    return static_cast<std::int32_t>(info.frequency);
}

} // namespace orv
