#include "platform/machine/drives/MachineDriveRows.h"

#include "platform/machine/drives/MachineDriveAnswers.h"
#include "platform/records/StorageRecords.h"

#include <fmt/xchar.h>

#include <algorithm>

namespace orv::platform {

namespace {

using Rows = std::vector<ManagementColumns>;

constexpr std::uint32_t kBusType1394 = 4; // STORAGE_BUS_TYPE

/// How the management data tells a bus.
struct BusRow {
    std::uint32_t type; ///< STORAGE_BUS_TYPE
    std::wstring_view interfaceType;
    std::wstring_view modelEnding;
};
constexpr BusRow kBuses[] = {
    {1, L"SCSI", L" SCSI Disk Device"},
    {3, L"IDE", L" ATA Device"},
    {kBusType1394, L"1394", L" IEEE 1394 SBP2 Device"},
    {kBusTypeUsb, L"USB", L" USB Device"},
    {9, L"SCSI", L" SCSI Disk Device"},
    {10, L"SCSI", L" SCSI Disk Device"},
    {11, L"IDE", L""},
};
constexpr BusRow kUsbAttachedScsi = {kBusTypeUsb, L"SCSI", L" SCSI Disk Device"};
constexpr BusRow kOtherBus = {0, L"SCSI", L""};

/// A drive as the management data shows it.
struct Shown {
    const MachineDrive& drive;
    DriveDescriptor told;
    const DriveController* controller; ///< null when it is not described
    BusRow bus;
};

const DriveController* controllerOf(const MachineDrives& drives, const MachineDrive& drive) {
    for (const DriveController& controller : drives.controllers())
        if (!drive.controllerId.empty() && sameId(controller.id, drive.controllerId)) return &controller;
    return nullptr;
}

Shown show(const MachineDrives& drives, const MachineDrive& drive) {
    Shown shown{drive, toldDescriptor(drive), controllerOf(drives, drive), kOtherBus};
    const auto* const bus = std::ranges::find(kBuses, *shown.told.busType, &BusRow::type);
    if (bus != std::end(kBuses)) shown.bus = *bus;
    if (shown.bus.type == kBusTypeUsb && shown.controller && shown.controller->kind == ControllerKind::scsi)
        shown.bus = kUsbAttachedScsi;
    return shown;
}

/// Each byte of a text of the drive is a character.
std::wstring widened(const std::optional<std::string>& text) {
    std::wstring wide;
    for (const char letter : text.value_or(""))
        wide.push_back(static_cast<unsigned char>(letter));
    return wide;
}

ManagementValue textOrNull(std::wstring text) {
    return text.empty() ? null() : bstr(std::move(text));
}

/// A text as a part of an id: upper case, and '_' for what an id cannot hold.
std::wstring idPart(std::wstring_view text, std::size_t most) {
    std::wstring part(text.substr(0, most));
    for (wchar_t& letter : part) {
        if (letter >= L'a' && letter <= L'z') letter += L'A' - L'a';
        const bool kept =
            (letter >= L'A' && letter <= L'Z') || (letter >= L'0' && letter <= L'9') || letter == L'-';
        if (!kept) letter = L'_';
    }
    return part;
}

/// The id of the file, or one made of what the drive tells.
std::wstring pnpIdOf(const Shown& shown) {
    constexpr std::size_t most = 40;
    const MachineDrive& drive = shown.drive;
    if (!drive.pnpDeviceId.empty() || !drive.number) return drive.pnpDeviceId;
    const std::wstring names = fmt::format(L"DISK&VEN_{}&PROD_{}", idPart(widened(shown.told.vendor), most),
                                           idPart(widened(shown.told.product), most));
    if (shown.bus.interfaceType == L"USB") {
        const std::wstring serial = idPart(widened(shown.told.serial), most);
        return fmt::format(LR"(USBSTOR\{}&REV_{}\{}&0)", names, idPart(widened(shown.told.revision), most),
                           serial.empty() ? fmt::format(L"6&{:X}", *drive.number) : serial);
    }
    if (!drive.address) return fmt::format(LR"(SCSI\{}\5&FFFFFFFF&0&{:06X})", names, *drive.number);
    const DriveAddress& place = *drive.address;
    return fmt::format(LR"(SCSI\{}\5&{:08X}&0&{:02X}{:02X}{:02X})", names, unsigned{place.port},
                       unsigned{place.path}, unsigned{place.target}, unsigned{place.lun});
}

std::wstring modelOf(const Shown& shown) {
    std::wstring model = widened(shown.told.vendor);
    const std::wstring product = widened(shown.told.product);
    if (!model.empty() && !product.empty()) model += L' ';
    model += product;
    return model.empty() ? model : model + std::wstring(shown.bus.modelEnding);
}

std::wstring mediaTypeOf(const Shown& shown) {
    constexpr std::uint32_t removable = 11; // MEDIA_TYPE
    constexpr std::uint32_t fixed = 12;
    const std::uint32_t type = shown.drive.facts().mediaType;
    if (type == removable) return L"Removable Media";
    if (type != fixed) return L"";
    return shown.bus.type == kBusTypeUsb || shown.bus.type == kBusType1394 ? L"External hard disk media"
                                                                           : L"Fixed hard disk media";
}

/// Bytes of the whole cylinders, as the geometry has them.
std::wstring sizeOf(const DriveFacts& facts) {
    constexpr std::uint64_t cylinder = std::uint64_t{255} * 63 * 512;
    return facts.capacityBytes == 0 ? L"" : std::to_wstring(facts.capacityBytes / cylinder * cylinder);
}

/// The row of Win32_DiskDrive with what the file has of it in place of the drive's own.
ManagementColumns driveRow(const Shown& shown) {
    const MachineDrive& drive = shown.drive;
    const auto part = [&](std::uint8_t DriveAddress::*of) {
        return drive.address ? i4((*drive.address).*of) : null();
    };
    const std::wstring model = modelOf(shown);
    ManagementColumns row = {
        {L"DeviceID", bstr(LR"(\\.\PHYSICALDRIVE)" + std::to_wstring(*drive.number))},
        {L"Model", textOrNull(model)},
        {L"Caption", textOrNull(model)},
        {L"Size", textOrNull(sizeOf(drive.facts()))},
        {L"FirmwareRevision", textOrNull(widened(shown.told.revision))},
        {L"SerialNumber", textOrNull(widened(shown.told.serial))},
        {L"InterfaceType", bstr(std::wstring(shown.bus.interfaceType))},
        {L"MediaType", textOrNull(mediaTypeOf(shown))},
        {L"PNPDeviceID", bstr(pnpIdOf(shown))},
        {L"SCSIPort", part(&DriveAddress::port)},
        {L"SCSIBus", part(&DriveAddress::path)},
        {L"SCSITargetId", part(&DriveAddress::target)},
        {L"SCSILogicalUnit", part(&DriveAddress::lun)},
    };
    for (const auto& [column, value] : drive.facts().managementRow.columns)
        row[column] = value;
    return row;
}

ManagementColumns deviceRow(const std::wstring& id, const std::wstring& name) {
    return {{L"DeviceID", bstr(id)}, {L"PNPDeviceID", bstr(id)}, {L"Name", textOrNull(name)}};
}

/// The drive as a device: it is called what its row has as the model.
ManagementColumns entityRow(const Shown& shown) {
    const std::wstring model = shown.drive.number ? driveRow(shown)[L"Model"].text : modelOf(shown);
    return deviceRow(pnpIdOf(shown), model);
}

/// The USB device that a drive stands in: it has the instance of the drive's id without the unit.
ManagementColumns usbRow(const Shown& shown) {
    const DriveUsb& usb = *shown.drive.usb;
    std::wstring instance = pnpIdOf(shown);
    instance.erase(0, instance.rfind(L'\\') + 1);
    if (const std::size_t unit = instance.rfind(L'&'); unit != std::wstring::npos) instance.erase(unit);
    return deviceRow(fmt::format(LR"(USB\VID_{:04X}&PID_{:04X}\{})", unsigned{usb.vendorId},
                                 unsigned{usb.productId}, instance),
                     usb.name);
}

struct ControllerClass {
    ControllerKind kind;
    std::wstring_view name;
    std::wstring_view devices; ///< class in the condition of the query for its devices
};
constexpr ControllerClass kControllerClasses[] = {
    {ControllerKind::ide, L"Win32_IDEController", L"Win32_IDEControllerDevice"},
    {ControllerKind::scsi, L"Win32_SCSIController", L"Win32_SCSIControllerDevice"},
    {ControllerKind::usb, L"Win32_USBController", L"Win32_USBControllerDevice"},
};

class Answering {
  public:
    Answering(const MachineDrives& drives, const ManagementQuery& query) : drives_(drives), query_(query) {}

    std::optional<Rows> associated() {
        if (asksFor(L"Win32_DiskDrive", L"Win32_PnPEntity")) return entityOfDrive();
        if (asksFor(L"Win32_PnPEntity", L"Win32_SCSIControllerDevice")) return controllerOfEntity();
        for (const ControllerClass& row : kControllerClasses)
            if (asksFor(row.name, row.devices)) return devicesOn(row.kind);
        return std::nullopt;
    }

    std::optional<Rows> selection() {
        if (sameName(query_.className, L"MSStorageDriver_FailurePredictData"))
            return predicted(&DriveFacts::smart, &FailurePredict::data);
        if (sameName(query_.className, L"MSStorageDriver_FailurePredictThresholds"))
            return predicted(&DriveFacts::thresholds, &FailurePredict::thresholds);
        if (!drives_.managed()) return std::nullopt;
        if (sameName(query_.className, L"Win32_DiskDrive")) return driveRows();
        if (sameName(query_.className, L"Win32_PnPSignedDriver")) return Rows();
        for (const ControllerClass& row : kControllerClasses)
            if (sameName(query_.className, row.name)) return controllerRows(row.kind);
        return std::nullopt;
    }

  private:
    bool asksFor(std::wstring_view of, std::wstring_view condition) const {
        return sameName(query_.className, of) &&
               (query_.filter.empty() || sameName(query_.filterClass, condition));
    }

    /// The drives that are present, each with `take`.
    void forEach(auto&& take) const {
        for (const auto& drive : drives_.all())
            if (drive->present()) take(show(drives_, *drive));
    }

    Rows driveRows() const {
        Rows rows;
        forEach([&](const Shown& shown) {
            if (shown.drive.number && shown.drive.facts().managementRow.present)
                rows.push_back(driveRow(shown));
        });
        return rows;
    }

    Rows controllerRows(ControllerKind kind) const {
        Rows rows;
        for (const DriveController& controller : drives_.controllers())
            if (controller.kind == kind) rows.push_back(deviceRow(controller.id, controller.name));
        return rows;
    }

    /// A USB disk comes after its USB device, as a child after its parent.
    Rows devicesOn(ControllerKind kind) const {
        Rows rows;
        forEach([&](const Shown& shown) {
            if (!shown.controller || shown.controller->kind != kind ||
                !sameId(shown.controller->id, query_.id))
                return;
            if (kind == ControllerKind::usb && shown.drive.usb) rows.push_back(usbRow(shown));
            rows.push_back(entityRow(shown));
        });
        return rows;
    }

    Rows entityOfDrive() const {
        Rows rows;
        forEach([&](const Shown& shown) {
            const auto& number = shown.drive.number;
            if (number && sameId(LR"(\\.\PhysicalDrive)" + std::to_wstring(*number), query_.id))
                rows.push_back(entityRow(shown));
        });
        return rows;
    }

    /// The SCSI controller of a disk that is given by its own id; one that is not described counts as such.
    Rows controllerOfEntity() const {
        Rows rows;
        forEach([&](const Shown& shown) {
            const DriveController* controller = shown.controller;
            if (shown.drive.controllerId.empty() || !sameId(pnpIdOf(shown), query_.id)) return;
            if (controller && controller->kind && controller->kind != ControllerKind::scsi) return;
            rows.push_back(deviceRow(shown.drive.controllerId, controller ? controller->name : L""));
        });
        return rows;
    }

    /// A block of the failure prediction, or the drive's own in its place. No rows: the class is not there.
    std::optional<Rows> predicted(DriveBlock DriveFacts::*own, DriveBlock FailurePredict::*given) const {
        Rows rows;
        forEach([&](const Shown& shown) {
            const DriveFacts& facts = shown.drive.facts();
            if (!facts.failurePredict) return;
            const FailurePredict& predict = *facts.failurePredict;
            const DriveBlock& block = (predict.*given).empty() ? facts.*own : predict.*given;
            if (block.empty()) return;
            rows.push_back({{L"InstanceName", bstr(predict.instanceName.value_or(pnpIdOf(shown) + L"_0"))},
                            {L"VendorSpecific", byteArray(block)}});
        });
        return rows.empty() ? std::nullopt : std::optional(std::move(rows));
    }

    const MachineDrives& drives_;
    const ManagementQuery& query_;
};

} // namespace

std::optional<Rows> answerDriveQuery(const MachineDrives& drives, const ManagementQuery& query) {
    Answering answering(drives, query);
    if (query.associators) return answering.associated();
    auto rows = answering.selection();
    if (rows) return selected(query, std::move(*rows));
    return rows;
}

} // namespace orv::platform
