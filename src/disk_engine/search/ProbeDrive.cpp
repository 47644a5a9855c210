#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"

#include <algorithm>
#include <array>

namespace orv {

namespace {

constexpr std::uint8_t kMaster = 0xA0;
constexpr std::uint8_t kSlave = 0xB0;

/// A command set that a USB bridge may understand.
struct BridgeStep {
    std::uint8_t target;
    CommandType path;
    const wchar_t* label;
    bool asm1352rToo = false; ///< an answer may be the first of the two drives of an ASM1352R
};

constexpr BridgeStep kJMicronList[] = {
    {kMaster, CMD_TYPE_JMICRON, L"AddDisk - USB0A"},
    {kMaster, CMD_TYPE_SAT, L"AddDisk - USB1A"},
    {kSlave, CMD_TYPE_JMICRON, L"AddDisk - USB0B"},
    {kSlave, CMD_TYPE_SAT, L"AddDisk - USB1B"},
};
constexpr BridgeStep kIoDataList[] = {
    {kMaster, CMD_TYPE_IO_DATA, L"AddDisk - USB2"},
    {kSlave, CMD_TYPE_IO_DATA, L"AddDisk - USB3"},
};
constexpr BridgeStep kSunplusList[] = {
    {kMaster, CMD_TYPE_SUNPLUS, L"AddDisk - USB4"},
    {kSlave, CMD_TYPE_SUNPLUS, L"AddDisk - USB5"},
};
constexpr BridgeStep kCypressList[] = {
    {kMaster, CMD_TYPE_CYPRESS, L"AddDisk - USB6"},
    {kSlave, CMD_TYPE_CYPRESS, L"AddDisk - USB7"},
};
constexpr BridgeStep kInitioOxfordList[] = {
    {kMaster, CMD_TYPE_SAT, L"AddDisk - USB8"},
    {kSlave, CMD_TYPE_SAT, L"AddDisk - USB9"},
};
constexpr BridgeStep kGeneralList[] = {
    {kMaster, CMD_TYPE_SAT, L"AddDisk - USB10", true}, {kMaster, CMD_TYPE_JMICRON, L"AddDisk - USB11"},
    {kMaster, CMD_TYPE_SUNPLUS, L"AddDisk - USB12"},   {kMaster, CMD_TYPE_CYPRESS, L"AddDisk - USB13"},
    {kMaster, CMD_TYPE_LOGITEC, L"AddDisk - USB14"},   {kMaster, CMD_TYPE_PROLIFIC, L"AddDisk - USB14"},
    {kSlave, CMD_TYPE_SAT, L"AddDisk - USB15"},        {kSlave, CMD_TYPE_JMICRON, L"AddDisk - USB16"},
    {kSlave, CMD_TYPE_SUNPLUS, L"AddDisk - USB17"},    {kSlave, CMD_TYPE_CYPRESS, L"AddDisk - USB18"},
    {kSlave, CMD_TYPE_LOGITEC, L"AddDisk - USB19"},    {kSlave, CMD_TYPE_PROLIFIC, L"AddDisk - USB20"},
};

struct NvmeStep {
    CommandType path;
    const wchar_t* name;       ///< traced before the command; null: nothing is
    const wchar_t* answers[2]; ///< traced when there is an answer; null: nothing is
    int mode = 0;              ///< CommandPath::nvme
};

constexpr NvmeStep kNvmeList[] = {
    {CMD_TYPE_NVME_STORAGE_QUERY,
     L"DoIdentifyDeviceNVMeStorageQuery",
     {L"AddDiskNVMe - CMD_TYPE_NVME_STORAGE_QUERY"}},
    {CMD_TYPE_NVME_INTEL_VROC, L"DoIdentifyDeviceNVMeIntelVroc", {L"AddDiskNVMe - CMD_TYPE_NVME_INTEL_VROC"}},
    {CMD_TYPE_NVME_INTEL_RST, L"DoIdentifyDeviceNVMeIntelRst", {L"AddDiskNVMe - CMD_TYPE_NVME_INTEL_RST"}},
    {CMD_TYPE_NVME_SAMSUNG, L"DoIdentifyDeviceNVMeSamsung", {L"AddDiskNVMe - CMD_TYPE_NVME_SAMSUNG"}},
    {CMD_TYPE_NVME_INTEL, L"DoIdentifyDeviceNVMeIntel", {L"AddDiskNVMe - CMD_TYPE_NVME_INTEL"}},
};

/// USB bridges. The first two are also the JMicron vendor's own.
constexpr NvmeStep kNvmeBridges[] = {
    {CMD_TYPE_NVME_JMICRON, nullptr, {L"DoIdentifyDeviceNVMeJMicron"}},
    {CMD_TYPE_NVME_JMICRON, nullptr, {L"DoIdentifyDeviceNVMeJMicron: USB2.0 mode"}, 1},
    {CMD_TYPE_NVME_ASMEDIA, nullptr, {L"DoIdentifyDeviceNVMeASMedia"}},
    {CMD_TYPE_NVME_REALTEK, nullptr, {}},
};
constexpr NvmeStep kRealtekOwn[] = {
    {CMD_TYPE_NVME_REALTEK,
     nullptr,
     {L"DoIdentifyDeviceNVMeRealtek", L"AddDiskNVMe - CMD_TYPE_NVME_REALTEK"}},
};
constexpr std::span<const NvmeStep> kJMicronNvme = std::span(kNvmeBridges).first<2>();

/// What is known of the bridges of a USB vendor.
struct UsbVendorRule {
    std::uint32_t vendor;
    std::int64_t product; ///< kAnyProduct, or the only one that the rule is of
    const wchar_t* label; ///< null: none
    std::span<const BridgeStep> bridges;
    std::span<const NvmeStep> nvmeBridges;
    bool last;               ///< nothing else is tried
    const wchar_t* endLabel; ///< null: none
};

constexpr std::int64_t kAnyProduct = -1;

constexpr std::uint32_t USB_VENDOR_LOGITEC = 0x0789;
constexpr std::uint32_t USB_VENDOR_JMICRON = 0x152D;
constexpr std::uint32_t USB_VENDOR_IO_DATA = 0x04BB;
constexpr std::uint32_t USB_VENDOR_SUNPLUS = 0x04FC;
constexpr std::uint32_t USB_VENDOR_CYPRESS = 0x04B4;
constexpr std::uint32_t USB_VENDOR_INITIO = 0x13FD;
constexpr std::uint32_t USB_VENDOR_OXFORD = 0x0928;
constexpr std::uint32_t kUsbVendorRealtek = 0x0BDA;

constexpr const wchar_t* kNothingFound = L"FALSE - USB0";
constexpr const wchar_t* kInitioOrOxford =
    L"usbVendorId == USB_VENDOR_INITIO || usbVendorId == USB_VENDOR_OXFORD";

/// The first that fits counts.
constexpr UsbVendorRule kUsbVendorRules[] = {
    {USB_VENDOR_LOGITEC,
     0x00D9,
     L"FALSE: usbVendorId == USB_VENDOR_LOGITEC && productId == 0x00D9",
     {},
     {},
     true,
     nullptr},
    {0x05E3, 0x0702, L"FALSE: usbVendorId == 0x05E3 && productId == 0x0702", {}, {}, true, nullptr},
    {USB_VENDOR_JMICRON, kAnyProduct, L"usbVendorId == USB_VENDOR_JMICRON", kJMicronList, kJMicronNvme, true,
     kNothingFound},
    {kUsbVendorRealtek, kAnyProduct, nullptr, {}, kRealtekOwn, false, nullptr},
    {USB_VENDOR_IO_DATA,
     0x0122,
     L"(usbVendorId == USB_VENDOR_IO_DATA && productId == 0x0122)",
     kJMicronList,
     {},
     true,
     kNothingFound},
    {USB_VENDOR_IO_DATA, kAnyProduct, L"usbVendorId == USB_VENDOR_IO_DATA", kIoDataList, {}, false, nullptr},
    {USB_VENDOR_SUNPLUS, kAnyProduct, L"usbVendorId == USB_VENDOR_SUNPLUS", kSunplusList, {}, false, nullptr},
    {USB_VENDOR_CYPRESS, kAnyProduct, L"usbVendorId == USB_VENDOR_CYPRESS", kCypressList, {}, false, nullptr},
    {USB_VENDOR_INITIO, kAnyProduct, kInitioOrOxford, kInitioOxfordList, {}, false, nullptr},
    {USB_VENDOR_OXFORD, kAnyProduct, kInitioOrOxford, kInitioOxfordList, {}, false, nullptr},
};

const UsbVendorRule* usbVendorRule(const DriveSighting& drive) {
    const auto* rule = std::ranges::find_if(kUsbVendorRules, [&](const UsbVendorRule& each) {
        return each.vendor == drive.usbVendorId &&
               (each.product == kAnyProduct || each.product == drive.usbProductId);
    });
    return rule == std::end(kUsbVendorRules) ? nullptr : rule;
}

/// The search for the path of one drive. One block takes what each command answers.
class DriveProbe {
  public:
    DriveProbe(CAtaSmart& engine, const DriveSighting& drive) : engine_(engine), drive_(drive) {}

    bool plainAta();
    bool external();

  private:
    bool answersAsPhysicalDrive();
    bool scsiMiniport();
    bool hasScsiAddress() const { return drive_.scsiPort >= 0 && drive_.scsiTargetId >= 0; }
    bool isAllowed(CommandType path) const { return (engine_.*commandPath(path).allowedBy) != 0; }
    bool identifies(CommandType path, std::uint8_t target = kMaster) {
        return commandPath(path).identify(engine_, drive_, target, ataBlock());
    }
    bool tryBridge(const BridgeStep& step);
    bool tryNvme(const NvmeStep& step);
    bool anyBridge(std::span<const BridgeStep> steps) {
        return std::ranges::any_of(steps, [this](const BridgeStep& step) { return tryBridge(step); });
    }
    bool anyNvme(std::span<const NvmeStep> steps) {
        return std::ranges::any_of(steps, [this](const NvmeStep& step) { return tryNvme(step); });
    }
    bool addAta(std::uint8_t target, std::uint32_t commandType);
    void traceAddDisk(int step) const;
    IdentifyBlock ataBlock() { return std::span(identify_).first<kIdentifyBytes>(); }

    CAtaSmart& engine_;
    const DriveSighting& drive_;
    std::array<std::uint8_t, kNvmeIdentifyBytes> identify_{};
};

bool DriveProbe::addAta(std::uint8_t target, std::uint32_t commandType) {
    return engine_.AddDisk({.physicalDriveId = drive_.physicalDriveId,
                            .scsiPort = drive_.scsiPort,
                            .scsiTargetId = drive_.scsiTargetId,
                            .scsiBus = drive_.scsiBus,
                            .target = target,
                            .commandType = commandType,
                            .siliconImageType = drive_.siliconImageType,
                            .pnpDeviceId = drive_.pnpDeviceId},
                           ataBlock());
}

void DriveProbe::traceAddDisk(int step) const {
    DebugFormat(L"AddDisk({}, {}, {}) - {}", drive_.physicalDriveId, drive_.scsiPort, drive_.scsiTargetId,
                step);
}

bool DriveProbe::answersAsPhysicalDrive() {
    const std::int32_t id = drive_.physicalDriveId;
    DebugFormat(L"DoIdentifyDevicePd({}, 0xA0) - 1", id);
    if (identifies(CMD_TYPE_PHYSICAL_DRIVE)) return true;
    DebugFormat(L"WakeUp({})", id);
    engine_.WakeUp(id);
    DebugFormat(L"DoIdentifyDevicePd({}, 0xA0) - 2", id);
    if (identifies(CMD_TYPE_PHYSICAL_DRIVE)) return true;
    DebugFormat(L"DoIdentifyDevicePd({}, 0xB0) - 3", id);
    return identifies(CMD_TYPE_PHYSICAL_DRIVE, kSlave);
}

bool DriveProbe::scsiMiniport() {
    return hasScsiAddress() && identifies(CMD_TYPE_SCSI_MINIPORT);
}

bool DriveProbe::plainAta() {
    if (drive_.siliconImageType != 0) {
        engine_.WakeUp(drive_.physicalDriveId);
        DebugFormat(L"physicalDriveId={}, scsiPort={}, scsiBus={}, scsiTargetId={}", drive_.physicalDriveId,
                    drive_.scsiPort, drive_.scsiBus, drive_.scsiTargetId);
        if (identifies(CMD_TYPE_SILICON_IMAGE)) {
            DebugPrint(L"AddDisk - Si");
            return addAta(kMaster, CMD_TYPE_SILICON_IMAGE);
        }
    }
    if (drive_.physicalDriveId < 0) {
        DebugFormat(L"DoIdentifyDeviceScsi({}, {}) - 7", drive_.scsiPort, drive_.scsiTargetId);
        if (!scsiMiniport()) return false;
        traceAddDisk(8);
        return addAta(kMaster, CMD_TYPE_SCSI_MINIPORT);
    }
    if (!answersAsPhysicalDrive()) {
        DebugFormat(L"DoIdentifyDeviceScsi({}, {}) - 4", drive_.scsiPort, drive_.scsiTargetId);
        const bool mayAskPort =
            drive_.isNvidiaController || drive_.isMarvellController || engine_.AdvancedDiskSearch;
        if (!mayAskPort || !scsiMiniport()) return false;
        traceAddDisk(5);
        return addAta(kMaster, CMD_TYPE_SCSI_MINIPORT);
    }
    traceAddDisk(6);
    return addAta(kMaster, CMD_TYPE_PHYSICAL_DRIVE); // whichever device select it answered to
}

bool DriveProbe::tryBridge(const BridgeStep& step) {
    if (!isAllowed(step.path) || !identifies(step.path, step.target)) return false;
    DebugPrint(step.label);
    bool added = addAta(step.target, step.path);
    if (step.asm1352rToo && isAllowed(CMD_TYPE_SAT_ASM1352R) && identifies(CMD_TYPE_SAT_ASM1352R)) {
        DebugPrint(L"AddDisk - ASM1352R");
        if (addAta(kMaster, CMD_TYPE_SAT_ASM1352R)) added = true;
    }
    return added;
}

bool DriveProbe::tryNvme(const NvmeStep& step) {
    const CommandPath& path = commandPath(step.path);
    const NvmeIdentify& way = path.nvme[step.mode];
    if (way.allowedBy && !(engine_.*way.allowedBy)) return false;
    if (step.name) DebugPrint(step.name);
    std::uint32_t diskSize = 0;
    if (!way.identify(engine_, drive_, identify_, diskSize)) return false;
    for (const wchar_t* text : step.answers)
        if (text) DebugPrint(text);
    return engine_.AddDiskNVMe({.physicalDriveId = drive_.physicalDriveId,
                                .scsiPort = drive_.scsiPort,
                                .scsiTargetId = drive_.scsiTargetId,
                                .scsiBus = drive_.scsiBus,
                                .target = static_cast<std::uint8_t>(drive_.scsiTargetId),
                                .commandType = path.type},
                               identify_, path.sizeCounts ? &diskSize : nullptr);
}

bool DriveProbe::external() {
    if (drive_.interfaceType == INTERFACE_TYPE_NVME && anyNvme(kNvmeList)) return true;
    if (drive_.physicalDriveId < 0) return false;
    engine_.WakeUp(drive_.physicalDriveId);
    if (drive_.interfaceType == INTERFACE_TYPE_USB) {
        if (const UsbVendorRule* rule = usbVendorRule(drive_)) {
            if (rule->label) DebugPrint(rule->label);
            if (anyBridge(rule->bridges) || anyNvme(rule->nvmeBridges)) return true;
            if (rule->endLabel) DebugPrint(rule->endLabel);
            if (rule->last) return false;
        }
        if (drive_.nvmeHint && anyNvme(kNvmeBridges)) return true;
    }
    DebugPrint(L"else (USB-HDD)");
    DebugFormat(L"FlagUsbSat={}", engine_.FlagUsbSat);
    return anyBridge(kGeneralList) || anyNvme(kNvmeBridges);
}

} // namespace

bool CAtaSmart::GetDiskInfo(const DriveSighting& drive) {
    forgetProbe();
    DebugPrint(L"GetDiskInfo");
    if (vars.size() > kMaxDrives) {
        DebugPrint(L"GetDiskInfo - FALSE0");
        return false;
    }
    const bool known = std::ranges::any_of(
        vars, [&](const AtaSmartInfo& asi) { return asi.PhysicalDriveId == drive.physicalDriveId; });
    if (drive.physicalDriveId >= 0 && known) {
        DebugPrint(L"GetDiskInfo - FALSE1");
        return false;
    }
    DriveProbe probe(*this, drive);
    return drive.interfaceType <= INTERFACE_TYPE_SATA ? probe.plainAta() : probe.external();
}

} // namespace orv
