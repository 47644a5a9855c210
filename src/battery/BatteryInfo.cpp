#include "battery/BatteryInfo.h"

#include "SetupAPI/SetupAPI.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/text.h"
#include "platform/utf16.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

namespace orv::battery {

using namespace platform;

namespace {

// A list that fails at every index would never end by itself; no machine has so many batteries.
constexpr std::uint32_t kMostDevices = 256;

bool isNoDevice(const SP_DEVICE_INTERFACE_DATA& data) {
    constexpr SP_DEVICE_INTERFACE_DATA kNone{};
    return std::memcmp(&data, &kNone, sizeof kNone) == 0;
}

/// The open interface list of a scope.
class OpenDevices {
  public:
    OpenDevices() { batteryDeviceOpen(); }
    ~OpenDevices() { batteryDeviceClose(); }
    OpenDevices(const OpenDevices&) = delete;
    OpenDevices& operator=(const OpenDevices&) = delete;
};

/// One open battery and the record through which it is queried.
class Device {
  public:
    Device(const SP_DEVICE_INTERFACE_DATA& data, BATTERY_QUERY_INFORMATION& query) : query_(query) {
        auto file = batteryDeviceFile(data);
        if (!file.ok()) throwHW(L"CreateFile failed: {}", getSystemErrorText(file.error));
        file_ = std::move(file.value);
    }

    void queryTag() {
        const std::uint32_t wait = 0;
        std::uint32_t tag = 0;
        const ErrorCode error = record(IOCTL_BATTERY_QUERY_TAG, wait, tag);
        if (error) throwHW(L"IOCTL_BATTERY_QUERY_TAG failed: {}", getSystemErrorText(error));
        query_.BatteryTag = tag;
    }

    template <class Record>
    void required(BatteryLevel level, Record& answer) {
        if (const ErrorCode error = ask(level, answer)) throwFailed(error);
    }

    /// False when the driver does not support the level; `answer` then stays as it was.
    template <class Record>
    bool optional(BatteryLevel level, Record& answer) {
        const ErrorCode error = ask(level, answer);
        if (error == kInvalidFunction) return false;
        if (error) throwFailed(error);
        return true;
    }

    /// A required level that answers with a text, in a zeroed buffer of `size` bytes.
    std::vector<std::byte> text(BatteryLevel level, std::size_t size) {
        std::vector<std::byte> answer(size);
        query_.InformationLevel = level;
        const auto written =
            file_->control(IOCTL_BATTERY_QUERY_INFORMATION, std::as_bytes(std::span(&query_, 1)), answer);
        if (!written.ok()) throwFailed(written.error);
        return answer;
    }

    ErrorCode status(BATTERY_STATUS& answer) {
        BATTERY_WAIT_STATUS wait{};
        wait.BatteryTag = query_.BatteryTag;
        return record(IOCTL_BATTERY_QUERY_STATUS, wait, answer);
    }

  private:
    /// An answer shorter than its record is no answer: `out` changes only when all of it came.
    template <class In, class Out>
    ErrorCode record(std::uint32_t code, const In& in, Out& out) {
        Out answer{};
        const auto written = file_->control(code, std::as_bytes(std::span(&in, 1)),
                                            std::as_writable_bytes(std::span(&answer, 1)));
        if (!written.ok()) return written.error;
        if (written.value < sizeof answer) return kInvalidData;
        out = answer;
        return kSuccess;
    }

    template <class Record>
    ErrorCode ask(BatteryLevel level, Record& answer) {
        query_.InformationLevel = level;
        return record(IOCTL_BATTERY_QUERY_INFORMATION, query_, answer);
    }

    [[noreturn]] static void throwFailed(ErrorCode error) {
        throwHW(L"IOCTL_BATTERY_QUERY_INFORMATION failed: {}", getSystemErrorText(error));
    }

    BATTERY_QUERY_INFORMATION& query_;
    std::unique_ptr<DeviceFile> file_;
};

std::string serialFrom(const std::vector<std::byte>& answer) {
    return wideToUtf8(wideFromUtf16(answer));
}

std::string upToZero(const std::vector<std::byte>& answer) {
    const auto* text = reinterpret_cast<const char*>(answer.data());
    return {text, std::find(text, text + answer.size(), '\0')};
}

/// The writer of a tolerated gap: a warning while enumerating, a trace line while updating.
using Gap = void (*)(LocatedFormat<> format);
void warnGap(LocatedFormat<> format) {
    log::writeLocated(batteryLogger, log::Level::warn, {format.where, format.text, {}});
}
void traceGap(LocatedFormat<> format) {
    log::writeLocated(batteryLogger, log::Level::trace, {format.where, format.text, {}});
}

std::uint32_t readEstimatedTime(Device& device, Gap gap) {
    std::uint32_t seconds = 0;
    if (!device.optional(BatteryEstimatedTime, seconds)) {
        gap(L"BatteryEstimatedTime is not supported");
    } else if (seconds == BATTERY_UNKNOWN_TIME) {
        gap(L"BatteryEstimatedTime is BATTERY_UNKNOWN_TIME");
        seconds = 0;
    }
    return seconds;
}

void readManufactureDate(Device& device, Gap gap, BATTERY_MANUFACTURE_DATE& date) {
    if (!device.optional(BatteryManufactureDate, date)) gap(L"BatteryManufactureDate is not supported");
}

std::uint32_t readTemperature(Device& device, Gap gap) {
    std::uint32_t raw = 0;
    if (!device.optional(BatteryTemperature, raw)) gap(L"BatteryTemperature is not supported");
    return celsius(raw);
}

/// The record of one device; none for a device that is no system battery.
std::optional<BatteryInfo> readBattery(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t index) {
    BatteryInfo battery;
    battery.index = index;
    Device device(data, battery.query);
    device.queryTag();
    device.required(BatteryInformation, battery.information);
    if ((battery.information.Capabilities & BATTERY_SYSTEM_BATTERY) == 0) return std::nullopt;

    battery.deviceName = wideFromUtf16(device.text(BatteryDeviceName, kBatteryNameRoom));
    log::info(batteryLogger, L"BatteryDeviceName: {}", battery.deviceName);
    battery.manufactureName = wideFromUtf16(device.text(BatteryManufactureName, kBatteryNameRoom));
    log::info(batteryLogger, L"BatteryManufactureName: {}", battery.manufactureName);
    battery.estimatedTime = readEstimatedTime(device, warnGap);
    log::info(batteryLogger, L"BatteryEstimatedTime: {}", battery.estimatedTime);
    BATTERY_MANUFACTURE_DATE& date = battery.manufactureDate;
    readManufactureDate(device, warnGap, date);
    log::info(batteryLogger, L"BatteryManufactureDate: {}-{}-{}", date.Year, date.Month, date.Day);
    battery.serialNumber = serialFrom(device.text(BatterySerialNumber, kBatteryIdRoom));
    log::info(batteryLogger, L"BatterySerialNumber: {}", utf8ToWide(battery.serialNumber));
    battery.temperature = readTemperature(device, warnGap);
    log::info(batteryLogger, L"BatteryTemperature: {}", battery.temperature);
    battery.uniqueId = upToZero(device.text(BatteryUniqueID, kBatteryIdRoom));
    log::info(batteryLogger, L"BatteryUniqueID: {}", utf8ToWide(battery.uniqueId));
    return battery;
}

void logUpdated(const BatteryInfo& battery) {
    const BATTERY_MANUFACTURE_DATE& date = battery.manufactureDate;
    log::info(batteryLogger, L"UpdateBatteryStatus: Ok");
    log::debug(
        batteryLogger,
        L"manufacture:{}, capacity: {}, power: {}, status: {}, voltage: {}, design: {}, fullCharge: {} "
        L"cycle: {}, estimatedTime: {}, manufactureDate: {}-{}-{}, serialNumber: {}, temperature: {}, "
        L"uniqueID: {}",
        battery.manufactureName, battery.status.Capacity, battery.status.Rate, battery.status.PowerState,
        battery.status.Voltage, battery.information.DesignedCapacity, battery.information.FullChargedCapacity,
        battery.information.CycleCount, battery.estimatedTime, date.Year, date.Month, date.Day,
        utf8ToWide(battery.serialNumber), battery.temperature, utf8ToWide(battery.uniqueId));
}

} // namespace

std::uint32_t celsius(std::uint32_t raw) {
    return raw == 0 ? 0 : raw / 10 - 273;
}

std::vector<BatteryInfo> GetBatteryInfo() {
    log::entry(batteryLogger, L"orv::battery::GetBatteryInfo");
    const OpenDevices devices;
    std::vector<BatteryInfo> batteries;
    for (std::uint32_t index = 0; index < kMostDevices; ++index) {
        try {
            const auto data = batteryDeviceAt(index);
            if (isNoDevice(data)) break;
            if (auto battery = readBattery(data, index)) batteries.push_back(std::move(*battery));
        } catch (const std::exception& failure) {
            log::warn(batteryLogger, L"GetBatteryInfo failed in index {}, message {}", index,
                      utf8ToWide(failure.what()));
        }
    }
    log::Lines lines(batteryLogger, log::Level::info);
    lines.add(L"GetBatteryInfo: Ok");
    lines.add(L"Battery count: {}", batteries.size());
    return batteries;
}

void BatteryInfo::UpdateBatteryStatus() {
    log::entry(batteryLogger, L"orv::battery::BatteryInfo::UpdateBatteryStatus");
    const OpenDevices devices;
    const auto data = batteryDeviceAt(index);
    if (isNoDevice(data)) throwHW(L"SetupDiEnumDeviceInterfaces({}) failed: ", index);
    Device device(data, query);
    device.queryTag();
    device.required(BatteryInformation, information);
    device.text(BatteryDeviceName, kBatteryUpdateNameRoom); // asked for, but a name does not change
    if (const ErrorCode error = device.status(status)) {
        log::warn(batteryLogger, L"IOCTL_BATTERY_QUERY_STATUS failed: {}", getSystemErrorText(error));
        return;
    }
    estimatedTime = readEstimatedTime(device, traceGap);
    readManufactureDate(device, traceGap, manufactureDate);
    serialNumber = serialFrom(device.text(BatterySerialNumber, kBatteryUpdateIdRoom));
    temperature = readTemperature(device, traceGap);
    uniqueId = upToZero(device.text(BatteryUniqueID, kBatteryUpdateIdRoom));
    logUpdated(*this);
}

} // namespace orv::battery
