#include "cpu/CpuIntel.h"

#include "WinRing0/WinRing0.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Ring0.h"

namespace orv {

namespace {
constexpr std::uint32_t kThermStatus = 0x19C;      // IA32_THERM_STATUS
constexpr std::uint32_t kDigitalReadoutShift = 16; // Digital Readout, bits 22:16: degrees below the reference
constexpr std::uint32_t kDigitalReadoutMask = 0x7F;
constexpr double kReferenceTemperature = 100.0;   // for every model
constexpr double kRegisterRefused = 4294967295.0; // given in place of a temperature
} // namespace

CpuIntel::CpuIntel(const CpuInfo& detected) : Cpu(detected) {
    log::entry(logger, L"orv::CpuIntel::CpuIntel");
    // Of the logical processors of a core the last one stays.
    for (std::uint32_t i = 0; i < info.logicalProcessorCount; ++i) {
        const std::uint32_t mask = 1U << (i & 31);
        coreAffinity[GetCoreIdByAffinityMask(mask)] = mask;
    }
}

std::string CpuIntel::Name() {
    log::entry(logger, L"orv::CpuIntel::Name");
    return info.name;
}

std::string CpuIntel::Vendor() {
    log::entry(logger, L"orv::CpuIntel::Vendor");
    return "Intel";
}

double CpuIntel::GetTemperature() {
    log::entry(logger, L"orv::CpuIntel::GetTemperature");
    WinRing0Init();
    if (info.processorCoreCount == 0) throwHW(L"the system names no processor core");
    double sum = 0.0;
    for (const auto& [core, mask] : coreAffinity) {
        const auto answer = platform::current().ring0().RdmsrTx(kThermStatus, mask);
        if (answer.result == 0) {
            log::warn(logger, L"RdmsrTx failed");
            return kRegisterRefused;
        }
        const auto low = static_cast<std::uint32_t>(answer.value);
        log::trace(logger, L"affinityMask: {}, eax: {}", mask, low);
        sum += kReferenceTemperature - (low >> kDigitalReadoutShift & kDigitalReadoutMask);
    }
    const double temperature = sum / info.processorCoreCount;
    log::info(logger, L"GetCpuTemperatureIntel: Ok, temperature:{}", temperature);
    return temperature;
}

std::int32_t CpuIntel::GetCpuBaseFrequency() {
    log::entry(logger, L"orv::CpuIntel::GetCpuBaseFrequency");
    return static_cast<std::int32_t>(info.frequency);
}

} // namespace orv
