#include "cpu/CpuAmd10.h"

#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"

namespace orv {

namespace {

constexpr std::uint32_t kMiscellaneousControl = 3;   // northbridge function
constexpr std::uint32_t kReportedTemperature = 0xA4; // Reported Temperature Control register
constexpr std::uint32_t kCurTmpShift = 21;           // CurTmp, bits 31:21
constexpr double kDegreesPerStep = 0.125;
constexpr platform::pciAddress kRootComplex = 0; // bus 0, device 0, function 0
constexpr std::uint32_t kSmuIndex = 0xB8;        // SMU index/data pair of the root complex
constexpr std::uint32_t kSmuData = 0xBC;
constexpr std::uint32_t kSmuReportedTemperature = 0xD8200CA4; // Reported Temperature Control, behind the SMU

constexpr int kAnyModel = -1;

struct NorthbridgeRow {
    std::uint32_t family;
    int model; // high digit of the model
    std::uint32_t deviceId;
    bool useSmu;
};

// Device ids of the Miscellaneous Control function.
constexpr NorthbridgeRow kNorthbridges[] = {
    {0x10, kAnyModel, 0x1203, false}, {0x11, kAnyModel, 0x1303, false}, {0x12, kAnyModel, 0x1703, false},
    {0x14, kAnyModel, 0x1703, false}, {0x15, 0x00, 0x1603, false},      {0x15, 0x10, 0x1403, false},
    {0x15, 0x30, 0x141D, false},      {0x15, 0x60, 0x1573, true},       {0x15, 0x70, 0x15B3, true},
    {0x16, 0x00, 0x1533, false},      {0x16, 0x30, 0x1583, false},
};

NorthbridgeRow northbridgeOf(const CpuInfo& info) {
    const int model = static_cast<int>(info.model & 0xF0);
    for (const NorthbridgeRow& row : kNorthbridges)
        if (row.family == info.family && (row.model == kAnyModel || row.model == model)) return row;
    return {info.family, model, 0, false};
}

} // namespace

CpuAmd10::CpuAmd10(const CpuInfo& detected) : CpuAmd(detected) {
    log::entry(logger, L"orv::CpuAmd10::CpuAmd10");
    const NorthbridgeRow row = northbridgeOf(info);
    useSmu = row.useSmu;
    log::debug(logger, L"miscellaneousControlDeviceId: {}", row.deviceId);
    try {
        miscellaneousControlAddress = FindPciFunction(kMiscellaneousControl, row.deviceId);
        log::info(logger, L"miscellaneousControlAddress: {}", miscellaneousControlAddress);
    } catch (const HWException& failure) {
        log::error(logger, L"catch exception: {}", EncodedText(std::string(failure.what())).wide);
        miscellaneousControlAddress = kNoPciFunction;
    }
}

bool CpuAmd10::ReadSmuRegister(std::uint32_t reg, std::uint32_t& value) {
    log::entry(logger, L"orv::CpuAmd10::ReadSmuRegister");
    value = 0;
    if (Mutexes::WaitPciBus() != 0) {
        log::warn(logger, L"WaitPciBus failed");
        return false;
    }
    const PciBusLock lock;
    platform::Ring0& ring0 = platform::current().ring0();
    if (ring0.WritePciConfigDwordEx(kRootComplex, kSmuIndex, reg).result == 0) {
        log::warn(logger, L"WritePciConfigDwordEx failed");
        return false;
    }
    const auto answer = ring0.ReadPciConfigDwordEx(kRootComplex, kSmuData);
    value = static_cast<std::uint32_t>(answer.value);
    return answer.result == 1;
}

double CpuAmd10::GetTemperature() {
    log::entry(logger, L"orv::CpuAmd10::GetTemperature");
    WinRing0Init();
    if (miscellaneousControlAddress == kNoPciFunction)
        throwHW(L"miscellaneousControlAddress is not initialized");
    std::uint32_t value = 0;
    bool read = false;
    if (useSmu) {
        read = ReadSmuRegister(kSmuReportedTemperature, value);
    } else {
        const auto answer = platform::current().ring0().ReadPciConfigDwordEx(miscellaneousControlAddress,
                                                                             kReportedTemperature);
        value = static_cast<std::uint32_t>(answer.value);
        read = answer.result == 1;
    }
    if (!read) throwHW(L"Failed to read PCI config dword");
    const double temperature = (value >> kCurTmpShift) * kDegreesPerStep;
    log::info(logger, L"temperature: {}", temperature);
    return temperature;
}

std::string CpuAmd10::Name() {
    log::entry(logger, L"orv::CpuAmd10::Name");
    return CpuAmd::Name();
}

std::string CpuAmd10::Vendor() {
    log::entry(logger, L"orv::CpuAmd10::Vendor");
    return CpuAmd::Vendor();
}

std::int32_t CpuAmd10::GetCpuBaseFrequency() {
    log::entry(logger, L"orv::CpuAmd10::GetCpuBaseFrequency");
    return static_cast<std::int32_t>(info.frequency);
}

} // namespace orv
