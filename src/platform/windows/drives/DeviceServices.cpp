#include "platform/windows/drives/DeviceServices.h"

#include "platform/records/BatteryRecords.h"

#include <windows.h>

#include <batclass.h>
#include <cfgmgr32.h>
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

/// The code of a failed question to the configuration manager.
ErrorCode configurationError(CONFIGRET result) {
    return result == CR_BUFFER_SMALL ? kInsufficientBuffer : kGeneralFailure;
}

class SetupDevice : public Device {
  public:
    SetupDevice(HDEVINFO list, const SP_DEVINFO_DATA& record) : list_(list), record_(record) {}

    Result<std::wstring> id(std::uint32_t room) override {
        using Answer = Result<std::wstring>;
        ULONG length = 0; // without the NUL; asked for, as not every system refuses to cut an id short
        CONFIGRET result = ::CM_Get_Device_ID_Size(&length, record_.DevInst, 0);
        if (result != CR_SUCCESS) return Answer::failed(configurationError(result));
        if (length >= room) return Answer::failed(kInsufficientBuffer);
        std::wstring text(room, L'\0');
        result = ::CM_Get_Device_IDW(record_.DevInst, text.data(), room, 0);
        if (result != CR_SUCCESS) return Answer::failed(configurationError(result));
        text.resize(::wcsnlen(text.data(), room));
        return {std::move(text)};
    }

    Result<std::uint32_t> property(const DevicePropertyKey& key, std::span<std::byte> data) override {
        // By name: the library has to load where the system's own one has no such function.
        const HMODULE library = ::LoadLibraryW(L"Setupapi.dll");
        if (!library) return Result<std::uint32_t>::failed(kModuleNotFound);
        const auto question = reinterpret_cast<Question>(
            reinterpret_cast<void (*)()>(::GetProcAddress(library, "SetupDiGetDevicePropertyW")));
        const auto answer =
            question ? ask(question, key, data) : Result<std::uint32_t>::failed(kProcedureNotFound);
        ::FreeLibrary(library);
        return answer;
    }

  private:
    using Question = decltype(&::SetupDiGetDevicePropertyW);

    Result<std::uint32_t> ask(Question question, const DevicePropertyKey& key, std::span<std::byte> data) {
        DEVPROPKEY systemKey;
        static_assert(sizeof systemKey == sizeof key);
        std::memcpy(&systemKey, &key, sizeof key);
        DEVPROPTYPE type = 0;
        DWORD size = 0;
        if (!question(list_, &record_, &systemKey, &type, reinterpret_cast<BYTE*>(data.data()),
                      static_cast<DWORD>(data.size()), &size, 0))
            return Result<std::uint32_t>::failed(::GetLastError());
        return {size};
    }

    HDEVINFO list_; // the owner's
    SP_DEVINFO_DATA record_;
};

class SetupDevices : public Devices {
  public:
    explicit SetupDevices(HDEVINFO list) : list_(list) {}
    ~SetupDevices() override { ::SetupDiDestroyDeviceInfoList(list_); }

    Result<std::unique_ptr<Device>> at(std::uint32_t index) override {
        SP_DEVINFO_DATA record{};
        record.cbSize = sizeof record;
        if (!::SetupDiEnumDeviceInfo(list_, index, &record))
            return Result<std::unique_ptr<Device>>::failed(::GetLastError());
        return {std::make_unique<SetupDevice>(list_, record)};
    }

  private:
    HDEVINFO list_;
};

/// The present devices or interfaces of a class.
Result<HDEVINFO> presentOf(const GUID& deviceClass, DWORD flags) {
    const HDEVINFO list = ::SetupDiGetClassDevsW(&deviceClass, nullptr, nullptr, DIGCF_PRESENT | flags);
    if (list == INVALID_HANDLE_VALUE) return Result<HDEVINFO>::failed(::GetLastError());
    return {list};
}

GUID systemGuid(const Guid& ours) {
    GUID guid;
    std::memcpy(&guid, &ours, sizeof guid);
    return guid;
}

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

    Result<std::uint32_t> read(std::uint64_t offset, std::span<std::byte> into) override {
        LARGE_INTEGER place;
        place.QuadPart = static_cast<LONGLONG>(offset);
        DWORD count = 0;
        if (!::SetFilePointerEx(file_, place, nullptr, FILE_BEGIN) ||
            !::ReadFile(file_, into.data(), static_cast<DWORD>(into.size()), &count, nullptr))
            return Result<std::uint32_t>::failed(::GetLastError());
        return {count};
    }

  private:
    HANDLE file_;
};

} // namespace

Result<std::unique_ptr<DeviceInterfaces>> WindowsDeviceTree::interfacesOf(const Guid& deviceClass) {
    const GUID guid = systemGuid(deviceClass);
    const auto list = presentOf(guid, DIGCF_DEVICEINTERFACE);
    if (!list.ok()) return Result<std::unique_ptr<DeviceInterfaces>>::failed(list.error);
    return {std::make_unique<SetupInterfaces>(list.value, guid)};
}

Result<std::unique_ptr<Devices>> WindowsDeviceTree::devicesOf(const Guid& setupClass) {
    const auto list = presentOf(systemGuid(setupClass), 0);
    if (!list.ok()) return Result<std::unique_ptr<Devices>>::failed(list.error);
    return {std::make_unique<SetupDevices>(list.value)};
}

Result<std::unique_ptr<DeviceFile>> WindowsDeviceFiles::open(std::wstring_view path,
                                                             const DeviceOpening& opening) {
    const DWORD access = GENERIC_READ | (opening.write ? GENERIC_WRITE : 0);
    const DWORD sharing =
        (opening.shareRead ? FILE_SHARE_READ : 0) | (opening.shareWrite ? FILE_SHARE_WRITE : 0);
    const HANDLE file = ::CreateFileW(std::wstring(path).c_str(), access, sharing, nullptr, OPEN_EXISTING,
                                      opening.attributes, nullptr);
    if (file == INVALID_HANDLE_VALUE) return Result<std::unique_ptr<DeviceFile>>::failed(::GetLastError());
    return {std::make_unique<OpenDevice>(file)};
}

std::uint32_t WindowsDeviceFiles::driveType(std::wstring_view root) {
    return ::GetDriveTypeW(std::wstring(root).c_str());
}

ErrorCode WindowsDeviceFiles::defineDosDevice(std::wstring_view name, std::wstring_view target) {
    return ::DefineDosDeviceW(DDD_RAW_TARGET_PATH, std::wstring(name).c_str(), std::wstring(target).c_str())
               ? kSuccess
               : ::GetLastError();
}

} // namespace orv::platform
