#include "platform/windows/DeviceServices.h"

#include "platform/records/BatteryRecords.h"

#include <windows.h>

#include <batclass.h>
#include <cstring>
#include <setupapi.h>
#include <vector>
#include <winioctl.h>

namespace orv::platform {

namespace {

// Our records against the system's own.
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == sizeof(::SP_DEVICE_INTERFACE_DATA) &&
              offsetof(SP_DEVICE_INTERFACE_DATA, Reserved) == offsetof(::SP_DEVICE_INTERFACE_DATA, Reserved));
static_assert(sizeof(Guid) == sizeof(GUID));
static_assert(sizeof(BATTERY_QUERY_INFORMATION) == sizeof(::BATTERY_QUERY_INFORMATION));
static_assert(sizeof(BATTERY_INFORMATION) == sizeof(::BATTERY_INFORMATION) &&
              offsetof(BATTERY_INFORMATION, CycleCount) == offsetof(::BATTERY_INFORMATION, CycleCount));
static_assert(sizeof(BATTERY_WAIT_STATUS) == sizeof(::BATTERY_WAIT_STATUS));
static_assert(sizeof(BATTERY_STATUS) == sizeof(::BATTERY_STATUS) &&
              offsetof(BATTERY_STATUS, Rate) == offsetof(::BATTERY_STATUS, Rate));
static_assert(sizeof(BATTERY_MANUFACTURE_DATE) == sizeof(::BATTERY_MANUFACTURE_DATE));

/// cbSize of the wide detail record in a 32-bit process, whose packing is one byte.
constexpr DWORD kDetailRecordSize = 6;
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) == kDetailRecordSize);

::SP_DEVICE_INTERFACE_DATA systemRecord(const SP_DEVICE_INTERFACE_DATA& data) {
    ::SP_DEVICE_INTERFACE_DATA record;
    std::memcpy(&record, &data, sizeof record);
    return record;
}

class SetupInterfaces : public DeviceInterfaces {
  public:
    SetupInterfaces(HDEVINFO list, const GUID& deviceClass) : list_(list), class_(deviceClass) {}
    ~SetupInterfaces() override { ::SetupDiDestroyDeviceInfoList(list_); }

    Result<SP_DEVICE_INTERFACE_DATA> at(std::uint32_t index) override {
        using Answer = Result<SP_DEVICE_INTERFACE_DATA>;
        ::SP_DEVICE_INTERFACE_DATA record{};
        record.cbSize = sizeof record;
        if (!::SetupDiEnumDeviceInterfaces(list_, nullptr, &class_, index, &record))
            return Answer::failed(::GetLastError());
        Answer answer;
        std::memcpy(&answer.value, &record, sizeof record);
        return answer;
    }

    Result<std::uint32_t> detailSize(const SP_DEVICE_INTERFACE_DATA& data) override {
        auto record = systemRecord(data);
        DWORD size = 0;
        ::SetLastError(ERROR_SUCCESS);
        ::SetupDiGetDeviceInterfaceDetailW(list_, &record, nullptr, 0, &size, nullptr);
        return {size, ::GetLastError()};
    }

    Result<std::wstring> detail(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t size) override {
        using Answer = Result<std::wstring>;
        if (size < kDetailRecordSize) return Answer::failed(kInsufficientBuffer);
        auto record = systemRecord(data);
        std::vector<std::byte> memory(size);
        auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(memory.data());
        detail->cbSize = kDetailRecordSize;
        if (!::SetupDiGetDeviceInterfaceDetailW(list_, &record, detail, size, nullptr, nullptr))
            return Answer::failed(::GetLastError());
        const std::size_t room = (size - offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath)) / 2;
        return {std::wstring(detail->DevicePath, ::wcsnlen(detail->DevicePath, room))};
    }

  private:
    HDEVINFO list_;
    GUID class_;
};

class OpenDevice : public DeviceFile {
  public:
    explicit OpenDevice(HANDLE file) : file_(file) {}
    ~OpenDevice() override { ::CloseHandle(file_); }

    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out) override {
        DWORD written = 0;
        // The system takes the input as writable but does not write it.
        if (!::DeviceIoControl(file_, code, const_cast<std::byte*>(in.data()), static_cast<DWORD>(in.size()),
                               out.data(), static_cast<DWORD>(out.size()), &written, nullptr))
            return Result<std::uint32_t>::failed(::GetLastError());
        return {written};
    }

  private:
    HANDLE file_;
};

} // namespace

Result<std::unique_ptr<DeviceInterfaces>> WindowsDeviceTree::interfacesOf(const Guid& deviceClass) {
    GUID guid;
    std::memcpy(&guid, &deviceClass, sizeof guid);
    const HDEVINFO list =
        ::SetupDiGetClassDevsW(&guid, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    if (list == INVALID_HANDLE_VALUE)
        return Result<std::unique_ptr<DeviceInterfaces>>::failed(::GetLastError());
    return {std::make_unique<SetupInterfaces>(list, guid)};
}

Result<std::unique_ptr<DeviceFile>> WindowsDeviceFiles::open(std::wstring_view path) {
    const HANDLE file = ::CreateFileW(std::wstring(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return Result<std::unique_ptr<DeviceFile>>::failed(::GetLastError());
    return {std::make_unique<OpenDevice>(file)};
}

} // namespace orv::platform
