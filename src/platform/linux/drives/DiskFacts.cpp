#include "platform/linux/drives/DiskFacts.h"

#include "platform/linux/files/PciFunctions.h"

#include <algorithm>

namespace orv::platform {

namespace {

constexpr std::string_view kNvmePrefix = "nvme";
constexpr std::string_view kNvmeControllers = "/sys/class/nvme/nvme";

std::string_view lastPart(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// The path without its last component; empty at the top.
std::string_view parentOf(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == path.npos ? std::string_view() : path.substr(0, slash);
}

/// True when a name begins so and goes on with a digit.
bool isNumbered(std::string_view name, std::string_view prefix) {
    return name.size() > prefix.size() && name.starts_with(prefix) && name[prefix.size()] >= '0' &&
           name[prefix.size()] <= '9';
}

/// True for a path with such a component.
bool hasNumbered(std::string_view path, std::string_view prefix) {
    for (; !path.empty(); path = parentOf(path))
        if (isNumbered(lastPart(path), prefix)) return true;
    return false;
}

/// The part of a disk's folder that tells a place of the machine: what the kernel numbers as it comes is
/// below.
std::string_view placeOnMachine(std::string_view path) {
    std::string_view place = path;
    for (; !path.empty(); path = parentOf(path)) {
        const std::string_view part = lastPart(path);
        if (part == "block" || part == "nvme" || part == "nvme-subsystem" || part == "mmc_host" ||
            isNumbered(part, "host"))
            place = parentOf(path);
    }
    return place;
}

/// "1:0:2:3" of a SCSI device's folder.
std::optional<ScsiPlace> placeOf(std::string_view text) {
    std::uint64_t parts[4] = {};
    for (std::size_t at = 0; at < std::size(parts); ++at) {
        const auto end = at + 1 < std::size(parts) ? text.find(':') : text.size();
        const auto number = end == text.npos ? std::nullopt : wholeNumber(text.substr(0, end));
        if (!number) return std::nullopt;
        parts[at] = *number;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return ScsiPlace{parts[0], parts[1], parts[2], parts[3]};
}

/// Words of an identify block as text: each holds its two characters in reversed order.
std::string wordText(std::string_view identify, std::size_t firstWord, std::size_t words) {
    std::string text;
    for (std::size_t at = 2 * firstWord; at < 2 * (firstWord + words); at += 2) {
        text.push_back(identify[at + 1]);
        text.push_back(identify[at]);
    }
    return firstLine(text);
}

/// The SCSI layer keeps the ATA information page, in which the texts of the identify block are whole; those
/// of the inquiry are cut.
void takeAtaTexts(const RootedFiles& files, const std::string& device, DiskFacts& facts) {
    constexpr std::size_t identifyAt = 60;
    constexpr std::size_t identifyBytes = 512;
    const std::string page = files.read(device + "/vpd_pg89").value;
    if (page.size() < identifyAt + identifyBytes) return;
    const std::string_view identify = std::string_view(page).substr(identifyAt);
    facts.serial = wordText(identify, 10, 10);
    facts.firmware = wordText(identify, 23, 4);
    if (std::string model = wordText(identify, 27, 20); !model.empty()) facts.model = std::move(model);
}

/// The page of the unit's serial number: four bytes, of which the last is the length, then the text.
std::string unitSerial(const RootedFiles& files, const std::string& device) {
    constexpr std::size_t head = 4;
    const std::string page = files.read(device + "/vpd_pg80").value;
    return page.size() < head ? std::string()
                              : firstLine(page.substr(head, static_cast<unsigned char>(page[head - 1])));
}

/// Every USB device stands below its bus, "usb1", in sysfs.
bool isBelowUsb(std::string_view path) {
    return hasNumbered(path, "usb");
}

void takeUsb(const RootedFiles& files, std::string_view path, DiskFacts& facts) {
    if (!isBelowUsb(path)) return;
    for (; path.size() > 1; path = parentOf(path)) {
        const std::string folder(path);
        // An interface of the device, one folder below it, names the driver.
        if (files.linkName(folder + "/driver") == "uas") facts.usbAttachedScsi = true;
        const auto vendor = wholeNumber(files.line(folder + "/idVendor"), 16);
        if (!vendor) continue;
        facts.usbDevice = folder;
        facts.usbVendorId = static_cast<std::uint16_t>(*vendor);
        facts.usbProductId =
            static_cast<std::uint16_t>(wholeNumber(files.line(folder + "/idProduct"), 16).value_or(0));
        if (facts.serial.empty()) facts.serial = files.line(folder + "/serial");
        return;
    }
}

/// Which way leads to a disk of the SCSI layer. A controller in the way of the old IDE channels (PCI class
/// 0x0101) is an ATA bus, any other with ATA disks a SATA one.
std::uint32_t scsiBus(const RootedFiles& files, std::string_view path, const DiskFacts& facts) {
    constexpr std::uint32_t ideClass = 0x0101;
    if (!facts.usbDevice.empty()) return kBusUsb;
    if (hasNumbered(path, "session")) return kBusIscsi;
    if (hasNumbered(path, "end_device-")) return kBusSas;
    if (hasNumbered(path, "fw")) return kBus1394;
    if (!hasNumbered(path, "ata") && facts.vendor != "ATA") return kBusScsi;
    return pciClass(files, facts.pciController) >> 8 == ideClass ? kBusAta : kBusSata;
}

void takeScsi(const RootedFiles& files, const std::string& path, DiskFacts& facts) {
    const std::string device = diskFolder(facts.name) + "/device";
    facts.place = placeOf(files.linkName(device));
    facts.vendor = files.line(device + "/vendor");
    facts.model = files.line(device + "/model");
    facts.firmware = files.line(device + "/rev");
    takeAtaTexts(files, device, facts);
    if (facts.serial.empty()) facts.serial = unitSerial(files, device);
    takeUsb(files, path, facts);
    facts.bus = scsiBus(files, path, facts);
}

std::optional<std::uint32_t> controllerNumber(std::string_view name) {
    if (!name.starts_with(kNvmePrefix)) return std::nullopt;
    const auto number = wholeNumber(name.substr(kNvmePrefix.size()));
    return number && *number <= UINT32_MAX ? std::optional(static_cast<std::uint32_t>(*number))
                                           : std::nullopt;
}

/// A namespace's device is its controller, or the subsystem whose controllers are the paths to it: then the
/// first one that is live, or else the first.
std::optional<std::uint32_t> nvmeControllerOf(const RootedFiles& files, const std::string& device) {
    if (const auto own = controllerNumber(files.linkName(device))) return own;
    std::vector<std::uint32_t> controllers;
    for (const std::string& name : files.list(device).value)
        if (const auto number = controllerNumber(name)) controllers.push_back(*number);
    std::sort(controllers.begin(), controllers.end());
    for (const std::uint32_t number : controllers)
        if (files.line(nvmeControllerFolder(number) + "/state") == "live") return number;
    return controllers.empty() ? std::nullopt : std::optional(controllers.front());
}

void takeNvme(const RootedFiles& files, DiskFacts& facts) {
    facts.bus = kBusNvme;
    facts.vendor = "NVMe";
    const std::string device = diskFolder(facts.name) + "/device";
    facts.nvmeController = nvmeControllerOf(files, device);
    std::string controller = device;
    if (facts.nvmeController) {
        controller = nvmeControllerFolder(*facts.nvmeController);
        const std::uint64_t space = nvmeNumbers(facts.name)->space;
        facts.place = ScsiPlace{kFirstNvmePort + *facts.nvmeController, 0, 0, space == 0 ? 0 : space - 1};
        for (const char* way : {"", "/device"})
            if (facts.pciController.empty())
                facts.pciController = pciFunctionOf(files.deviceFolder(controller + way));
    }
    facts.model = files.line(controller + "/model");
    facts.serial = files.line(controller + "/serial");
    facts.firmware = files.line(controller + "/firmware_rev");
}

void takeCard(const RootedFiles& files, DiskFacts& facts) {
    const std::string device = diskFolder(facts.name) + "/device";
    facts.bus = files.line(device + "/type") == "SD" ? kBusSd : kBusMmc;
    facts.model = files.line(device + "/name");
    facts.serial = files.line(device + "/serial");
    facts.firmware = files.line(device + "/fwrev");
}

void takeIde(const RootedFiles& files, DiskFacts& facts) {
    const std::string device = diskFolder(facts.name) + "/device";
    facts.bus = kBusAta;
    facts.model = files.line(device + "/model");
    facts.serial = files.line(device + "/serial");
    facts.firmware = files.line(device + "/firmware");
}

} // namespace

std::optional<NvmeNumbers> nvmeNumbers(std::string_view name) {
    if (!name.starts_with(kNvmePrefix)) return std::nullopt;
    name.remove_prefix(kNvmePrefix.size());
    const auto split = name.find('n');
    if (split == name.npos) return std::nullopt;
    const auto controller = wholeNumber(name.substr(0, split));
    const auto space = wholeNumber(name.substr(split + 1));
    if (!controller || !space) return std::nullopt;
    return NvmeNumbers{*controller, *space};
}

std::string nvmeControllerFolder(std::uint64_t number) {
    return std::string(kNvmeControllers) + std::to_string(number);
}

DriveNode nvmeControllerNode(const RootedFiles& files, std::uint64_t controller) {
    return {"/dev/nvme" + std::to_string(controller), files.line(nvmeControllerFolder(controller) + "/dev"),
            false};
}

DriveNode diskNode(const RootedFiles& files, const std::string& name) {
    return {"/dev/" + name, files.line(diskFolder(name) + "/dev"), true};
}

bool isPathOf(const NvmeNumbers& space, std::string_view name) {
    const std::string head = std::string(kNvmePrefix) + std::to_string(space.controller) + "c";
    const std::string tail = "n" + std::to_string(space.space);
    return name.size() > head.size() + tail.size() && name.starts_with(head) && name.ends_with(tail) &&
           wholeNumber(name.substr(head.size(), name.size() - head.size() - tail.size()));
}

std::string diskIdentity(const RootedFiles& files, const std::string& name) {
    const std::string folder = diskFolder(name);
    const DiskFacts facts = readDiskFacts(files, name);
    std::string wwid = files.line(folder + "/wwid");
    if (wwid.empty()) wwid = files.line(folder + "/device/wwid");
    std::string identity = wwid + "\n" + facts.model + "\n" + facts.serial;
    if (wwid.empty()) {
        identity.append("\n").append(placeOnMachine(files.deviceFolder(folder)));
        if (const auto& place = facts.place)
            for (const std::uint64_t part : {place->channel, place->target, place->lun})
                identity += ":" + std::to_string(part);
    }
    // A worldwide name of the vendor's own text and the model alone is shared by cheap devices.
    if (facts.serial.empty() && (wwid.empty() || wwid.starts_with("t10.")))
        identity += "\n" + files.line(folder + "/diskseq");
    return identity;
}

CommandWay readCommandWay(const RootedFiles& files, const std::string& name) {
    CommandWay way;
    if (name.starts_with(kNvmePrefix)) {
        const std::string device = diskFolder(name) + "/device";
        way.nvmeController = nvmeControllerOf(files, device);
        way.lasts = controllerNumber(files.linkName(device)).has_value();
    }
    way.scsi = name.starts_with("sd");
    way.usb = way.scsi && isBelowUsb(files.deviceFolder(diskFolder(name)));
    way.node = way.nvmeController ? nvmeControllerNode(files, *way.nvmeController) : diskNode(files, name);
    way.lasts = way.lasts && !way.node.number.empty(); // which a lack of descriptors keeps from being read
    return way;
}

std::string nvmeFirmware(const RootedFiles& files, std::uint32_t controller) {
    return files.line(nvmeControllerFolder(controller) + "/firmware_rev");
}

DiskFacts readDiskFacts(const RootedFiles& files, const std::string& name) {
    DiskFacts facts;
    facts.name = name;
    const std::string folder = diskFolder(name);
    const std::string path = files.deviceFolder(folder);
    facts.pciController = pciFunctionOf(path);
    // A namespace never is.
    facts.removable = !name.starts_with(kNvmePrefix) && files.line(folder + "/removable") == "1";
    if (name.starts_with("sd")) {
        takeScsi(files, path, facts);
    } else if (name.starts_with(kNvmePrefix)) {
        takeNvme(files, facts);
    } else if (name.starts_with("mmcblk")) {
        takeCard(files, facts);
    } else if (name.starts_with("hd")) {
        takeIde(files, facts);
    } else {
        facts.bus = kBusScsi;
        facts.serial = files.line(folder + "/serial");
    }
    return facts;
}

} // namespace orv::platform
