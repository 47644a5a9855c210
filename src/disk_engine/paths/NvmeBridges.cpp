#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/paths/NvmePaths.h"

#include <cstring>
#include <vector>

namespace orv {

namespace {

/// Where a SCSI pass-through keeps what follows its head.
struct PassThroughLayout {
    std::uint8_t senseBytes;
    std::uint32_t senseAt;
    std::uint32_t dataAt;
};
constexpr PassThroughLayout kPaired = {24, 44, 68};
constexpr PassThroughLayout kAsmedia = {24, 48, 80};
constexpr PassThroughLayout kRealtek = {32, 48, 80};

using Cdb = std::array<std::uint8_t, 16>;
using RequestData = std::array<std::uint32_t, 18>; ///< the dwords that a request's data begin with

constexpr RequestData samsung(std::uint32_t subject, std::uint32_t namespaceId) {
    return {subject, namespaceId};
}

/// An NVMe command whole, behind a signature.
constexpr RequestData jmicron(std::uint32_t dword0, std::uint32_t namespaceId, std::uint32_t dword6,
                              std::uint32_t dword10) {
    constexpr std::size_t command = 2;
    RequestData data{};
    data[0] = 0x454D564E; // "NVME"
    data[command] = dword0;
    data[command + 1] = namespaceId;
    data[command + 6] = dword6;
    data[command + 10] = dword10;
    return data;
}

constexpr Cdb kNoRequest{};
constexpr Cdb kJMicronRequest = {0xA1, 0x80, 0, 0, 2};
constexpr Cdb kJMicronAnswer = {0xA1, 0x82, 0, 0, 2};

constexpr std::uint32_t kWhole = platform::kNvmeDataBytes;
constexpr std::uint32_t kPage = kSmartBytes;
constexpr std::uint32_t kJMicronEcho = 317; // byte sum of the identify request, given back as it came
constexpr std::uint32_t kTimeOutSeconds = 2;

/// What a bridge is told to read a block of a drive: a command that gives it, which may stand behind one that
/// asks for it.
struct NvmeBridgeRead {
    PassThroughLayout layout;
    std::uint8_t cdbLength;
    std::uint32_t bytes; ///< of the data, either way
    Cdb request;
    RequestData requestData;
    Cdb answer;
    std::uint32_t echo = 0; ///< byte sum that is no answer, as 0 is none
    bool locked = false;    ///< the pair runs under the JMicron mutex
};

// clang-format off
constexpr NvmeBridgeRead kSamsungIdentify = {
    kPaired, 16, kWhole, {0xB5, 0xFE, 0, 5, 0, 0, 0, 0, 0, 0x40}, samsung(1, 0),
                         {0xA2, 0xFE, 0, 5, 0, 0, 0, 0, 1}};
constexpr NvmeBridgeRead kSamsungHealth = {
    kPaired, 16, kPage,  {0xB5, 0xFE, 0, 6, 0, 0, 0, 0, 0, 0x40}, samsung(2, 0xFFFFFFFF),
                         {0xA2, 0xFE, 0, 6, 0, 0, 0, 0, 1}};
constexpr NvmeBridgeRead kJMicronIdentify = {
    kPaired, 12, kWhole, kJMicronRequest, jmicron(6, 0, 0, 1), kJMicronAnswer, kJMicronEcho, true};
constexpr NvmeBridgeRead kJMicronIdentifyUsb2 = {
    kPaired, 12, kPage,  kJMicronRequest, jmicron(6, 0, 0, 1), kJMicronAnswer, kJMicronEcho, true};
constexpr NvmeBridgeRead kJMicronHealth = {
    kPaired, 12, kPage,  kJMicronRequest, jmicron(0x00560002, 0xFFFFFFFF, 0x007A4000, 0x007F0002),
                         kJMicronAnswer, 0, true};
constexpr NvmeBridgeRead kASMediaIdentify = {
    kAsmedia, 16, kWhole, kNoRequest, {}, {0xE6, 6, 0, 1}};
constexpr NvmeBridgeRead kASMediaHealth = {
    kAsmedia, 16, kPage,  kNoRequest, {}, {0xE6, 2, 0, 2, 0, 0, 0, 0x7F}};
constexpr NvmeBridgeRead kRealtekIdentify = {
    kRealtek, 16, kWhole, kNoRequest, {}, {0xE4, 0, 0x10, 6, 1}};
constexpr NvmeBridgeRead kRealtekHealth = {
    kRealtek, 16, kPage,  kNoRequest, {}, {0xE4, 0, 2, 2}};
// clang-format on

std::vector<std::byte> passThrough(const NvmeBridgeRead& read, std::uint8_t direction, const Cdb& cdb) {
    platform::SCSI_PASS_THROUGH head{};
    head.Length = sizeof head;
    head.CdbLength = read.cdbLength;
    head.SenseInfoLength = read.layout.senseBytes;
    head.DataIn = direction;
    head.DataTransferLength = read.bytes;
    head.TimeOutValue = kTimeOutSeconds;
    head.DataBufferOffset = read.layout.dataAt;
    head.SenseInfoOffset = read.layout.senseAt;
    std::copy(cdb.begin(), cdb.end(), head.Cdb);
    std::vector<std::byte> block(read.layout.dataAt + read.bytes);
    std::memcpy(block.data(), &head, sizeof head);
    return block;
}

class JMicronLock {
  public:
    JMicronLock(CAtaSmart& engine, bool wanted) : engine_(wanted ? &engine : nullptr) {
        if (engine_ != nullptr) engine_->AcquireMutexJMicron();
    }
    ~JMicronLock() {
        if (engine_ != nullptr) engine_->ReleaseMutexJMicron();
    }
    JMicronLock(const JMicronLock&) = delete;
    JMicronLock& operator=(const JMicronLock&) = delete;

  private:
    CAtaSmart* engine_;
};

bool readNvmeBridge(CAtaSmart& engine, std::int32_t physicalDriveId, const NvmeBridgeRead& read,
                    std::span<std::uint8_t> into) {
    const auto file = engine.OpenPhysicalDrive(physicalDriveId);
    if (!file) return false;
    std::vector<std::byte> block;
    {
        const JMicronLock lock(engine, read.locked);
        if (read.request != kNoRequest) {
            block = passThrough(read, platform::SCSI_IOCTL_DATA_OUT, read.request);
            std::memcpy(block.data() + read.layout.dataAt, read.requestData.data(), sizeof read.requestData);
            if (!engine.devices.exchangeInPlace(*file, platform::IOCTL_SCSI_PASS_THROUGH, block, 0))
                return false;
        }
        block = passThrough(read, platform::SCSI_IOCTL_DATA_IN, read.answer);
        // The end of a block that a bridge cut short would read as a drive without the features told there.
        if (!engine.devices.exchangeInPlace(*file, platform::IOCTL_SCSI_PASS_THROUGH, block, block.size()))
            return false;
    }
    const auto* answer = reinterpret_cast<const std::uint8_t*>(block.data()) + read.layout.dataAt;
    const std::uint32_t sum = byteSum({answer, read.bytes});
    if (sum == 0 || sum == read.echo || read.bytes > into.size()) return false;
    std::fill(std::copy_n(answer, read.bytes, into.begin()), into.end(), std::uint8_t{0});
    return true;
}

} // namespace

bool CAtaSmart::DoIdentifyDeviceNVMeSamsung(std::int32_t physicalDriveId, NvmeIdentifyBlock identify) {
    return readNvmeBridge(*this, physicalDriveId, kSamsungIdentify, identify);
}

bool CAtaSmart::GetSmartAttributeNVMeSamsung(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    return readNvmeBridge(*this, physicalDriveId, kSamsungHealth, asi.SmartReadData);
}

bool CAtaSmart::DoIdentifyDeviceNVMeJMicron(std::int32_t physicalDriveId, NvmeIdentifyBlock identify,
                                            bool usb2Mode) {
    return readNvmeBridge(*this, physicalDriveId, usb2Mode ? kJMicronIdentifyUsb2 : kJMicronIdentify,
                          identify);
}

bool CAtaSmart::GetSmartAttributeNVMeJMicron(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    return readNvmeBridge(*this, physicalDriveId, kJMicronHealth, asi.SmartReadData);
}

bool CAtaSmart::DoIdentifyDeviceNVMeASMedia(std::int32_t physicalDriveId, NvmeIdentifyBlock identify) {
    return readNvmeBridge(*this, physicalDriveId, kASMediaIdentify, identify);
}

bool CAtaSmart::GetSmartAttributeNVMeASMedia(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    return readNvmeBridge(*this, physicalDriveId, kASMediaHealth, asi.SmartReadData);
}

bool CAtaSmart::DoIdentifyDeviceNVMeRealtek(std::int32_t physicalDriveId, NvmeIdentifyBlock identify) {
    return readNvmeBridge(*this, physicalDriveId, kRealtekIdentify, identify);
}

bool CAtaSmart::GetSmartAttributeNVMeRealtek(std::int32_t physicalDriveId, AtaSmartInfo& asi) {
    DebugPrint(L"GetSmartAttributeNVMeRealtek");
    return readNvmeBridge(*this, physicalDriveId, kRealtekHealth, asi.SmartReadData);
}

} // namespace orv
