#include "cpu/CpuAmd17.h"

#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"

namespace orv {

namespace {
constexpr platform::pciAddress kRootComplex = 0; // bus 0, device 0, function 0
constexpr std::uint32_t kSmnIndex = 0x60;        // SMN index/data pair of the root complex
constexpr std::uint32_t kSmnData = 0x64;
constexpr std::uint32_t kCurrentTemperature = 0x59800; // THM_TCON_CUR_TMP
constexpr std::uint32_t kCurTempShift = 21;            // CUR_TEMP, bits 31:21, eighths of a degree
constexpr std::uint32_t kMillidegreesPerStep = 125;
constexpr std::uint32_t kRangeSelect = 1U << 19; // CUR_TEMP_RANGE_SEL: the scale starts 49 degrees lower
constexpr double kRangeOffset = 49.0;
} // namespace

CpuAmd17::CpuAmd17(const CpuInfo& detected) : CpuAmd(detected) {
    log::entry(logger, L"orv::CpuAmd17::CpuAmd17");
}

double CpuAmd17::GetTemperature() {
    log::entry(logger, L"orv::CpuAmd17::GetTemperature");
    WinRing0Init();
    if (Mutexes::WaitPciBus() != 0) throwHW(L"Failed to wait for PCI bus mutex");
    const PciBusLock lock;
    platform::Ring0& ring0 = platform::current().ring0();
    const auto written = ring0.WritePciConfigDwordEx(kRootComplex, kSmnIndex, kCurrentTemperature);
    if (written.result != 1)
        throwHW(L"Failed to write PCI config dword, {}", getSystemErrorText(written.error));
    const auto answer = ring0.ReadPciConfigDwordEx(kRootComplex, kSmnData);
    if (answer.result != 1) throwHW(L"Failed to read PCI config dword");
    const auto value = static_cast<std::uint32_t>(answer.value);
    double temperature = (value >> kCurTempShift) * kMillidegreesPerStep * 0.001;
    if (value & kRangeSelect) temperature -= kRangeOffset;
    log::info(logger, L"Temperature: {}", temperature);
    return temperature;
}

std::string CpuAmd17::Name() {
    log::entry(logger, L"orv::CpuAmd17::Name");
    return CpuAmd::Name();
}

std::string CpuAmd17::Vendor() {
    log::entry(logger, L"orv::CpuAmd17::Vendor");
    return CpuAmd::Vendor();
}

std::int32_t CpuAmd17::GetCpuBaseFrequency() {
    log::entry(logger, L"orv::CpuAmd17::GetCpuBaseFrequency");
    return static_cast<std::int32_t>(info.frequency);
}

} // namespace orv
